// SPDX-License-Identifier: MIT
// "Background Blur" end to end through the exported filter API with the project's own runtime
// and bundled resources (the matte networks when scripts/models.sh installed them), on frames
// of the sample clip. BM_Matte in segment_bench is the module's share.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <vector>

#include "framework/param_value.h"
#include "kaz/filter_api.h"
#include "kazsample/sample_clip.h"

namespace {

std::vector<cv::Mat> Frames(int width, int height) {
  kazsample::ClipSettings settings;
  settings.width = width;
  settings.height = height;
  const kazsample::SampleClip clip(settings);
  std::vector<cv::Mat> frames(8);
  for (int i = 0; i < 8; ++i) clip.Render(200 + i, frames[i]);
  return frames;
}

void BackgroundBlur(benchmark::State& state) {
  const int w = static_cast<int>(state.range(0)), h = static_cast<int>(state.range(1));
  const std::vector<cv::Mat> frames = Frames(w, h);
  cv::Mat dst(h, w, CV_8UC4);
  vorta::NLEEffectFilter* f =
      CreateNLEAIEffectFilterFromGUID("1AEA14C6-59BC-491F-A1D1-EB02009706B7", KAZ_RESOURCES);
  if (f == nullptr) {
    state.SkipWithError("no filter");
    return;
  }
  NLEEffectFilterSetParameter(f, "Back Blur", 5, vorta::MakeIntValue(30));
  size_t next = 0;
  int failures = 0;
  for (auto _ : state) {
    const cv::Mat& src = frames[next];
    NLEEffectFilterSetCurrentTime(f, static_cast<int32_t>(next));
    next = (next + 1) % frames.size();
    failures +=
        NLEEffectFilterTransform(f, dst.data, w, h, static_cast<int32_t>(dst.step), nullptr, 0, 0,
                                 0, src.data, w, h, static_cast<int32_t>(src.step)) != 0;
    benchmark::DoNotOptimize(dst.data);
  }
  if (failures) state.SkipWithError("transform failed");
  DeleteNLEAIEffectFilter(&f);
  state.SetItemsProcessed(state.iterations());
}

}  // namespace

BENCHMARK(BackgroundBlur)->Args({1280, 720})->Args({1920, 1080})->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
