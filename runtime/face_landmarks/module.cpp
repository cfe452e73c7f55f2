// SPDX-License-Identifier: MIT
#include <memory>
#include <mutex>
#include <set>

#include "face_landmarks/face_pipeline.h"
#include "landmarks_common/landmarks.h"
#include "quorin/quorin_pipeline_face_landmarks_v2.h"

namespace {

using quorin::lm::Failure;
constexpr const char* kModule = "face_landmarks";

// Outputs handed out and not yet released. Release takes no instance, so the set is shared;
// it turns a double or foreign release into a status instead of a crash.
std::mutex outputsLock;
std::set<const QuorinFaceRecord*> outputs;

}  // namespace

extern "C" {

int32_t QuorinPipelineFaceLandmarksV2Create(
    const char* detectorModelPath, const char* landmarksModelPath, const char* visibilityModelPath,
    const char* poseModelPath, void* /*integration*/, const QuorinDeviceEntry* /*devices*/,
    void** runtimeSlot0, void** runtimeSlot1, void** instance) {
  if (instance != nullptr) *instance = nullptr;
  if (runtimeSlot0 != nullptr) *runtimeSlot0 = nullptr;
  if (runtimeSlot1 != nullptr) *runtimeSlot1 = nullptr;
  return quorin::lm::Guard(kModule, "create", [&] {
    if (instance == nullptr) throw Failure(quorin::lm::kInvalidArgument, "no instance slot");
    const quorin::face::FaceSettings settings = quorin::face::ReadFaceSettings(
        detectorModelPath, landmarksModelPath, visibilityModelPath, poseModelPath);
    auto created = std::make_unique<quorin::face::FacePipeline>(settings);
    quorin::Log(quorin::kLogInfo, "%s: networks '%s' and '%s' loaded", kModule,
                settings.shortRange.c_str(), settings.mesh.c_str());
    *instance = created.release();
  });
}

int32_t QuorinPipelineFaceLandmarksV2Process(void* instance, const QuorinFrame* frame,
                                             const QuorinFaceRecord** faces, int32_t* count) {
  if (faces != nullptr) *faces = nullptr;
  if (count != nullptr) *count = 0;
  return quorin::lm::Guard(kModule, "process", [&] {
    if (instance == nullptr || faces == nullptr || count == nullptr) {
      throw Failure(quorin::lm::kInvalidArgument, "null instance or output slot");
    }
    const cv::Mat bgra = quorin::lm::ViewBgra(frame);
    std::vector<QuorinFaceRecord> found =
        static_cast<quorin::face::FacePipeline*>(instance)->Process(bgra);
    if (found.empty()) return;
    std::unique_ptr<QuorinFaceRecord[]> block(new QuorinFaceRecord[found.size()]);
    std::copy(found.begin(), found.end(), block.get());
    std::lock_guard<std::mutex> hold(outputsLock);
    outputs.insert(block.get());
    *count = static_cast<int32_t>(found.size());
    *faces = block.release();
  });
}

int32_t QuorinPipelineFaceLandmarksV2OutputRelease(const QuorinFaceRecord* faces) {
  return quorin::lm::Guard(kModule, "output release", [&] {
    std::lock_guard<std::mutex> hold(outputsLock);
    if (outputs.erase(faces) == 0) {
      throw Failure(quorin::lm::kInvalidArgument, "not an output of this module, or released");
    }
    delete[] faces;
  });
}

int32_t QuorinPipelineFaceLandmarksV2Destroy(void* instance) {
  return quorin::lm::Guard(kModule, "destroy",
                           [&] { delete static_cast<quorin::face::FacePipeline*>(instance); });
}

int32_t QuorinPipelineFaceLandmarksV2StatusReset(void* instance) {
  return quorin::lm::Guard(kModule, "status reset", [&] {
    if (instance == nullptr) throw Failure(quorin::lm::kInvalidArgument, "null instance");
    static_cast<quorin::face::FacePipeline*>(instance)->Reset();
  });
}

}  // extern "C"
