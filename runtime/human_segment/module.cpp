// SPDX-License-Identifier: MIT
#include <climits>
#include <memory>
#include <new>
#include <opencv2/core.hpp>
#include <string>

#include <mutex>
#include "common/log.h"

#include "human_segment/classical_segmenter.h"
#include "human_segment/matte_segmenter.h"
#include "human_segment/model_file.h"
#include "human_segment/onnx_segmenter.h"
#include "human_segment/status.h"
#include "quorin/quorin_human_segment.h"

namespace quorin::hs {

namespace {

// Larger than any video frame; keeps every size product far from overflow.
constexpr int kMaxSide = 1 << 15;

struct Instance {
  std::unique_ptr<Segmenter> segmenter;
  cv::Size outputSize;
};

// Wraps a frame's first plane without copying, after checking everything the layout lets a
// caller get wrong.
cv::Mat View(const QuorinFrame* frame, int32_t format, const char* role) {
  const std::string what = std::string("the ") + role + " frame";
  if (frame == nullptr) throw Failure(kInvalidArgument, what + " is null");
  if (frame->format != format) {
    throw Failure(kInvalidArgument, what + " has format " + std::to_string(frame->format) +
                                        ", expected " + std::to_string(format));
  }
  const int bpp = format == QUORIN_FORMAT_BGRA8 ? 4 : 1;
  if (frame->width < 1 || frame->height < 1 || frame->width > kMaxSide ||
      frame->height > kMaxSide) {
    throw Failure(kInvalidArgument, what + " is " + std::to_string(frame->width) + "x" +
                                        std::to_string(frame->height));
  }
  if (frame->planes[0] == nullptr) throw Failure(kInvalidArgument, what + " has no pixels");
  const long long row = static_cast<long long>(frame->width) * bpp;
  const long long step = frame->strides[0] == 0 ? row : frame->strides[0];
  if (step < row || step * frame->height > INT_MAX) {
    throw Failure(kInvalidArgument, what + " has a row step of " +
                                        std::to_string(frame->strides[0]) + " bytes for " +
                                        std::to_string(frame->width) + " pixels");
  }
  return cv::Mat(frame->height, frame->width, bpp == 4 ? CV_8UC4 : CV_8UC1, frame->planes[0],
                 static_cast<size_t>(step));
}

std::unique_ptr<Segmenter> Load(const std::string& path) {
  ModelFile model = LoadModelFile(path);
  if (model.backend == Backend::kOnnx) {
    return std::make_unique<OnnxSegmenter>(std::move(model.onnx));
  }
  if (model.backend == Backend::kMatte) {
    if (model.matte.installed) {
      Log(kLogInfo, "human_segment: '%s' selects the matte networks", path.c_str());
      return std::make_unique<MatteSegmenter>(std::move(model.matte));
    }
    static std::once_flag told;
    std::call_once(told, [&] {
      Log(kLogInfo,
          "human_segment: the matte networks of '%s' are not installed (scripts/models.sh); "
          "using the classical backend",
          path.c_str());
    });
  }
  Log(kLogInfo, "human_segment: '%s' selects the classical backend (working size %d)", path.c_str(),
      model.classical.workingSize);
  return std::make_unique<ClassicalSegmenter>(model.classical);
}

// Every entry point runs its body here: nothing thrown inside may cross the C boundary.
template <typename Body>
int32_t Guard(const char* entry, Body body) {
  try {
    body();
    return kOk;
  } catch (const Failure& e) {
    Log(kLogError, "human_segment: %s: %s", entry, e.what());
    return e.status();
  } catch (const cv::Exception& e) {
    Log(kLogError, "human_segment: %s: OpenCV: %s", entry, e.err.c_str());
    return kProcessFailed;
  } catch (const std::bad_alloc&) {
    Log(kLogError, "human_segment: %s: out of memory", entry);
    return kOutOfMemory;
  } catch (const std::exception& e) {
    Log(kLogError, "human_segment: %s: %s", entry, e.what());
    return kProcessFailed;
  } catch (...) {
    Log(kLogError, "human_segment: %s: unknown failure", entry);
    return kProcessFailed;
  }
}

}  // namespace

}  // namespace quorin::hs

using quorin::hs::Failure;
using quorin::hs::Guard;
using quorin::hs::Instance;

extern "C" {

int32_t QuorinHumanSegmentCreate(const char* modelPath, const QuorinModuleConfig* /*config*/,
                                 void** instance) {
  if (instance != nullptr) *instance = nullptr;
  return Guard("create", [&] {
    if (instance == nullptr) throw Failure(quorin::hs::kInvalidArgument, "no instance slot");
    if (modelPath == nullptr || *modelPath == '\0') {
      throw Failure(quorin::hs::kModelUnreadable, "no model path");
    }
    // Every failure message of the loaders names the file it is about.
    auto created = std::make_unique<Instance>();
    created->segmenter = quorin::hs::Load(modelPath);
    *instance = created.release();
  });
}

int32_t QuorinHumanSegmentInputSizeGet(void* instance, int32_t* width, int32_t* height) {
  return Guard("input size", [&] {
    if (instance == nullptr || width == nullptr || height == nullptr) {
      throw Failure(quorin::hs::kInvalidArgument, "null argument");
    }
    const cv::Size size = static_cast<Instance*>(instance)->segmenter->InputSize();
    *width = size.width;
    *height = size.height;
  });
}

int32_t QuorinHumanSegmentOutputSizeSet(void* instance, int32_t width, int32_t height) {
  return Guard("output size", [&] {
    if (instance == nullptr || width < 1 || height < 1) {
      throw Failure(quorin::hs::kInvalidArgument, "null instance or empty size");
    }
    static_cast<Instance*>(instance)->outputSize = cv::Size(width, height);
  });
}

int32_t QuorinHumanSegmentProcess(void* instance, const QuorinFrame* input, QuorinFrame* output) {
  return Guard("process", [&] {
    if (instance == nullptr) throw Failure(quorin::hs::kInvalidArgument, "null instance");
    const cv::Mat picture = quorin::hs::View(input, QUORIN_FORMAT_BGRA8, "input");
    cv::Mat mask = quorin::hs::View(output, QUORIN_FORMAT_GRAY8, "output");
    const uint8_t* pixels = mask.data;
    static_cast<Instance*>(instance)->segmenter->Process(picture, mask);
    // A backend that reallocated the header would have written somewhere else.
    if (mask.data != pixels) throw Failure(quorin::hs::kProcessFailed, "mask was reallocated");
  });
}

int32_t QuorinHumanSegmentDestroy(void* instance) {
  return Guard("destroy", [&] { delete static_cast<Instance*>(instance); });
}

}  // extern "C"
