// SPDX-License-Identifier: MIT
// Speed of the face and body landmark modules at 1280x720 on real photographs (KAZ_SAMPLES
// names the folder holding messi5.jpg and basketball1.png): tracked frames, and frames on which
// the detector runs (tracking reset before each).
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "quorin/quorin_human_landmarks.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

namespace {

const std::string kModels = KAZ_RESOURCES "/kaz_effect/plugin/AiModel/";

cv::Mat Picture(const char* name) {
  const char* dir = std::getenv("KAZ_SAMPLES");
  cv::Mat photo = cv::imread(std::string(dir ? dir : "samples") + "/" + name), sized, bgra;
  if (photo.empty()) return photo;
  cv::resize(photo, sized, cv::Size(1280, 720));
  cv::cvtColor(sized, bgra, cv::COLOR_BGR2BGRA);
  return bgra;
}

QuorinFrame FrameOf(cv::Mat& bgra) {
  QuorinFrame f{};
  f.format = QUORIN_FORMAT_BGRA8;
  f.planeCount = 1;
  f.width = bgra.cols;
  f.height = bgra.rows;
  f.planes[0] = bgra.data;
  f.strides[0] = static_cast<int32_t>(bgra.step);
  return f;
}

void Face(benchmark::State& state, bool detectEveryFrame) {
  cv::Mat bgra = Picture("messi5.jpg");
  void* face = nullptr;
  const QuorinDeviceEntry d[3] = {};
  void *s0, *s1;
  const std::string p[4] = {
      kModels + "facedetector/RQ_FaceDetector_x86_Openvino_v1.0.0.0.model",
      kModels + "face_landmarks/RQ_FaceLandmarks_CPU_Openvino_FP32_3.0.0.0.model",
      kModels + "face_visibility/RQ_FaceVisibility_Online_Openvino_CPU_FP32_1.0.0.0.model",
      kModels + "face_pose_estimator/RQ_FacePoseEstimator_Net_Binary_1.0.0.0.model"};
  if (bgra.empty() ||
      QuorinPipelineFaceLandmarksV2Create(p[0].c_str(), p[1].c_str(), p[2].c_str(), p[3].c_str(),
                                          nullptr, d, &s0, &s1, &face) != 0) {
    state.SkipWithError("no samples (KAZ_SAMPLES) or networks (scripts/models.sh)");
    return;
  }
  QuorinFrame frame = FrameOf(bgra);
  int64_t faces = 0;
  for (auto _ : state) {
    if (detectEveryFrame) QuorinPipelineFaceLandmarksV2StatusReset(face);
    const QuorinFaceRecord* out = nullptr;
    int32_t count = 0;
    QuorinPipelineFaceLandmarksV2Process(face, &frame, &out, &count);
    if (count > 0) QuorinPipelineFaceLandmarksV2OutputRelease(out);
    faces += count;
  }
  state.counters["faces"] = benchmark::Counter(double(faces) / state.iterations());
  state.counters["fps"] =
      benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
  QuorinPipelineFaceLandmarksV2Destroy(face);
}

void Body(benchmark::State& state, bool detectEveryFrame) {
  cv::Mat bgra = Picture("basketball1.png");
  void* body = nullptr;
  const QuorinDeviceEntry d{};
  const std::string path =
      kModels + "human_landmarks/RQ_HumanLandmarks_CPU_Openvino_Int32_1.0.0.0.model";
  if (bgra.empty() || QuorinHumanLandmarksCreate(path.c_str(), nullptr, &d, &body) != 0) {
    state.SkipWithError("no samples (KAZ_SAMPLES) or networks (scripts/models.sh)");
    return;
  }
  QuorinFrame frame = FrameOf(bgra);
  int64_t people = 0;
  for (auto _ : state) {
    const QuorinPersonLandmarks* out = nullptr;
    int32_t count = 0;
    QuorinHumanLandmarksProcess(body, &frame, 0, &out, &count, detectEveryFrame ? 0 : 1);
    QuorinHumanLandmarksOutputRelease(out);
    people += count;
  }
  state.counters["people"] = benchmark::Counter(double(people) / state.iterations());
  state.counters["fps"] =
      benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
  QuorinHumanLandmarksDestroy(body);
}

BENCHMARK_CAPTURE(Face, tracked, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Face, detection_frame, true)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Body, tracked, false)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Body, detection_frame, true)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
