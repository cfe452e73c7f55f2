// SPDX-License-Identifier: MIT
// Each blend entry at 1080p and 4K next to cv::Mat::copyTo of the same frame. Every iteration
// first restores the destination with copyTo (timed: the baseline), then runs the blend
// (timed: the benchmark's time), so both see the same machine load. Counters: copy_ms, the
// baseline per iteration; x_copy, blend time over copy time; x_copy_cpu, the same for process
// CPU time; Mpix_s, blend throughput.
#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <functional>

#include "imaging/blend.h"

namespace {

struct Frames {
  cv::Mat layer, pristine, dst, mask, scratch;
  Frames(int width, int height)
      : layer(height, width, CV_8UC4),
        pristine(height, width, CV_8UC4),
        dst(height, width, CV_8UC4),
        mask(height, width, CV_8UC1),
        scratch(height, width, CV_8UC4) {
    cv::randu(layer, 0, 256);
    cv::randu(pristine, 0, 256);
    cv::randu(mask, 0, 256);
    pristine.copyTo(dst);
  }
};

using Blend = std::function<void(Frames&)>;

// Process CPU time, all threads: unlike wall time it does not grow when other programs take the
// cores, so x_copy_cpu stays meaningful on a shared machine (worker spinning counts, so it errs
// on the slow side).
double cpuSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

void run(benchmark::State& state, const Blend& blend) {
  using Clock = std::chrono::steady_clock;
  Frames f(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  imageC::getBlendTables();  // built once, outside the timing
  double copySeconds = 0, blendSeconds = 0, copyCpu = 0, blendCpu = 0;
  for (auto _ : state) {
    const double c0 = cpuSeconds();
    const auto t0 = Clock::now();
    f.pristine.copyTo(f.dst);
    const auto t1 = Clock::now();
    const double c1 = cpuSeconds();
    blend(f);
    const auto t2 = Clock::now();
    const double c2 = cpuSeconds();
    const double blendTime = std::chrono::duration<double>(t2 - t1).count();
    copySeconds += std::chrono::duration<double>(t1 - t0).count();
    blendSeconds += blendTime;
    copyCpu += c1 - c0;
    blendCpu += c2 - c1;
    state.SetIterationTime(blendTime);
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["copy_ms"] = copySeconds * 1e3 / iterations;
  state.counters["x_copy"] = blendSeconds / copySeconds;
  state.counters["x_copy_cpu"] = blendCpu / copyCpu;
  state.counters["Mpix_s"] = f.dst.total() * iterations / blendSeconds / 1e6;
  state.counters["threads"] = cv::getNumThreads();
}

void registerBlend(const char* name, Blend blend) {
  benchmark::RegisterBenchmark(name, [blend](benchmark::State& s) { run(s, blend); })
      ->Args({1920, 1080})
      ->Args({3840, 2160})
      ->UseManualTime()
      ->Unit(benchmark::kMillisecond);
}

const imageC::LayerPlacement kWholeFrame{0, 0, 1, 1, 0, 0, 1, 1};

void registerAll() {
  using namespace imageC;
  // A second copy of the frame: its x_copy shows how steady the baseline is.
  registerBlend("CopyTo", [](Frames& f) { f.layer.copyTo(f.scratch); });
  registerBlend("NormalStrength200",
                [](Frames& f) { blendImage(f.layer, f.dst, Normal, 200, false, 8); });
  registerBlend("NormalFull", [](Frames& f) { blendImage(f.layer, f.dst, Normal, 255, false, 8); });
  registerBlend("NormalPremultiplied",
                [](Frames& f) { blendImage(f.layer, f.dst, Normal, 200, true, 8); });
  registerBlend("LayerMultiply",
                [](Frames& f) { blendImage(f.layer, f.dst, Multiply, 200, false, 8); });
  registerBlend("LayerSoftLight",
                [](Frames& f) { blendImage(f.layer, f.dst, SoftLight, 200, false, 8); });
  registerBlend("HollowIn", [](Frames& f) { blendImage(f.layer, f.dst, HollowIn, 0, false, 8); });
  registerBlend("HollowOut", [](Frames& f) { blendImage(f.layer, f.dst, HollowOut, 0, false, 8); });
  registerBlend("TextBgHollowIn",
                [](Frames& f) { blendImage(f.layer, f.dst, TextBgHollowIn, 0, false, 8); });
  registerBlend("SolidNormal200",
                [](Frames& f) { blendSolidColor(f.dst, 0xC0408020u, Normal, 200, false, 8); });
  registerBlend("SolidScreen",
                [](Frames& f) { blendSolidColor(f.dst, 0xC0408020u, Screen, 200, false, 8); });
  registerBlend("SolidHollowIn",
                [](Frames& f) { blendSolidColor(f.dst, 0xC0408020u, HollowIn, 0, false, 8); });
  registerBlend("LayerPlacedNormal", [](Frames& f) {
    blendLayer(f.layer, f.dst, f.dst, &kWholeFrame, Normal, 0.8f, false, false, 0);
  });
  registerBlend("MaskBlend", [](Frames& f) { maskBlend(f.layer, f.mask, f.dst); });
}

}  // namespace

int main(int argc, char** argv) {
  registerAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
