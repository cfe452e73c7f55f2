// SPDX-License-Identifier: MIT
// Per-frame cost of the human segmentation module as the plug-in calls it: a BGRA frame in, a
// mask of the frame's size out.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "kazsample/sample_clip.h"
#include "quorin/quorin_human_segment.h"

namespace {

QuorinFrame FrameOver(cv::Mat& m, int32_t format) {
  QuorinFrame f{};
  f.format = format;
  f.planeCount = 1;
  f.width = m.cols;
  f.height = m.rows;
  f.planes[0] = m.data;
  f.strides[0] = static_cast<int32_t>(m.step[0]);
  return f;
}

std::string ModelFile(const char* name, const std::string& text) {
  const std::string path = (std::filesystem::temp_directory_path() / name).string();
  std::ofstream(path) << text;
  return path;
}

// Frames of the clip in the order forwards then backwards, so cycling through them never
// jumps: the figure walks to and fro.
std::vector<cv::Mat> Frames(int width, int height, int first, int count, uint32_t seed = 1) {
  kazsample::ClipSettings settings;
  settings.width = width;
  settings.height = height;
  settings.seed = seed;
  const kazsample::SampleClip clip(settings);
  std::vector<cv::Mat> frames(2 * count);
  for (int i = 0; i < count; ++i) {
    clip.Render(first + i, frames[i]);
    frames[2 * count - 1 - i] = frames[i];
  }
  return frames;
}

void Segment(benchmark::State& state, const std::string& model, std::vector<cv::Mat>& frames,
             int warmUp) {
  void* instance = nullptr;
  const QuorinModuleConfig config{1, 0, 4};
  if (QuorinHumanSegmentCreate(model.c_str(), &config, &instance) != 0) {
    state.SkipWithError("create failed");
    return;
  }
  cv::Mat mask(frames[0].size(), CV_8UC1);
  QuorinFrame out = FrameOver(mask, QUORIN_FORMAT_GRAY8);
  size_t next = 0;
  auto one = [&] {
    QuorinFrame in = FrameOver(frames[next], QUORIN_FORMAT_BGRA8);
    next = (next + 1) % frames.size();
    return QuorinHumanSegmentProcess(instance, &in, &out);
  };
  for (int i = 0; i < warmUp; ++i) one();
  for (auto _ : state) {
    if (one() != 0) {
      state.SkipWithError("process failed");
      break;
    }
    benchmark::DoNotOptimize(mask.data);
  }
  state.SetItemsProcessed(state.iterations());
  QuorinHumanSegmentDestroy(instance);
}

// The classical backend once the room's background is known: the figure walks right, stands,
// walks back, and all that again in reverse.
void BM_Classical(benchmark::State& state) {
  std::vector<cv::Mat> frames = Frames(state.range(0), state.range(1), 195, 120);
  Segment(state, ModelFile("bench_classical.model", "{\"backend\": \"classical\"}"), frames, 240);
}

// The classical backend's dearest frame: the first of a scene (a cut every frame), with the
// people detector and GrabCut.
void BM_ClassicalNewScene(benchmark::State& state) {
  std::vector<cv::Mat> frames;
  for (uint32_t seed = 1; seed <= 6; ++seed) {
    frames.push_back(Frames(state.range(0), state.range(1), 61, 1, seed)[0]);
  }
  Segment(state, ModelFile("bench_classical.model", "{\"backend\": \"classical\"}"), frames, 6);
}

// A 256x256 network of three 3x3 convolutions (16 channels) with softmax: the pre- and
// post-processing around a small network. Real portrait networks cost more in the forward pass.
void BM_Onnx(benchmark::State& state) {
  std::vector<cv::Mat> frames = Frames(state.range(0), state.range(1), 195, 10);
  const std::string model =
      ModelFile("bench_onnx.model",
                "{\"backend\": \"onnx\", \"network\": \"" + std::string(QUORIN_BENCH_NETWORKS) +
                    "/bench_256.onnx\", \"input\": {\"mean\": [0.485, 0.456, 0.406], "
                    "\"std\": [0.229, 0.224, 0.225]}, \"output\": {\"personChannel\": 1, "
                    "\"activation\": \"softmax\"}}");
  Segment(state, model, frames, 3);
}

// The ONNX path's own work around the network (resizes, normalisation, softmax): a 256x256
// network of one 1x1 convolution, whose forward pass costs next to nothing.
void BM_OnnxAroundTheNetwork(benchmark::State& state) {
  std::vector<cv::Mat> frames = Frames(state.range(0), state.range(1), 195, 10);
  const std::string model =
      ModelFile("bench_onnx_light.model",
                "{\"backend\": \"onnx\", \"network\": \"" + std::string(QUORIN_BENCH_NETWORKS) +
                    "/passthrough_nchw.onnx\", \"input\": {\"width\": 256, "
                    "\"height\": 256}, \"output\": {\"personChannel\": 1, "
                    "\"activation\": \"softmax\"}}");
  Segment(state, model, frames, 3);
}

// The bundled high-accuracy manifest with the installed selfie networks (scripts/models.sh):
// network, steadying and edge refinement, as the effects run it.
void BM_Matte(benchmark::State& state) {
  const std::string model = std::string(KAZ_RESOURCES) +
                            "/kaz_effect/plugin/AiModel/humansegmentation_highacc/"
                            "RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model";
  if (!std::filesystem::exists(std::string(KAZ_RESOURCES) +
                               "/kaz_effect/plugin/AiModel/networks/selfie_segmentation.onnx")) {
    state.SkipWithError("the networks are not installed (scripts/models.sh)");
    return;
  }
  std::vector<cv::Mat> frames = Frames(state.range(0), state.range(1), 195, 10);
  Segment(state, model, frames, 3);
}

// The landscape selfie network alone through the plain ONNX path (resize in, network, bilinear
// resize out): what BM_Matte spends beyond this is steadying and refinement.
void BM_MatteNetworkOnly(benchmark::State& state) {
  const std::string network = std::string(KAZ_RESOURCES) +
                              "/kaz_effect/plugin/AiModel/networks/"
                              "selfie_segmentation_landscape.onnx";
  if (!std::filesystem::exists(network)) {
    state.SkipWithError("the networks are not installed (scripts/models.sh)");
    return;
  }
  std::vector<cv::Mat> frames = Frames(state.range(0), state.range(1), 195, 10);
  Segment(
      state,
      ModelFile("bench_selfie.model", "{\"backend\": \"onnx\", \"network\": \"" + network + "\"}"),
      frames, 3);
}

// The yardstick: copying the same BGRA frame once.
void BM_CopyFrame(benchmark::State& state) {
  cv::Mat from(static_cast<int>(state.range(1)), static_cast<int>(state.range(0)), CV_8UC4,
               cv::Scalar(1, 2, 3, 4));
  cv::Mat to(from.size(), CV_8UC4);
  for (auto _ : state) {
    std::memcpy(to.data, from.data, from.total() * from.elemSize());
    benchmark::DoNotOptimize(to.data);
  }
  state.SetItemsProcessed(state.iterations());
}

#define SIZES Args({1280, 720})->Args({1920, 1080})->Unit(benchmark::kMillisecond)
BENCHMARK(BM_CopyFrame)->SIZES;
BENCHMARK(BM_Classical)->SIZES;
BENCHMARK(BM_ClassicalNewScene)->SIZES;
BENCHMARK(BM_Onnx)->SIZES;
BENCHMARK(BM_OnnxAroundTheNetwork)->SIZES;
BENCHMARK(BM_Matte)->SIZES;
BENCHMARK(BM_MatteNetworkOnly)->SIZES;

}  // namespace

BENCHMARK_MAIN();
