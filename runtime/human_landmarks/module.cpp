// SPDX-License-Identifier: MIT
#include <map>
#include <memory>
#include <mutex>

#include "human_landmarks/body_pipeline.h"
#include "landmarks_common/landmarks.h"
#include "quorin/quorin_human_landmarks.h"

namespace {

using quorin::lm::Failure;
constexpr const char* kModule = "human_landmarks";

// One process call's answer: the entries and the arrays they point into.
struct Output {
  std::vector<QuorinPersonLandmarks> entries;
  std::vector<quorin::body::Person> people;
};

// Outputs handed out and not yet released. Release takes no instance, so the table is shared;
// it turns a double or foreign release into a status instead of a crash.
std::mutex outputsLock;
std::map<const QuorinPersonLandmarks*, std::unique_ptr<Output>> outputs;

}  // namespace

extern "C" {

int32_t QuorinHumanLandmarksCreate(const char* modelPath, void* /*integration*/,
                                   const QuorinDeviceEntry* /*device*/, void** instance) {
  if (instance != nullptr) *instance = nullptr;
  return quorin::lm::Guard(kModule, "create", [&] {
    if (instance == nullptr) throw Failure(quorin::lm::kInvalidArgument, "no instance slot");
    const quorin::body::BodySettings settings = quorin::body::ReadBodySettings(modelPath);
    auto created = std::make_unique<quorin::body::BodyPipeline>(settings);
    quorin::Log(quorin::kLogInfo, "%s: networks '%s' and '%s' loaded", kModule,
                settings.detector.c_str(), settings.landmarks.c_str());
    *instance = created.release();
  });
}

int32_t QuorinHumanLandmarksProcess(void* instance, const QuorinFrame* frame, int32_t /*reserved*/,
                                    const QuorinPersonLandmarks** people, int32_t* count,
                                    uint8_t mode) {
  if (people != nullptr) *people = nullptr;
  if (count != nullptr) *count = 0;
  return quorin::lm::Guard(kModule, "process", [&] {
    if (instance == nullptr || people == nullptr || count == nullptr) {
      throw Failure(quorin::lm::kInvalidArgument, "null instance or output slot");
    }
    const cv::Mat bgra = quorin::lm::ViewBgra(frame);
    auto output = std::make_unique<Output>();
    output->people = static_cast<quorin::body::BodyPipeline*>(instance)->Process(bgra, mode != 0);
    for (const quorin::body::Person& p : output->people) {
      QuorinPersonLandmarks entry{};
      entry.points = &p.points[0].x;
      entry.pointCount = static_cast<int32_t>(p.points.size());
      entry.scores = p.scores.data();
      output->entries.push_back(entry);
    }
    // Even with nobody found the caller releases what it got: hand out a one-entry block.
    output->entries.reserve(1);
    const QuorinPersonLandmarks* handle = output->entries.data();
    const int32_t found = static_cast<int32_t>(output->people.size());
    std::lock_guard<std::mutex> hold(outputsLock);
    outputs.emplace(handle, std::move(output));
    *people = handle;
    *count = found;
  });
}

int32_t QuorinHumanLandmarksOutputRelease(const QuorinPersonLandmarks* people) {
  return quorin::lm::Guard(kModule, "output release", [&] {
    std::lock_guard<std::mutex> hold(outputsLock);
    if (outputs.erase(people) == 0) {
      throw Failure(quorin::lm::kInvalidArgument, "not an output of this module, or released");
    }
  });
}

int32_t QuorinHumanLandmarksDestroy(void* instance) {
  return quorin::lm::Guard(kModule, "destroy",
                           [&] { delete static_cast<quorin::body::BodyPipeline*>(instance); });
}

int32_t QuorinHumanLandmarksStatusReset(void* instance, uint8_t /*mode*/) {
  return quorin::lm::Guard(kModule, "status reset", [&] {
    if (instance == nullptr) throw Failure(quorin::lm::kInvalidArgument, "null instance");
    static_cast<quorin::body::BodyPipeline*>(instance)->Reset();
  });
}

}  // extern "C"
