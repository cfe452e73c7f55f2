// SPDX-License-Identifier: MIT
// Speed of the face and body landmark modules at 1280x720 on real photographs (KAZ_SAMPLES
// names the folder holding messi5.jpg and basketball1.png): tracked frames, and frames on which
// the detector runs (tracking reset before each). Tracked body frames include the detector runs
// the manifest schedules; the "people" counter is the mean number tracked per frame. CPU time
// is the whole process's, so OpenCV's worker threads count.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "quorin/quorin_human_landmarks.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

namespace {

const std::string kModels = KAZ_RESOURCES "/kaz_effect/plugin/AiModel/";

// Stretched to 1280x720, or with `letterbox` scaled to 720 rows and centred on black.
cv::Mat Picture(const char* name, bool letterbox = false) {
  const char* dir = std::getenv("KAZ_SAMPLES");
  cv::Mat photo = cv::imread(std::string(dir ? dir : "samples") + "/" + name), sized, bgra;
  if (photo.empty()) return photo;
  if (letterbox) {
    const int width = std::min(1280, photo.cols * 720 / photo.rows);
    sized = cv::Mat(720, 1280, CV_8UC3, cv::Scalar::all(0));
    cv::resize(photo, sized(cv::Rect((1280 - width) / 2, 0, width, 720)), cv::Size(width, 720));
  } else {
    cv::resize(photo, sized, cv::Size(1280, 720));
  }
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

// With no picture, a frame of noise: nobody is found, so every frame runs the detectors.
void Face(benchmark::State& state, const char* picture, bool detectEveryFrame) {
  cv::Mat bgra = picture ? Picture(picture) : cv::Mat(720, 1280, CV_8UC4);
  if (!picture) cv::randu(bgra, 0, 256);
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

// messi5.jpg letterboxed holds one person the detector finds; basketball1.png stretched is the
// older case.
void Body(benchmark::State& state, const char* image, bool letterbox, bool detectEveryFrame) {
  cv::Mat bgra = Picture(image, letterbox);
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

#define KAZ_TIMED(b) b->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()
KAZ_TIMED(BENCHMARK_CAPTURE(Face, tracked, "messi5.jpg", false));
KAZ_TIMED(BENCHMARK_CAPTURE(Face, detection_frame, "messi5.jpg", true));
KAZ_TIMED(BENCHMARK_CAPTURE(Face, nobody, nullptr, false));
KAZ_TIMED(BENCHMARK_CAPTURE(Body, tracked_one_person, "messi5.jpg", true, false));
KAZ_TIMED(BENCHMARK_CAPTURE(Body, detection_frame_one_person, "messi5.jpg", true, true));
KAZ_TIMED(BENCHMARK_CAPTURE(Body, tracked, "basketball1.png", false, false));
KAZ_TIMED(BENCHMARK_CAPTURE(Body, detection_frame, "basketball1.png", false, true));

}  // namespace

BENCHMARK_MAIN();
