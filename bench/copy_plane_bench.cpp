// SPDX-License-Identifier: MIT
// CopyPlane on a 1920 x 1080 BGRA frame against a plain memcpy of the same bytes and OpenCV's
// copyTo between the same strided images.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include <opencv2/core.hpp>

#include "ai/copy_plane.h"

namespace {

constexpr int kWidth = 1920, kHeight = 1080, kRow = kWidth * 4;

void BM_Memcpy(benchmark::State& state) {
  std::vector<unsigned char> src(size_t{kRow} * kHeight, 1), dst(src.size());
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size());
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(src.size()));
}

// Argument: extra bytes at the end of each destination row (0: equal strides, one block).
void BM_CopyPlane(benchmark::State& state) {
  const int dstStride = kRow + static_cast<int>(state.range(0));
  std::vector<unsigned char> src(size_t{kRow} * kHeight, 1), dst(size_t(dstStride) * kHeight);
  for (auto _ : state) {
    kaz::CopyPlane(src.data(), dst.data(), kWidth, kHeight, kRow, dstStride);
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(src.size()));
}

void BM_OpenCvCopyTo(benchmark::State& state) {
  const int dstStride = kRow + static_cast<int>(state.range(0));
  std::vector<unsigned char> src(size_t{kRow} * kHeight, 1), dst(size_t(dstStride) * kHeight);
  const cv::Mat from(kHeight, kWidth, CV_8UC4, src.data(), kRow);
  cv::Mat to(kHeight, kWidth, CV_8UC4, dst.data(), static_cast<size_t>(dstStride));
  for (auto _ : state) {
    from.copyTo(to);
    benchmark::DoNotOptimize(dst.data());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(src.size()));
}

BENCHMARK(BM_Memcpy);
BENCHMARK(BM_CopyPlane)->Arg(0)->Arg(64);
BENCHMARK(BM_OpenCvCopyTo)->Arg(0)->Arg(64);

}  // namespace

BENCHMARK_MAIN();
