// SPDX-License-Identifier: MIT
// The face and body landmark modules through their C entry points: every failure is a status,
// never a crash. Tests that need the installed networks skip, saying so, when they are absent.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "landmarks_common/tracking.h"
#include "quorin/quorin_human_landmarks.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

namespace {

const std::string kModels = KAZ_RESOURCES "/kaz_effect/plugin/AiModel/";
const std::string kFace[4] = {
    kModels + "facedetector/RQ_FaceDetector_x86_Openvino_v1.0.0.0.model",
    kModels + "face_landmarks/RQ_FaceLandmarks_CPU_Openvino_FP32_3.0.0.0.model",
    kModels + "face_visibility/RQ_FaceVisibility_Online_Openvino_CPU_FP32_1.0.0.0.model",
    kModels + "face_pose_estimator/RQ_FacePoseEstimator_Net_Binary_1.0.0.0.model"};
const std::string kBody =
    kModels + "human_landmarks/RQ_HumanLandmarks_CPU_Openvino_Int32_1.0.0.0.model";

bool Installed() {
  return std::filesystem::exists(kModels + "networks/face_landmark.onnx") &&
         std::filesystem::exists(kModels + "networks/pose_landmark_lite.onnx");
}

int32_t CreateFace(const std::string paths[4], void** instance) {
  const QuorinDeviceEntry devices[3] = {};
  void *slot0 = nullptr, *slot1 = nullptr;
  return QuorinPipelineFaceLandmarksV2Create(paths[0].c_str(), paths[1].c_str(), paths[2].c_str(),
                                             paths[3].c_str(), nullptr, devices, &slot0, &slot1,
                                             instance);
}

std::string Write(const std::string& name, const std::string& text) {
  const std::string path = (std::filesystem::temp_directory_path() / name).string();
  std::ofstream(path) << text;
  return path;
}

QuorinFrame Frame(std::vector<uint8_t>& pixels, int width, int height, int format = 4) {
  pixels.assign(static_cast<size_t>(width) * height * 4, 0);
  QuorinFrame f{};
  f.format = format;
  f.width = width;
  f.height = height;
  f.planes[0] = pixels.data();
  return f;
}

TEST(LandmarkModules, CreateFailsWithAStatusAndNoInstance) {
  void* instance = reinterpret_cast<void*>(1);
  const std::string missing[4] = {"/nonexistent/a.model", kFace[1], kFace[2], kFace[3]};
  EXPECT_EQ(CreateFace(missing, &instance), 2);
  EXPECT_EQ(instance, nullptr);
  const std::string notJson[4] = {Write("lm_bad.model", "{ not json"), kFace[1], kFace[2],
                                  kFace[3]};
  EXPECT_EQ(CreateFace(notJson, &instance), 3);
  const std::string wrongBackend[4] = {kFace[1], kFace[1], kFace[2], kFace[3]};
  EXPECT_EQ(CreateFace(wrongBackend, &instance), 3);
  // A manifest whose network is not installed: code 2, whatever else is there.
  const std::string absent = Write(
      "lm_absent.model",
      R"({"backend": "pose", "pose": {"detector": "nothere.onnx", "network": "nothere.onnx"}})");
  EXPECT_EQ(QuorinHumanLandmarksCreate(absent.c_str(), nullptr, nullptr, &instance), 2);
  EXPECT_EQ(instance, nullptr);
  EXPECT_EQ(QuorinHumanLandmarksCreate(nullptr, nullptr, nullptr, &instance), 2);
  EXPECT_NE(QuorinHumanLandmarksCreate(kBody.c_str(), nullptr, nullptr, nullptr), 0);
}

TEST(LandmarkModules, NullAndForeignArgumentsAreRefused) {
  std::vector<uint8_t> pixels;
  QuorinFrame frame = Frame(pixels, 8, 8);
  const QuorinFaceRecord* faces = reinterpret_cast<const QuorinFaceRecord*>(&frame);
  const QuorinPersonLandmarks* people = reinterpret_cast<const QuorinPersonLandmarks*>(&frame);
  int32_t count = 5;
  EXPECT_EQ(QuorinPipelineFaceLandmarksV2Process(nullptr, &frame, &faces, &count), 1);
  EXPECT_EQ(faces, nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(QuorinHumanLandmarksProcess(nullptr, &frame, 0, &people, &count, 1), 1);
  EXPECT_EQ(people, nullptr);
  EXPECT_EQ(QuorinPipelineFaceLandmarksV2Destroy(nullptr), 0);
  EXPECT_EQ(QuorinHumanLandmarksDestroy(nullptr), 0);
  EXPECT_EQ(QuorinPipelineFaceLandmarksV2StatusReset(nullptr), 1);
  EXPECT_EQ(QuorinHumanLandmarksStatusReset(nullptr, 1), 1);
  // Pointers the modules never handed out (a crash without the check).
  EXPECT_EQ(QuorinPipelineFaceLandmarksV2OutputRelease(
                reinterpret_cast<const QuorinFaceRecord*>(pixels.data())),
            1);
  EXPECT_EQ(QuorinHumanLandmarksOutputRelease(nullptr), 1);
}

class InstalledModules : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Installed()) GTEST_SKIP() << "networks not installed (scripts/models.sh): skipped";
    ASSERT_EQ(CreateFace(kFace, &face_), 0);
    ASSERT_EQ(QuorinHumanLandmarksCreate(kBody.c_str(), nullptr, nullptr, &body_), 0);
  }
  void TearDown() override {
    EXPECT_EQ(QuorinPipelineFaceLandmarksV2Destroy(face_), 0);
    EXPECT_EQ(QuorinHumanLandmarksDestroy(body_), 0);
  }
  // The face and body statuses for one frame, and how many faces and people they found. The
  // body's block comes even for nobody: released once, refused a second time.
  std::tuple<int32_t, int32_t, int32_t> Run(const QuorinFrame* frame) {
    const QuorinFaceRecord* faces = nullptr;
    const QuorinPersonLandmarks* people = nullptr;
    int32_t faceCount = -1, bodyCount = -1;
    const int32_t face = QuorinPipelineFaceLandmarksV2Process(face_, frame, &faces, &faceCount);
    const int32_t body = QuorinHumanLandmarksProcess(body_, frame, 0, &people, &bodyCount, 1);
    EXPECT_EQ(people != nullptr, body == 0);
    if (people != nullptr) {
      EXPECT_EQ(QuorinHumanLandmarksOutputRelease(people), 0);
      EXPECT_EQ(QuorinHumanLandmarksOutputRelease(people), 1) << "double release";
    }
    return {face, body, faceCount + bodyCount};
  }
  void* face_ = nullptr;
  void* body_ = nullptr;
};

