// SPDX-License-Identifier: MIT
// The outline and clone effects' own image work at 1080p through the exported filter API, next to
// cv::Mat::copyTo of the same frame, timed in the same iterations so both see the same load. The
// person image is lent as a ready segmentation, so no segmentation runs and no runtime is needed.
// Counters: copy_ms (the copy per iteration), x_copy (effect time over copy time), fps.
//   build/bin/person_effects_bench
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>

#include <opencv2/core.hpp>

#include "framework/param_value.h"
#include "kaz/ai_data.h"
#include "kaz/filter_api.h"

namespace {

// Random colours, opaque, with a person: an upright ellipse whose pre-multiplied image is lent.
void Frames(int w, int h, cv::Mat& src, cv::Mat& person) {
  src.create(h, w, CV_8UC4);
  cv::randu(src, 0, 256);
  person.create(h, w, CV_8UC4);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      cv::Vec4b& s = src.at<cv::Vec4b>(y, x);
      s[3] = 255;
      const double dx = (x - w / 2.0) / (w / 8.0), dy = (y - h * 0.55) / (h / 2.5);
      const double r = std::sqrt(dx * dx + dy * dy);
      const int m = r < 0.95 ? 255 : r > 1.05 ? 0 : static_cast<int>((1.05 - r) / 0.1 * 255);
      for (int c = 0; c < 4; ++c)
        person.at<cv::Vec4b>(y, x)[c] = static_cast<uint8_t>((c == 3 ? 255 : s[c]) * m / 255);
    }
}

class Lender : public KAZAiDataReceiver {
 public:
  explicit Lender(const cv::Mat& image) : image_(image) {}
  bool ReadySegmentation(unsigned char** pixels, int32_t* width, int32_t* height,
                         int32_t* pitch) override {
    *pixels = image_.data;
    *width = image_.cols;
    *height = image_.rows;
    *pitch = static_cast<int32_t>(image_.step);
    return true;
  }
  void ReceiveGrayImage(const unsigned char*, int32_t, int32_t, int32_t) override {}

 private:
  cv::Mat image_;
};

void Effect(benchmark::State& state, const char* guid, int direction) {
  const int w = 1920, h = 1080;
  cv::Mat src, person, dst(h, w, CV_8UC4);
  Frames(w, h, src, person);
  Lender lender(person);
  vorta::NLEEffectFilter* f = CreateNLEAIEffectFilterFromGUID(guid, "/bench");
  if (f == nullptr) {
    state.SkipWithError("no filter");
    return;
  }
  NLEEffectFilterSetParameter(f, kKAZAiDataTransferName, 7,
                              vorta::MakePointerValue(static_cast<AIDATA::BaseAIDATA*>(&lender)));
  NLEEffectFilterSetParameter(f, "Gradient Direction", 5, vorta::MakeIntValue(direction));
  NLEEffectFilterSetParameter(f, "End", 5, vorta::MakeIntValue(0x2080F0));
  NLEEffectFilterSetParameter(f, "Blur", 3, vorta::MakeFloatValue(2.0f));
  NLEEffectFilterSetCurrentTime(f, 13);
  using Clock = std::chrono::steady_clock;
  double copySeconds = 0, workSeconds = 0;
  int failures = 0;
  for (auto _ : state) {
    const auto t0 = Clock::now();
    src.copyTo(dst);
    const auto t1 = Clock::now();
    failures += NLEEffectFilterTransform(f, dst.data, w, h, static_cast<int32_t>(dst.step), nullptr,
                                         0, 0, 0, src.data, w, h, static_cast<int32_t>(src.step));
    const auto t2 = Clock::now();
    copySeconds += std::chrono::duration<double>(t1 - t0).count();
    workSeconds += std::chrono::duration<double>(t2 - t1).count();
    state.SetIterationTime(std::chrono::duration<double>(t2 - t1).count());
  }
  if (failures) state.SkipWithError("transform failed");
  state.counters["copy_ms"] = 1000.0 * copySeconds / state.iterations();
  state.counters["x_copy"] = workSeconds / copySeconds;
  state.counters["fps"] = state.iterations() / workSeconds;
  DeleteNLEAIEffectFilter(&f);
}

#define KAZ_PERSON_BENCH(name, guid, direction) \
  BENCHMARK_CAPTURE(Effect, name, guid, direction)->UseManualTime()->Unit(benchmark::kMillisecond)

KAZ_PERSON_BENCH(BorderRows, "391B5862-8487-4DC1-834F-AAC9773E87B6", 0);
KAZ_PERSON_BENCH(BorderDiagonal, "391B5862-8487-4DC1-834F-AAC9773E87B6", 4);
KAZ_PERSON_BENCH(CloneColor, "5AB0767D-6728-4E27-AEC4-82F33B3768B7", 0);
KAZ_PERSON_BENCH(CloneUnfold, "287AE196-B470-469A-A501-FF3CF6FA6014", 0);
KAZ_PERSON_BENCH(WingLeft, "7BA41F8B-598C-40FF-B8AB-E4234F2D3D1C", 0);
KAZ_PERSON_BENCH(WingRight, "DD7311D4-C0F8-4B39-BDBD-5F93109ACA5C", 0);

}  // namespace

BENCHMARK_MAIN();
