// SPDX-License-Identifier: MIT
// Each segmentation effect through the exported filter API at 1080p and 4K, next to
// cv::Mat::copyTo of the same frame, timed in the same iterations so both see the same load.
// Counters: copy_ms (the copy per iteration), x_copy (effect time over copy time).
//
// Run it with the test-double module, which paints its mask from the source's alpha, so that
// the figures are the plug-in's own work (the module's share is "ModuleOnly"):
//   LD_LIBRARY_PATH=build/tests/doubles/kernel:build/tests/doubles/humanseg
//   KAZ_DOUBLE_HUMANSEG_MASK=channel:3 build/bin/effects_bench   (one command line)
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <string>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "ai/human_seg.h"
#include "effects/picture_layers.h"
#include "framework/param_value.h"
#include "kaz/filter_api.h"

namespace {

// Random colours with a person-shaped alpha: an ellipse with a soft edge.
cv::Mat Frame(int w, int h) {
  cv::Mat frame(h, w, CV_8UC4);
  cv::randu(frame, 0, 256);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      const double dx = (x - w / 2.0) / (w / 5.0), dy = (y - h * 0.55) / (h / 2.2);
      const double r = std::sqrt(dx * dx + dy * dy);
      frame.at<cv::Vec4b>(y, x)[3] = r < 0.9   ? 255
                                     : r > 1.1 ? 0
                                               : static_cast<uint8_t>((1.1 - r) / 0.2 * 255);
    }
  }
  return frame;
}

template <class Work>
void Timed(benchmark::State& state, const cv::Mat& src, cv::Mat& dst, Work work) {
  using Clock = std::chrono::steady_clock;
  double copySeconds = 0, workSeconds = 0;
  for (auto _ : state) {
    const auto t0 = Clock::now();
    src.copyTo(dst);
    const auto t1 = Clock::now();
    work();
    const auto t2 = Clock::now();
    copySeconds += std::chrono::duration<double>(t1 - t0).count();
    workSeconds += std::chrono::duration<double>(t2 - t1).count();
    state.SetIterationTime(std::chrono::duration<double>(t2 - t1).count());
  }
  state.counters["copy_ms"] = 1000.0 * copySeconds / state.iterations();
  state.counters["x_copy"] = workSeconds / copySeconds;
}

void Effect(benchmark::State& state, const char* guid) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  const cv::Mat src = Frame(w, h);
  cv::Mat dst(h, w, CV_8UC4);
  vorta::NLEEffectFilter* f = CreateNLEAIEffectFilterFromGUID(guid, "/bench");
  if (f == nullptr) {
    state.SkipWithError("no filter");
    return;
  }
  const bool blur = std::string(guid) == "1AEA14C6-59BC-491F-A1D1-EB02009706B7";
  if (blur) {
    NLEEffectFilterSetParameter(f, "Edge Feather", 2, vorta::MakeDoubleValue(2.0));
    NLEEffectFilterSetParameter(f, "Back Blur", 5, vorta::MakeIntValue(10));
  } else {
    NLEEffectFilterSetParameter(f, "Edge Thickness", 3, vorta::MakeFloatValue(-2.0f));
    NLEEffectFilterSetParameter(f, "Edge Feather", 3, vorta::MakeFloatValue(2.0f));
  }
  int failures = 0;
  Timed(state, src, dst, [&] {
    failures += NLEEffectFilterTransform(f, dst.data, w, h, static_cast<int32_t>(dst.step), nullptr,
                                         0, 0, 0, src.data, w, h, static_cast<int32_t>(src.step));
  });
  if (failures) state.SkipWithError("transform failed");
  DeleteNLEAIEffectFilter(&f);
}

// Picture Layers with 1080p foreground, middle-ground and background sequences of three frames
// each; `cached` keeps decoded frames, otherwise every frame decodes its three pictures.
void PictureLayers(benchmark::State& state, bool cached) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  const std::string root = std::filesystem::temp_directory_path() / "kaz_bench_layers";
  for (const char* layer : {"fg", "ag", "bg"}) {
    std::filesystem::create_directories(root + "/" + layer);
    for (int i = 0; i < 3; ++i) {
      cv::imwrite(root + "/" + layer + "/" + std::to_string(i) + ".png", Frame(w, h));
    }
  }
  vorta::PictureSequences::Instance().Clear();
  vorta::PictureSequences::Instance().SetBudget(cached ? size_t{256} << 20 : 0);
  const cv::Mat src = Frame(w, h);
  cv::Mat dst(h, w, CV_8UC4);
  vorta::NLEEffectFilter* f =
      CreateNLEAIEffectFilterFromGUID("3092F414-FEBF-4389-BEDE-7DB1C98B9734", root.c_str());
  for (const auto& [name, folder] :
       {std::pair{"FG_ImagePath", "fg"}, {"AG_ImagePath", "ag"}, {"BG_ImagePath", "bg"}}) {
    NLEEffectFilterSetParameter(f, name, 6, vorta::MakeTextValue(folder));
  }
  NLEEffectFilterSetParameter(f, "Human_Alpha", 5, vorta::MakeIntValue(80));
  int frame = 0, failures = 0;
  const auto run = [&] {
    NLEEffectFilterSetCurrentTime(f, frame++);
    failures += NLEEffectFilterTransform(f, dst.data, w, h, static_cast<int32_t>(dst.step), nullptr,
                                         0, 0, 0, src.data, w, h, static_cast<int32_t>(src.step));
  };
  for (int i = 0; i < 3; ++i) run();  // every sequence frame seen once: warm when cached
  Timed(state, src, dst, run);
  if (failures) state.SkipWithError("transform failed");
  DeleteNLEAIEffectFilter(&f);
  std::filesystem::remove_all(root);
}
BENCHMARK_CAPTURE(PictureLayers, Cached, true)
    ->Args({1920, 1080})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(PictureLayers, Cold, false)
    ->Args({1920, 1080})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

void ModuleOnly(benchmark::State& state) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  const cv::Mat src = Frame(w, h);
  cv::Mat dst(h, w, CV_8UC4), mask(h, w, CV_8UC1);
  QuorinHumanSeg seg("", "", "/bench", 2);
  if (!seg.Created()) {
    state.SkipWithError("no module: set LD_LIBRARY_PATH to the test doubles");
    return;
  }
  Timed(state, src, dst, [&] { seg.Process(src, mask); });
}

#define KAZ_EFFECT_BENCH(name, guid)    \
  BENCHMARK_CAPTURE(Effect, name, guid) \
      ->Args({1920, 1080})              \
      ->Args({3840, 2160})              \
      ->UseManualTime()                 \
      ->Unit(benchmark::kMillisecond)

KAZ_EFFECT_BENCH(PersonCutOut, "974A1C95-921E-4D28-89D5-23B7B249589A");
KAZ_EFFECT_BENCH(EffectModel, "2193B116-1AD4-49F4-84A1-FFA3CB983A94");
KAZ_EFFECT_BENCH(HighAccMask, "D4BFB781-5506-494C-B9AB-738D79814B60");
KAZ_EFFECT_BENCH(Hair, "EE6BC05B-DD9B-4154-9E03-00740D1CA060");
KAZ_EFFECT_BENCH(Capture, "7208B311-D2F9-456D-B556-CFA222B130B7");
KAZ_EFFECT_BENCH(BackgroundBlur, "1AEA14C6-59BC-491F-A1D1-EB02009706B7");
BENCHMARK(ModuleOnly)
    ->Args({1920, 1080})
    ->Args({3840, 2160})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