TEST_F(InstalledModules, BadFramesAnswerOne) {
  std::vector<uint8_t> pixels[4];
  QuorinFrame grey = Frame(pixels[0], 16, 16, QUORIN_FORMAT_GRAY8);
  QuorinFrame empty = Frame(pixels[1], 0, 16);
  QuorinFrame shortRows = Frame(pixels[2], 16, 16);
  shortRows.strides[0] = 60;  // below 16 x 4 bytes
  QuorinFrame noPixels = Frame(pixels[3], 16, 16);
  noPixels.planes[0] = nullptr;
  for (const QuorinFrame* frame :
       {static_cast<QuorinFrame*>(nullptr), &grey, &empty, &shortRows, &noPixels}) {
    EXPECT_EQ(Run(frame), std::make_tuple(1, 1, 0));
  }
}

// Extreme but valid sizes: processed, nobody found on a blank picture, nothing crashes.
TEST_F(InstalledModules, TinyAndHugeBlankFramesFindNobody) {
  for (int side : {1, 2, 8000}) {
    std::vector<uint8_t> pixels;
    QuorinFrame frame = Frame(pixels, side, side);
    EXPECT_EQ(Run(&frame), std::make_tuple(0, 0, 0)) << side;
    EXPECT_EQ(QuorinPipelineFaceLandmarksV2StatusReset(face_), 0);
    EXPECT_EQ(QuorinHumanLandmarksStatusReset(body_, 1), 0);
  }
}

// The tracking settings are checked at create: out of range or not a number is code 3.
TEST(LandmarkModules, BodyTrackingSettingsAreChecked) {
  if (!Installed()) GTEST_SKIP() << "networks not installed (scripts/models.sh): skipped";
  const std::string networks = R"("detector": ")" + kModels + R"(networks/pose_detection.onnx",
      "network": ")" + kModels +
                               R"(networks/pose_landmark_lite.onnx")";
  const struct {
    const char* setting;
    int32_t status;
  } cases[] = {{R"("cropSlack": 0)", 0},       {R"("cropSlack": 0.6)", 3},
               {R"("filterMinCutoff": 0)", 3}, {R"("filterBeta": -1)", 3},
               {R"("cropBeta": "fast")", 3},   {R"("filterDerivativeCutoff": 0)", 3},
               {R"("cropMinCutoff": 1e9)", 3}};
  for (const auto& c : cases) {
    const std::string path = Write(
        "lm_filter.model", R"({"backend": "pose", "pose": {)" + networks + ", " + c.setting + "}}");
    void* instance = nullptr;
    EXPECT_EQ(QuorinHumanLandmarksCreate(path.c_str(), nullptr, nullptr, &instance), c.status)
        << c.setting;
    EXPECT_EQ(instance != nullptr, c.status == 0) << c.setting;
    if (instance != nullptr) QuorinHumanLandmarksDestroy(instance);
  }
}

