// SPDX-License-Identifier: MIT
#include "ai/landmark_modules.h"

#include "ai/ai_results.h"
#include "ai/module_support.h"
#include "ai/quorin_common.h"
#include "api/log.h"

using namespace THIRD_LIBRARY_IMPORT;

const char* const kFaceModelFiles[4] = {
    "facedetector/RQ_FaceDetector_x86_Openvino_v1.0.0.0.model",
    "face_landmarks/RQ_FaceLandmarks_CPU_Openvino_FP32_3.0.0.0.model",
    "face_visibility/RQ_FaceVisibility_Online_Openvino_CPU_FP32_1.0.0.0.model",
    "face_pose_estimator/RQ_FacePoseEstimator_Net_Binary_1.0.0.0.model",
};
const char kPoseModelFile[] = "/human_landmarks/RQ_HumanLandmarks_CPU_Openvino_Int32_1.0.0.0.model";

namespace {

QuorinDeviceEntry DeviceEntry() { return {GetDefaultDeviceType(), 0, 4, 1}; }

void LogBadOutput(const char* wrapper, const char* why) {
  kaz::Log(kaz::kLogError, "%s: the runtime answered with %s; the frame has no result\n", wrapper,
           why);
}

}  // namespace

QuorinHumanFaceInfo::QuorinHumanFaceInfo(std::string resourceDir, std::string cloudResourceDir,
                                         std::string modelDirectory)
    : QuorinLandmarkWrapper(std::move(resourceDir), std::move(cloudResourceDir),
                            std::move(modelDirectory)) {
  try {
    binding_ = GetQuorinHumanFaceInfoSymbols();
    std::string paths[4];
    for (int i = 0; i < 4; ++i) paths[i] = JoinModelPath(modelDirectory_, kFaceModelFiles[i]);
    const QuorinDeviceEntry devices[3] = {DeviceEntry(), DeviceEntry(), DeviceEntry()};
    void* slots[2] = {nullptr, nullptr};
    int32_t status = -1;
    if (auto create = CheckedEntry(
            binding_, &QuorinHumanFaceInfoSymbols::QuorinPipelineFaceLandmarksV2Create)) {
      status = create(paths[0].c_str(), paths[1].c_str(), paths[2].c_str(), paths[3].c_str(),
                      nullptr, devices, &slots[0], &slots[1], &instance_);
    }
    // One line per attempt, as for every module; the detector names the set.
    LogModelCreation(paths[0]);
    valid_ = status == 0;
  } catch (...) {
    valid_ = false;
  }
}

QuorinHumanFaceInfo::~QuorinHumanFaceInfo() {
  if (auto destroy = CheckedEntry(
          binding_, &QuorinHumanFaceInfoSymbols::QuorinPipelineFaceLandmarksV2Destroy)) {
    destroy(instance_);
  }
}

bool QuorinHumanFaceInfo::Process(const cv::Mat& image, std::shared_ptr<AIDATA::BaseAIDATA>& held) {
  if (!valid_) return false;
  try {
    if (!KernelFrameable(image, CV_8UC4)) {
      LogUnusableImages("QuorinHumanFaceInfo");
      return false;
    }
    auto result = std::make_shared<AIDATA::HumanFaceInfoMultiDatas>();
    ScopedKernelFrame frame(image, QUORIN_FORMAT_BGRA8);
    if (!frame) return false;
    std::lock_guard<std::mutex> hold(lock_);
    const QuorinFaceRecord* faces = nullptr;
    int32_t count = 0;
    int32_t status = -1;
    if (auto process = CheckedEntry(
            binding_, &QuorinHumanFaceInfoSymbols::QuorinPipelineFaceLandmarksV2Process)) {
      status = process(instance_, frame.get(), &faces, &count);
    }
    const char* why = AIDATA::CheckFaces(faces, count);
    if (why == nullptr && count > 0) {
      AIDATA::ConvertFaces(faces, count, image.cols, image.rows, *result);
    }
    if (count > 0 && faces != nullptr) {
      if (auto release = CheckedEntry(
              binding_, &QuorinHumanFaceInfoSymbols::QuorinPipelineFaceLandmarksV2OutputRelease)) {
        release(faces);
      }
    }
    if (why != nullptr) {
      LogBadOutput("QuorinHumanFaceInfo", why);
      return false;
    }
    if (count < 1) return false;
    held = std::move(result);
    return status == 0;
  } catch (...) {
    return false;
  }
}

QuorinHumanPose::QuorinHumanPose(std::string resourceDir, std::string cloudResourceDir,
                                 std::string modelDirectory)
    : QuorinLandmarkWrapper(std::move(resourceDir), std::move(cloudResourceDir),
                            std::move(modelDirectory)) {
  try {
    binding_ = GetQuorinHumanPoseSymbols();
    const std::string path = JoinModelPath(modelDirectory_, kPoseModelFile);
    const QuorinDeviceEntry device = DeviceEntry();
    int32_t status = -1;
    if (auto create = CheckedEntry(binding_, &QuorinHumanPoseSymbols::QuorinHumanLandmarksCreate)) {
      status = create(path.c_str(), nullptr, &device, &instance_);
    }
    LogModelCreation(path);
    valid_ = status == 0;
  } catch (...) {
    valid_ = false;
  }
}

QuorinHumanPose::~QuorinHumanPose() {
  if (auto destroy = CheckedEntry(binding_, &QuorinHumanPoseSymbols::QuorinHumanLandmarksDestroy)) {
    destroy(instance_);
  }
}

void QuorinHumanPose::StatusReset() {
  if (!valid_) return;
  // Under the lock too: the instance is shared, and its calls must never overlap.
  std::lock_guard<std::mutex> hold(lock_);
  if (auto reset =
          CheckedEntry(binding_, &QuorinHumanPoseSymbols::QuorinHumanLandmarksStatusReset)) {
    reset(instance_, mode_);
  }
}

bool QuorinHumanPose::Process(const cv::Mat& image, std::shared_ptr<AIDATA::BaseAIDATA>& held) {
  if (!valid_) return false;
  try {
    if (!KernelFrameable(image, CV_8UC4)) {
      LogUnusableImages("QuorinHumanPose");
      return false;
    }
    auto result = std::make_shared<AIDATA::HumanPoseDatas>();
    ScopedKernelFrame frame(image, QUORIN_FORMAT_BGRA8);
    if (!frame) return false;
    std::lock_guard<std::mutex> hold(lock_);
    const QuorinPersonLandmarks* people = nullptr;
    int32_t count = 0;
    int32_t status = -1;
    if (auto process =
            CheckedEntry(binding_, &QuorinHumanPoseSymbols::QuorinHumanLandmarksProcess)) {
      status = process(instance_, frame.get(), 0, &people, &count, mode_);
    }
    const char* why = AIDATA::CheckPeople(people, count);
    if (why == nullptr) AIDATA::ConvertPeople(people, count, image.cols, image.rows, *result);
    // The block goes back to the module after every call, whatever it held.
    if (auto release =
            CheckedEntry(binding_, &QuorinHumanPoseSymbols::QuorinHumanLandmarksOutputRelease)) {
      release(people);
    }
    if (why != nullptr) {
      LogBadOutput("QuorinHumanPose", why);
      return false;
    }
    held = std::move(result);
    return status == 0;
  } catch (...) {
    return false;
  }
}
