// SPDX-License-Identifier: MIT
// Accuracy and stability of the face and body landmark modules on labelled photographs:
//   landmarks_quality LABELS.json SAMPLES_DIR   recall, normalised mean error, PCK@0.2
//   landmarks_quality --jitter IMAGE [X Y W H]  frame-to-frame movement on a noisy still clip
//                                               (of the photo's region X Y W H if given)
//   landmarks_quality --lag IMAGE               body points' lag behind a noisy still that pans
// Labels name points by part; see bench/runtime/landmark_labels.json.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "quorin/quorin_human_landmarks.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

namespace {

const std::string kModels = KAZ_RESOURCES "/kaz_effect/plugin/AiModel/";
// Labelled face parts and the 106-point index each is compared with.
const std::map<std::string, int> kFaceParts = {
    {"rightEye", 61}, {"leftEye", 70}, {"nose", 77}, {"mouthRight", 86}, {"mouthLeft", 92}};
// Labelled body parts and the 33-point index of each.
const std::map<std::string, int> kBodyParts = {
    {"leftShoulder", 11}, {"rightShoulder", 12}, {"leftElbow", 13}, {"rightElbow", 14},
    {"leftWrist", 15},    {"rightWrist", 16},    {"leftHip", 23},   {"rightHip", 24},
    {"leftKnee", 25},     {"rightKnee", 26},     {"leftAnkle", 27}, {"rightAnkle", 28}};

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

// `picture` (BGR) with sensor noise of sigma 3 of 255 per sample, as BGRA.
void Noisy(const cv::Mat& picture, cv::RNG& rng, cv::Mat& bgra) {
  cv::Mat noise(picture.size(), CV_16SC3), noisy;
  rng.fill(noise, cv::RNG::NORMAL, 0, 3);
  cv::add(picture, noise, noisy, cv::noArray(), CV_8UC3);
  cv::cvtColor(noisy, bgra, cv::COLOR_BGR2BGRA);
}

cv::Point2f At(const nlohmann::json& p) {
  return cv::Point2f(p[0].get<float>(), p[1].get<float>());
}

void* CreateFace() {
  void* face = nullptr;
  const QuorinDeviceEntry d[3] = {};
  void *s0, *s1;
  const std::string det = kModels + "facedetector/RQ_FaceDetector_x86_Openvino_v1.0.0.0.model";
  const std::string mesh =
      kModels + "face_landmarks/RQ_FaceLandmarks_CPU_Openvino_FP32_3.0.0.0.model";
  const std::string vis =
      kModels + "face_visibility/RQ_FaceVisibility_Online_Openvino_CPU_FP32_1.0.0.0.model";
  const std::string pose =
      kModels + "face_pose_estimator/RQ_FacePoseEstimator_Net_Binary_1.0.0.0.model";
  if (QuorinPipelineFaceLandmarksV2Create(det.c_str(), mesh.c_str(), vis.c_str(), pose.c_str(),
                                          nullptr, d, &s0, &s1, &face) != 0) {
    std::fprintf(stderr, "face module: create failed (QUORIN_LOG=1 says why)\n");
    std::exit(1);
  }
  return face;
}

void* CreateBody() {
  void* body = nullptr;
  const QuorinDeviceEntry d{};
  const std::string path =
      kModels + "human_landmarks/RQ_HumanLandmarks_CPU_Openvino_Int32_1.0.0.0.model";
  if (QuorinHumanLandmarksCreate(path.c_str(), nullptr, &d, &body) != 0) {
    std::fprintf(stderr, "body module: create failed (QUORIN_LOG=1 says why)\n");
    std::exit(1);
  }
  return body;
}

int Quality(const char* labelsPath, const std::string& samples) {
  std::ifstream file(labelsPath);
  const nlohmann::json labels = nlohmann::json::parse(file);
  void* face = CreateFace();
  void* body = CreateBody();
  int faces = 0, found = 0, points = 0, correct = 0, bodies = 0, bodiesFound = 0;
  double nme = 0;
  for (const auto& item : labels["faces"]) {
    cv::Mat bgra;
    cv::cvtColor(cv::imread(samples + "/" + item["image"].get<std::string>()), bgra,
                 cv::COLOR_BGR2BGRA);
    QuorinPipelineFaceLandmarksV2StatusReset(face);
    QuorinFrame frame = FrameOf(bgra);
    const QuorinFaceRecord* out = nullptr;
    int32_t count = 0;
    QuorinPipelineFaceLandmarksV2Process(face, &frame, &out, &count);
    for (const auto& person : item["people"]) {
      ++faces;
      const cv::Point2f nose = At(person["nose"]);
      const float ocular = cv::norm(At(person["rightEye"]) - At(person["leftEye"]));
      for (int i = 0; i < count; ++i) {
        const cv::Rect box(cv::Point(out[i].box[0], out[i].box[1]),
                           cv::Point(out[i].box[2], out[i].box[3]));
        if (!box.contains(nose)) continue;
        ++found;
        double sum = 0;
        for (const auto& [part, index] : kFaceParts) {
          sum += cv::norm(cv::Point2f(out[i].landmarks[index][0], out[i].landmarks[index][1]) -
                          At(person[part]));
        }
        nme += sum / kFaceParts.size() / ocular;
        break;
      }
    }
    if (count > 0) QuorinPipelineFaceLandmarksV2OutputRelease(out);
  }
  for (const auto& item : labels["bodies"]) {
    cv::Mat bgra;
    cv::cvtColor(cv::imread(samples + "/" + item["image"].get<std::string>()), bgra,
                 cv::COLOR_BGR2BGRA);
    QuorinHumanLandmarksStatusReset(body, 1);
    QuorinFrame frame = FrameOf(bgra);
    const QuorinPersonLandmarks* out = nullptr;
    int32_t count = 0;
    QuorinHumanLandmarksProcess(body, &frame, 0, &out, &count, 1);
    for (const auto& person : item["people"]) {
      ++bodies;
      // Torso size: the mean of the two shoulder-to-opposite-hip diagonals.
      const float torso = 0.5f * (cv::norm(At(person["leftShoulder"]) - At(person["rightHip"])) +
                                  cv::norm(At(person["rightShoulder"]) - At(person["leftHip"])));
      int best = -1;
      double bestError = 1e30;
      for (int i = 0; i < count; ++i) {
        double error = 0;
        for (const auto& [part, index] : kBodyParts) {
          error += cv::norm(cv::Point2f(out[i].points[2 * index], out[i].points[2 * index + 1]) -
                            At(person[part]));
        }
        if (error < bestError) bestError = error, best = i;
      }
      points += kBodyParts.size();
      if (best < 0 || bestError / kBodyParts.size() > torso) continue;  // nobody near: missed
      ++bodiesFound;
      for (const auto& [part, index] : kBodyParts) {
        const cv::Point2f p(out[best].points[2 * index], out[best].points[2 * index + 1]);
        correct += cv::norm(p - At(person[part])) <= 0.2 * torso;
      }
    }
    QuorinHumanLandmarksOutputRelease(out);
  }
  std::printf("faces: recall %d/%d = %.3f, normalised mean error (inter-ocular) %.4f\n", found,
              faces, faces ? double(found) / faces : 0.0, found ? nme / found : 0.0);
  std::printf("bodies: recall %d/%d, PCK@0.2 torso %d/%d = %.3f\n", bodiesFound, bodies, correct,
              points, points ? double(correct) / points : 0.0);
  QuorinPipelineFaceLandmarksV2Destroy(face);
  QuorinHumanLandmarksDestroy(body);
  return 0;
}

// A still photograph as a 720p clip with sensor noise (sigma 3 of 255 per sample): the mean
// and largest frame-to-frame movement of the 106 face points and the 33 body points.
int Jitter(const char* image, const cv::Rect& region) {
  cv::Mat photo = cv::imread(image), still, bgra;
  if (photo.empty()) return std::fprintf(stderr, "cannot read %s\n", image), 1;
  if (region.area() > 0) {
    if ((region & cv::Rect(0, 0, photo.cols, photo.rows)) != region) {
      return std::fprintf(stderr, "the region is outside %s\n", image), 1;
    }
    photo = photo(region);
  }
  cv::resize(photo, still, cv::Size(1280, 720));
  void* face = CreateFace();
  void* body = CreateBody();
  cv::RNG rng(7);
  std::vector<float> lastFace, lastBody;
  double faceSum = 0, bodySum = 0, faceMax = 0, bodyMax = 0;
  int faceN = 0, bodyN = 0;
  float faceWidth = 0;
  for (int t = 0; t < 60; ++t) {
    Noisy(still, rng, bgra);
    QuorinFrame frame = FrameOf(bgra);
    const QuorinFaceRecord* faces = nullptr;
    int32_t count = 0;
    std::vector<float> now;
    if (QuorinPipelineFaceLandmarksV2Process(face, &frame, &faces, &count) == 0 && count > 0) {
      now.assign(&faces[0].landmarks[0][0], &faces[0].landmarks[0][0] + 212);
      faceWidth = faces[0].box[2] - faces[0].box[0];
      QuorinPipelineFaceLandmarksV2OutputRelease(faces);
    }
    if (t >= 5 && now.size() == lastFace.size() && !now.empty()) {
      for (size_t k = 0; k < 212; k += 2) {
        const double d = std::hypot(now[k] - lastFace[k], now[k + 1] - lastFace[k + 1]);
        faceSum += d, faceMax = std::max(faceMax, d), ++faceN;
      }
    }
    lastFace = now;
    const QuorinPersonLandmarks* people = nullptr;
    QuorinHumanLandmarksProcess(body, &frame, 0, &people, &count, 1);
    now.clear();
    if (count > 0) now.assign(people[0].points, people[0].points + 66);
    QuorinHumanLandmarksOutputRelease(people);
    if (t >= 5 && now.size() == lastBody.size() && !now.empty()) {
      for (size_t k = 0; k < 66; k += 2) {
        const double d = std::hypot(now[k] - lastBody[k], now[k + 1] - lastBody[k + 1]);
        bodySum += d, bodyMax = std::max(bodyMax, d), ++bodyN;
      }
    }
    lastBody = now;
  }
  std::printf(
      "face jitter at 1280x720: mean %.3f px, max %.3f px over %d point steps (face box "
      "%.0f px wide)\n",
      faceN ? faceSum / faceN : -1.0, faceMax, faceN, faceWidth);
  std::printf("body jitter at 1280x720: mean %.3f px, max %.3f px over %d point steps\n",
              bodyN ? bodySum / bodyN : -1.0, bodyMax, bodyN);
  QuorinPipelineFaceLandmarksV2Destroy(face);
  QuorinHumanLandmarksDestroy(body);
  return 0;
}

// The still of --jitter with the same noise, first at rest and then panning right by `pan` px
// a frame: the body points should move with the picture. The reference is the mean of the
// points at rest (frames 10..39) moved by the pan, so the network's own bias between crops
// cancels; lag is how far behind along the pan the points are, error the distance.
int Lag(const char* image) {
  cv::Mat photo = cv::imread(image), still, bgra;
  if (photo.empty()) return std::fprintf(stderr, "cannot read %s\n", image), 1;
  cv::resize(photo, still, cv::Size(1280, 720));
  std::vector<double> rest(66, 0.0);
  for (const float pan : {0.0f, 4.0f, 8.0f}) {
    void* body = CreateBody();
    cv::RNG rng(7);
    double lag = 0, error = 0;
    int n = 0, frames = 0;
    for (int t = 0; t < 40; ++t) {
      const cv::Matx23f shift(1, 0, pan * t, 0, 1, 0);
      cv::Mat moved;
      cv::warpAffine(still, moved, shift, still.size(), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
      Noisy(moved, rng, bgra);
      QuorinFrame frame = FrameOf(bgra);
      const QuorinPersonLandmarks* people = nullptr;
      int32_t count = 0;
      QuorinHumanLandmarksProcess(body, &frame, 0, &people, &count, 1);
      // From frame 10 on the filters have settled.
      if (count > 0 && t >= 10) {
        ++frames;
        for (size_t k = 0; k < 66; k += 2, ++n) {
          const float* p = people[0].points + k;
          if (pan == 0) rest[k] += p[0] / 30.0, rest[k + 1] += p[1] / 30.0;
          const double dx = rest[k] + pan * t - p[0], dy = rest[k + 1] - p[1];
          lag += dx, error += std::hypot(dx, dy);
        }
      }
      QuorinHumanLandmarksOutputRelease(people);
    }
    QuorinHumanLandmarksDestroy(body);
    if (frames < 30) return std::fprintf(stderr, "the body was lost\n"), 1;
    if (pan == 0) continue;
    std::printf("body panning %2.0f px a frame at 1280x720: lag %.2f px, error %.2f px\n", pan,
                lag / n, error / n);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--jitter") return Jitter(argv[2], cv::Rect());
  if (argc == 7 && std::string(argv[1]) == "--jitter") {
    return Jitter(argv[2], cv::Rect(std::atoi(argv[3]), std::atoi(argv[4]), std::atoi(argv[5]),
                                    std::atoi(argv[6])));
  }
  if (argc == 3 && std::string(argv[1]) == "--lag") return Lag(argv[2]);
  if (argc == 3) return Quality(argv[1], argv[2]);
  std::fprintf(stderr,
               "usage: landmarks_quality LABELS.json SAMPLES_DIR | --jitter IMAGE [X Y W H] | "
               "--lag IMAGE\n");
  return 2;
}
