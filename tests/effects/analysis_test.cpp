// SPDX-License-Identifier: MIT
// Face info ("AD36FDCA-6B5E-4399-8625-DE97EBF12E41") and pose
// ("02E5BBF3-8C49-4392-9B0F-5B72E56FC762") through the exported filter API, with doubles whose
// output is a known function of the frame size (tests/effects/doubles/analysis_double.c). Every
// expected blob is written here from that function and the blob layout, byte by byte.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <thread>

#include <opencv2/core.hpp>

#include "ai/ai_results.h"
#include "ai/doubles/double_probe.h"
#include "ai/module_symbols.h"
#include "ai/platform.h"
#include "doubles/analysis_probe.h"
#include "effect_reference.h"
#include "framework/shared_ai_objects.h"
#include "kaz/ai_results.h"
#include "kaz/filter_api.h"
#include "support/test_support.h"

namespace {

constexpr char kFace[] = "AD36FDCA-6B5E-4399-8625-DE97EBF12E41";
constexpr char kPose[] = "02E5BBF3-8C49-4392-9B0F-5B72E56FC762";
constexpr char kBadOutput[] = "%s: the runtime answered with %s; the frame has no result\n";
using Blob = std::vector<uint8_t>;
using kaztest::Receiver;

// The double's behaviour for the next calls, by KAZ_DOUBLE_ variable; unset variables take the
// double's defaults.
void Steer(const std::map<std::string, std::string>& env) {
  for (const char* name : {"COUNT", "POINTS", "OUTPUT", "STATUS", "CREATE", "DELAY_US"})
    unsetenv((std::string("KAZ_DOUBLE_") + name).c_str());
  for (const auto& [name, value] : env) setenv(("KAZ_DOUBLE_" + name).c_str(), value.c_str(), 1);
}

// The doubles' counters, read through the binding the effects use.
template <class Stats>
Stats Probe(bool face) {
  using namespace THIRD_LIBRARY_IMPORT;
  const char* name = std::is_same_v<Stats, KazModuleDoubleStats> ? "KazModuleDoubleStatsGet"
                                                                 : "KazAnalysisDoubleStatsGet";
  void* handle = face ? GetQuorinHumanFaceInfoSymbols()->ModuleHandle()
                      : GetQuorinHumanPoseSymbols()->ModuleHandle();
  Stats stats{};
  if (auto get = reinterpret_cast<void (*)(Stats*)>(kaz::platform::FindSymbol(handle, name)))
    get(&stats);
  return stats;
}
KazModuleDoubleStats FaceModule() { return Probe<KazModuleDoubleStats>(true); }
KazModuleDoubleStats PoseModule() { return Probe<KazModuleDoubleStats>(false); }
KazAnalysisDoubleStats FaceExtra() { return Probe<KazAnalysisDoubleStats>(true); }
KazAnalysisDoubleStats PoseExtra() { return Probe<KazAnalysisDoubleStats>(false); }

struct Writer {
  Blob b;
  void U8(int v) { b.push_back(static_cast<uint8_t>(v)); }
  void I32(int64_t v) {
    for (int i = 0; i < 4; ++i) U8(static_cast<int>((v >> (8 * i)) & 0xFF));
  }
  void F32(float f) {
    uint32_t u;
    std::memcpy(&u, &f, 4);
    I32(u);
  }
};

// The double's faces on a processed frame of w x h, as the face blob carries them.
Blob FaceBlob(int w, int h, int n) {
  Writer out;
  out.I32(n);
  for (int i = 0; i < n; ++i) {
    out.U8(0xA0 + i);  // byte 993 first, then 992
    out.U8(0xB0 + i);
    for (int base : {0x21, 0x11, 0x31}) {  // bytes 1008.., 1000.., 1016..
      for (int j = 0; j < 8; ++j) out.U8(base + j + 0x40 * i);
    }
    out.F32(static_cast<float>(w / 8 + i) / static_cast<float>(w));
    out.F32(static_cast<float>(h / 8 + i) / static_cast<float>(h));
    out.F32(static_cast<float>(w / 2) / static_cast<float>(w));
    out.F32(static_cast<float>(h / 2) / static_cast<float>(h));
    out.I32(106);
    for (int k = 0; k < 106; ++k) {
      out.F32((k + 1 + i) / 128.0f);  // the same fraction at every frame size
      out.F32((106 - k) / 128.0f);
    }
    out.I32(0);
    out.I32(106);
    for (int k = 0; k < 106; ++k) out.F32((k + i) % 3 == 0 ? 0.0f : 1.0f);
  }
  return out.b;
}

// n people of c points on a w x h frame: all with the first person's points.
Blob PoseBlob(int w, int h, int n, int c) {
  Writer out;
  if (n < 1) return out.b;
  out.I32(n);
  for (int p = 0; p < n; ++p) {
    out.I32(c);
    for (int k = 0; k < c; ++k) {
      out.F32(2.0f * (k + 1) / static_cast<float>(w));
      out.F32(3.0f * (k + 1) / static_cast<float>(h));
      out.I32(p);
    }
  }
  return out.b;
}

struct Filter : kaztest::Filter {
  explicit Filter(const char* guid, Receiver* to = nullptr) : kaztest::Filter(guid) {
    if (to != nullptr) Lend(to);
  }
  std::shared_ptr<AIDATA::BaseAIDATA> Held() {
    std::shared_ptr<AIDATA::BaseAIDATA> held;
    EXPECT_EQ(NLEEffectFilterGetAIResData(f, &held), 0);
    return held;
  }
};

bool Same(const cv::Mat& a, const cv::Mat& b) { return cv::norm(a, b, cv::NORM_INF) == 0; }

TEST(Analysis, FailedCreationIsRetriedAndFramesPassMeanwhile) {
  vorta::SharedAiObjects::ReleaseAll();
  Steer({{"CREATE", "fail"}});
  const cv::Mat src = kaztest::Source(40, 30);
  Filter face(kFace), pose(kPose);
  const int faceCreates = FaceModule().createCalls, poseCreates = PoseModule().createCalls;
  for (int frame = 0; frame < 2; ++frame) {
    EXPECT_TRUE(Same(face.Run(src), src));
    EXPECT_EQ(face.result, 1);
    EXPECT_EQ(cv::countNonZero(pose.Run(src).reshape(1) != 77), 0) << "left as given";
    EXPECT_EQ(pose.result, 1);
  }
  EXPECT_EQ(FaceModule().createCalls - faceCreates, 2);
  EXPECT_EQ(PoseModule().createCalls - poseCreates, 2);
  Steer({});
  face.Run(src);
  EXPECT_EQ(face.result, 0);
  pose.Run(src);
  EXPECT_EQ(pose.result, 0);

  // What creation was given.
  const std::string models = "/opt/res/kaz_effect/plugin/AiModel/";
  const KazAnalysisDoubleStats f = FaceExtra(), p = PoseExtra();
  EXPECT_EQ((std::vector<std::string>{f.paths[0], f.paths[1], f.paths[2], f.paths[3], p.paths[0]}),
            (std::vector<std::string>{
                models + "facedetector/RQ_FaceDetector_x86_Openvino_v1.0.0.0.model",
                models + "face_landmarks/RQ_FaceLandmarks_CPU_Openvino_FP32_3.0.0.0.model",
                models + "face_visibility/RQ_FaceVisibility_Online_Openvino_CPU_FP32_1.0.0.0.model",
                models + "face_pose_estimator/RQ_FacePoseEstimator_Net_Binary_1.0.0.0.model",
                models + "human_landmarks/RQ_HumanLandmarks_CPU_Openvino_Int32_1.0.0.0.model"}));
  EXPECT_TRUE(f.slotsGiven);
  EXPECT_FALSE(f.integrationGiven || p.integrationGiven);
  for (const QuorinDeviceEntry& d : {f.devices[0], f.devices[1], f.devices[2], p.devices[0]}) {
    EXPECT_EQ(std::vector<int>({d.deviceType, d.reserved, d.threads, d.count}),
              std::vector<int>({KAZ_DOUBLE_DEVICE_TYPE, 0, 4, 1}));
  }
}

struct FaceCase {
  int w, h, faces;
  bool shrunk;
};

class FaceInfo : public ::testing::TestWithParam<FaceCase> {};

TEST_P(FaceInfo, BlobAndResultDescribeTheFacesOfTheProcessedFrame) {
  const FaceCase c = GetParam();
  Steer({{"COUNT", std::to_string(c.faces)}});
  const cv::Mat src = kaztest::Source(c.w, c.h);
  Receiver recorder;
  Filter filter(kFace, &recorder);
  const int w = c.shrunk ? cvRound(c.w * 0.4) : c.w, h = c.shrunk ? cvRound(c.h * 0.4) : c.h;
  const Blob expected = FaceBlob(w, h, c.faces);
  for (int frame = 1; frame <= 2; ++frame) {
    EXPECT_TRUE(Same(filter.Run(src), src));
    EXPECT_EQ(filter.result, 0);
    ASSERT_EQ(recorder.faces.size(), static_cast<size_t>(frame)) << "one push per frame";
    EXPECT_EQ(recorder.faces.back(), expected);
  }
  EXPECT_EQ(cv::Size(FaceModule().lastInput.width, FaceModule().lastInput.height), cv::Size(w, h));
  EXPECT_EQ(FaceExtra().outstanding, 0) << "every output released";

  // The held result as a whole, through the layout the pushed blob already proved.
  auto held = std::dynamic_pointer_cast<AIDATA::HumanFaceInfoMultiDatas>(filter.Held());
  ASSERT_TRUE(held);
  EXPECT_EQ(AIDATA::FlattenFaces(*held), expected);
}

INSTANTIATE_TEST_SUITE_P(Effects, FaceInfo,
                         ::testing::Values(FaceCase{64, 48, 1, false},
                                           FaceCase{1919, 1079, 2, false},
                                           FaceCase{1920, 1079, 1, true},
                                           FaceCase{1919, 1080, 2, true}));

struct FailedCase {
  const char* name;
  const char* guid;
  std::map<std::string, std::string> env;
  bool logged;  // a level-4 line: the runtime's answer cannot be read
  int result = 1;
  bool held = false;  // a run that only failed still leaves its result for the host to ask for
};

class FailedFrame : public ::testing::TestWithParam<FailedCase> {};

TEST_P(FailedFrame, NothingIsPushedAndOnlyAFailedRunIsHeld) {
  const FailedCase& c = GetParam();
  Steer(c.env);
  const cv::Mat src = kaztest::Source(48, 40);
  Receiver recorder;
  Filter filter(c.guid, &recorder);
  kaztest::LogCapture log;
  EXPECT_TRUE(Same(filter.Run(src), src));
  EXPECT_EQ(filter.result, c.result);
  EXPECT_TRUE(recorder.faces.empty() && recorder.poses.empty());
  EXPECT_EQ(filter.Held() != nullptr, c.held);
  EXPECT_EQ(log.CountFormat(kBadOutput, 4), c.logged ? 1 : 0) << log.Dump();
  EXPECT_EQ(FaceExtra().outstanding + PoseExtra().outstanding, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Effects, FailedFrame,
    ::testing::Values(
        FailedCase{"NoFace", kFace, {{"COUNT", "0"}}, false},
        FailedCase{"FaceNegativeCount", kFace, {{"COUNT", "-3"}}, true},
        FailedCase{"FaceNullOutput", kFace, {{"COUNT", "2"}, {"OUTPUT", "null"}}, true},
        FailedCase{"FaceAbsurdCount", kFace, {{"COUNT", "4097"}}, true},
        FailedCase{"PoseNegativeCount", kPose, {{"COUNT", "-1"}}, true},
        FailedCase{"PoseNullOutput", kPose, {{"COUNT", "2"}, {"OUTPUT", "null"}}, true},
        FailedCase{"PoseAbsurdPointCount", kPose, {{"POINTS", "4097"}}, true},
        // The pose effect answers 0 whenever it has a module.
        FailedCase{"FaceRunFailed", kFace, {{"STATUS", "6"}}, false, 1, true},
        FailedCase{"PoseRunFailed", kPose, {{"STATUS", "6"}}, false, 0, true}),
    [](const ::testing::TestParamInfo<FailedCase>& info) { return info.param.name; });

struct PoseCase {
  int people, points;
};

class Pose : public ::testing::TestWithParam<PoseCase> {};

TEST_P(Pose, EveryoneTakesTheFirstPersonsPointsWithTheirOwnScores) {
  const PoseCase c = GetParam();
  Steer({{"COUNT", std::to_string(c.people)}, {"POINTS", std::to_string(c.points)}});
  const cv::Mat src = kaztest::Source(1920, 1080);  // never shrunk
  Receiver recorder;
  Filter filter(kPose, &recorder);
  EXPECT_TRUE(Same(filter.Run(src), src));
  EXPECT_EQ(filter.result, 0);
  ASSERT_EQ(recorder.poses.size(), 1u) << "pushed also when nobody is there";
  EXPECT_EQ(recorder.poses[0], PoseBlob(1920, 1080, c.people, c.points));
  EXPECT_EQ(PoseExtra().outstanding, 0);

  // The points were in the blob; the scores travel only in the held result.
  auto held = std::dynamic_pointer_cast<AIDATA::HumanPoseDatas>(filter.Held());
  ASSERT_TRUE(held) << "held even when empty";
  ASSERT_EQ(held->persons.size(), static_cast<size_t>(c.people));
  for (int p = 0; p < c.people; ++p) {
    std::vector<float> scores;
    for (int k = 0; k < c.points; ++k) scores.push_back(0.5f + p + k / 1024.0f);
    EXPECT_EQ(held->persons[p].scores, scores) << p;
  }
}

INSTANTIATE_TEST_SUITE_P(Effects, Pose,
                         ::testing::Values(PoseCase{0, 33}, PoseCase{1, 0}, PoseCase{1, 17},
                                           PoseCase{3, 33}));

TEST(Pose, TrackingIsResetOncePerSizeChange) {
  Steer({});
  Filter filter(kPose);
  const int before = PoseExtra().resets;
  // Sizes: first frame, same, height only, same, width only, back to the first.
  for (const cv::Size size : {cv::Size(64, 48), cv::Size(64, 48), cv::Size(64, 50),
                              cv::Size(64, 50), cv::Size(70, 50), cv::Size(64, 48)}) {
    filter.Run(kaztest::Source(size.width, size.height));
  }
  const KazAnalysisDoubleStats after = PoseExtra();
  EXPECT_EQ(std::vector<int>(
                {after.resets - before, after.lastResetMode, after.lastMode, after.lastReserved}),
            std::vector<int>({4, 1, 1, 0}));
}

TEST(Analysis, AHeldResultOutlivesTheNextFrame) {
  Steer({{"COUNT", "2"}});
  Filter face(kFace), pose(kPose);
  face.Run(kaztest::Source(64, 64));
  pose.Run(kaztest::Source(64, 64));
  const auto faces = std::dynamic_pointer_cast<AIDATA::HumanFaceInfoMultiDatas>(face.Held());
  const auto people = std::dynamic_pointer_cast<AIDATA::HumanPoseDatas>(pose.Held());
  ASSERT_TRUE(faces && people);
  Steer({{"COUNT", "1"}});
  face.Run(kaztest::Source(128, 64));
  pose.Run(kaztest::Source(128, 64));
  EXPECT_NE(face.Held(), faces);
  EXPECT_EQ(AIDATA::FlattenFaces(*faces), FaceBlob(64, 64, 2)) << "kept as it was";
  EXPECT_EQ(AIDATA::FlattenPoses(*people), PoseBlob(64, 64, 2, 33));
  Steer({{"COUNT", "0"}});
  face.Run(kaztest::Source(64, 64));
  EXPECT_FALSE(face.Held()) << "a frame without faces releases the last result";
}

TEST(Analysis, FiltersOnSeveralThreadsNeverOverlapInTheModule) {
  Steer({{"COUNT", "2"}, {"DELAY_US", "2000"}});
  const int faceOverlaps = FaceModule().overlaps, poseOverlaps = PoseModule().overlaps;
  const int faceCalls = FaceModule().processCalls;
  std::vector<std::vector<Blob>> faces(4), poses(4);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      Receiver recorder;
      Filter face(kFace, &recorder), pose(kPose, &recorder);
      const cv::Mat src = kaztest::Source(40 + 8 * t, 32);
      for (int frame = 0; frame < 4; ++frame) {
        face.Run(src);
        pose.Run(src);
      }
      faces[t] = recorder.faces;
      poses[t] = recorder.poses;
    });
  }
  for (auto& t : threads) t.join();
  EXPECT_EQ(FaceModule().overlaps, faceOverlaps);
  EXPECT_EQ(PoseModule().overlaps, poseOverlaps);
  EXPECT_EQ(FaceModule().processCalls - faceCalls, 16);
  for (int t = 0; t < 4; ++t) {
    ASSERT_EQ(faces[t].size(), 4u);
    ASSERT_EQ(poses[t].size(), 4u);
    EXPECT_EQ(faces[t][3], FaceBlob(40 + 8 * t, 32, 2));
    EXPECT_EQ(poses[t][3], PoseBlob(40 + 8 * t, 32, 2, 33));
  }
}

}  // namespace
