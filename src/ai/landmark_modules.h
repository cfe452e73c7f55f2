// SPDX-License-Identifier: MIT
// The face landmarks pipeline and the human (body) landmarks module. One instance of each serves
// the whole process (the effects share it), so every call into an instance is taken under the
// wrapper's lock. Creation happens once, in the constructor; a wrapper that failed to create
// answers every call with failure and is replaced by its owner. No exception leaves any member.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include <opencv2/core/mat.hpp>

#include "ai/module_symbols.h"
#include "kaz/ai_results.h"

// The four face models, relative to the model directory, in the order the create call takes them.
extern const char* const kFaceModelFiles[4];
// The body landmarks model, relative to the model directory.
extern const char kPoseModelFile[];

// What both wrappers hold first: whether creation worked, the runtime's instance and where its
// models came from. The first two strings are kept for the runtime's integration; the models are
// looked up under the model directory.
class QuorinLandmarkWrapper {
 public:
  bool Valid() const { return valid_; }

 protected:
  QuorinLandmarkWrapper(std::string resourceDir, std::string cloudResourceDir,
                        std::string modelDirectory)
      : resourceDir_(std::move(resourceDir)),
        cloudResourceDir_(std::move(cloudResourceDir)),
        modelDirectory_(std::move(modelDirectory)) {}
  ~QuorinLandmarkWrapper() = default;

  bool valid_ = false;
  void* instance_ = nullptr;
  std::string resourceDir_;
  std::string cloudResourceDir_;
  std::string modelDirectory_;
};

class QuorinHumanFaceInfo : public QuorinLandmarkWrapper {
 public:
  QuorinHumanFaceInfo(std::string resourceDir, std::string cloudResourceDir,
                      std::string modelDirectory);
  virtual ~QuorinHumanFaceInfo();
  QuorinHumanFaceInfo(const QuorinHumanFaceInfo&) = delete;
  QuorinHumanFaceInfo& operator=(const QuorinHumanFaceInfo&) = delete;

  // Finds the faces of `image` (8-bit BGRA). With at least one face a new
  // AIDATA::HumanFaceInfoMultiDatas, normalised by the image's size, is stored in `held`. True
  // when the module reported success and found a face. An output the module should never give
  // (a negative count, no records for a positive count, an absurd count) logs a level-4 line and
  // leaves `held` alone.
  bool Process(const cv::Mat& image, std::shared_ptr<AIDATA::BaseAIDATA>& held);

 private:
  std::mutex lock_;
  // Shared: the library must stay loaded until Destroy has run.
  std::shared_ptr<THIRD_LIBRARY_IMPORT::QuorinHumanFaceInfoSymbols> binding_;
};

class QuorinHumanPose : public QuorinLandmarkWrapper {
 public:
  QuorinHumanPose(std::string resourceDir, std::string cloudResourceDir,
                  std::string modelDirectory);
  virtual ~QuorinHumanPose();
  QuorinHumanPose(const QuorinHumanPose&) = delete;
  QuorinHumanPose& operator=(const QuorinHumanPose&) = delete;

  // Finds the people of `image` (8-bit BGRA) and stores a new AIDATA::HumanPoseDatas in `held`,
  // also when nobody was found. True when the module reported success. An output the module
  // should never give logs a level-4 line, leaves `held` alone and answers false.
  bool Process(const cv::Mat& image, std::shared_ptr<AIDATA::BaseAIDATA>& held);
  // Makes the module take the next frame as unrelated to the last.
  void StatusReset();

 private:
  // Passed to every process and reset call; the module's own meaning, never changed.
  uint8_t mode_ = 1;
  std::mutex lock_;
  std::shared_ptr<THIRD_LIBRARY_IMPORT::QuorinHumanPoseSymbols> binding_;
};