// Boxes of single points used to come out empty, so a tracked person never covered a
// detection and every scheduled detector run added a second track of the same body.
TEST(LandmarkTracking, PointBoundsSpanTheFirstPoints) {
  const std::vector<cv::Point3f> three = {{5, 7, 0}, {-3, 10, 1}, {2, -1, 0}};
  const struct {
    std::vector<cv::Point3f> points;
    size_t count;
    cv::Rect2f box;
  } cases[] = {{three, 3, {-3, -1, 8, 11}},
               {three, 2, {-3, 7, 8, 3}},
               {three, 9, {-3, -1, 8, 11}},
               {three, 1, {5, 7, 0, 0}},
               {{}, 4, {0, 0, 0, 0}}};
  for (const auto& c : cases) {
    EXPECT_EQ(quorin::lm::PointBounds(c.points, c.count), c.box) << c.count;
  }
}

// Each bound is crossed by a crop-edge midpoint moving more than slack x side: here 10 px.
TEST(LandmarkTracking, CropMovesOnlyBeyondTheSlack) {
  using quorin::lm::Crop;
  const Crop last{{100, 100}, 200, 0};
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    Crop next;
    float slack;
    bool moved;
  } cases[] = {{last, 0.05f, false},
               {last, 0, false},
               {{{106, 108}, 200, 0}, 0.05f, false},  // 10 px exactly
               {{{106, 108.5f}, 200, 0}, 0.05f, true},
               {{{100, 100}, 220, 0}, 0.05f, false},
               {{{100, 100}, 178, 0}, 0.05f, true},
               {{{100, 100}, 200, 0.09f}, 0.05f, false},
               {{{100, 100}, 200, -0.11f}, 0.05f, true},
               {{{100, 101}, 200, 0}, 0, true},
               {{{100, 100}, nan, 0}, 0.05f, true},
               {{{nan, 100}, 200, 0}, 0.05f, true}};
  for (const auto& c : cases) {
    EXPECT_EQ(quorin::lm::CropMoved(last, c.next, c.slack), c.moved)
        << c.next.centre << " " << c.next.side << " " << c.next.angle << " " << c.slack;
  }
  // Angles a full turn apart are the same turn: 3.1 and -3.1 rad differ by 0.083 rad.
  EXPECT_FALSE(quorin::lm::CropMoved({{0, 0}, 200, 3.1f}, {{0, 0}, 200, -3.1f}, 0.05f));
}

TEST(LandmarkTracking, OneEuroFilter) {
  using quorin::lm::OneEuro;
  using quorin::lm::OneEuroSettings;
  // Without beta it is an exponential low-pass, a = 2 pi fc / (2 pi fc + rate): after a unit
  // step the output has covered 1 - (1 - a)^n of it.
  for (const OneEuroSettings s : {OneEuroSettings{1, 0, 1, 30}, OneEuroSettings{4, 0, 9, 60}}) {
    const double a = 2 * CV_PI * s.minCutoff / (2 * CV_PI * s.minCutoff + s.rate);
    OneEuro f;
    EXPECT_EQ(f.Filter(5, 1, s), 5);  // the first sample passes
    for (int n = 1; n <= 20; ++n) {
      EXPECT_NEAR(f.Filter(6, 1, s), 5 + 1 - std::pow(1 - a, n), 1e-5) << n;
    }
    f.Reset();
    EXPECT_EQ(f.Filter(-3, 1, s), -3);
    EXPECT_EQ(f.Filter(-3, 1, s), -3);  // at rest it stays exactly put
  }
  // Speed raises the cut-off: a step is followed faster with beta, and by the same share at
  // any size when the scale grows with the values.
  const OneEuroSettings slow{0.3f, 0, 1, 30}, quick{0.3f, 150, 1, 30};
  OneEuro a, b, c;
  for (OneEuro* f : {&a, &b, &c}) f->Filter(0, 1, slow);
  const float still = a.Filter(10, 100, slow), fast = b.Filter(10, 100, quick);
  const float big = c.Filter(1000, 10000, quick);
  EXPECT_GT(fast, 2 * still);
  EXPECT_LT(fast, 10);
  EXPECT_NEAR(big / 100, fast, 1e-4);
}

}  // namespace
