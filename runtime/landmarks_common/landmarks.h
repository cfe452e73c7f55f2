// SPDX-License-Identifier: MIT
// What the face and body landmark modules share: status codes, the C-boundary guard, frame
// checks, manifest reading, SSD anchors with weighted non-maximum suppression and rotated crops.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/log.h"
#include "common/status.h"
#include "quorin/quorin_kernel.h"

namespace quorin::lm {

using quorin::Failure;
using quorin::kInvalidArgument, quorin::kModelInvalid, quorin::kModelUnreadable,
    quorin::kNetworkFailed, quorin::kOk, quorin::kOutOfMemory, quorin::kProcessFailed;
using quorin::Status;

// Runs an entry point's body; nothing thrown inside crosses the C boundary.
template <typename Body>
int32_t Guard(const char* module, const char* entry, Body body) {
  try {
    body();
    return kOk;
  } catch (const Failure& e) {
    Log(kLogError, "%s: %s: %s", module, entry, e.what());
    return e.status();
  } catch (const cv::Exception& e) {
    Log(kLogError, "%s: %s: OpenCV: %s", module, entry, e.err.c_str());
    return kProcessFailed;
  } catch (const std::bad_alloc&) {
    Log(kLogError, "%s: %s: out of memory", module, entry);
    return kOutOfMemory;
  } catch (const std::exception& e) {
    Log(kLogError, "%s: %s: %s", module, entry, e.what());
    return kProcessFailed;
  } catch (...) {
    Log(kLogError, "%s: %s: unknown failure", module, entry);
    return kProcessFailed;
  }
}

// The frame's B G R A pixels, not copied, after checking all a caller can get wrong.
cv::Mat ViewBgra(const QuorinFrame* frame);

// One backend's section of a JSON manifest, with the file named in every complaint.
class Manifest {
 public:
  Manifest(const char* path, const char* backend);
  // A network file named by `key`, relative to the manifest; it must exist.
  std::string Network(const char* key) const;
  double Number(const char* key, double lowest, double highest, double fallback) const;
  const std::string& path() const { return path_; }

 private:
  [[noreturn]] void Fail(Status status, const std::string& what) const;
  std::string path_;
  std::string backend_;
  nlohmann::json section_;
};

// An ONNX network run on the CPU; outputs are picked by their element count, so converted
// networks keep working whatever their tensor names.
class Network {
 public:
  Network(const std::string& path, int inputSize, const std::vector<size_t>& outputSizes);
  // Runs on an NCHW float blob; outputs in the order of `outputSizes`, valid until the next run.
  const std::vector<cv::Mat>& Run(const cv::Mat& blob);

 private:
  cv::dnn::Net net_;
  std::vector<std::string> names_;
  std::vector<cv::Mat> outputs_;
};

// Anchor centres in 0..1 of an SSD head: layers of equal stride share one grid and each layer
// adds `perLayer` anchors per cell (fixed-size anchors: only the centres matter).
std::vector<cv::Point2f> SsdAnchors(int inputSize, const std::vector<int>& strides, int perLayer);

struct Detection {
  cv::Rect2f box;                 // in pixels of the frame
  std::vector<cv::Point2f> keys;  // key points, in pixels of the frame
  float score = 0;
};

// The square letterboxed network input: pixel = scale * input + offset.
struct Letterbox {
  float scale = 1;
  cv::Point2f offset;
};

// Fills a 1x3xSxS RGB blob mapped to lo..hi from the frame, letterboxed (keeps the aspect).
Letterbox LetterboxBlob(const cv::Mat& bgra, int size, float lo, float hi, cv::Mat& blob);

// Decodes SSD regressors (cx, cy, w, h, then key point x, y pairs, in input pixels relative to
// the anchor) and logits above minScore into frame pixels.
std::vector<Detection> DecodeSsd(const cv::Mat& regressors, const cv::Mat& logits,
                                 const std::vector<cv::Point2f>& anchors, int inputSize,
                                 int keyCount, float minScore, const Letterbox& map);

float Iou(const cv::Rect2f& a, const cv::Rect2f& b);

// Weighted non-maximum suppression: overlapping detections are averaged by score instead of
// dropped, which steadies boxes between frames.
std::vector<Detection> WeightedNms(std::vector<Detection> detections, float iou, int maxCount);

// A square crop of side `side` pixels around `centre`, its x axis at `angle` radians from the
// frame's (y down), so a tilted face or body stands upright in the network's input.
struct Crop {
  cv::Point2f centre;
  float side = 0;
  float angle = 0;
  cv::Point2f ToFrame(float u, float v, int size) const;  // crop pixel -> frame pixel
};

// Fills a 1x3xSxS RGB blob in 0..1 from the crop; outside the frame is black.
void CropBlob(const cv::Mat& bgra, const Crop& crop, int size, cv::Mat& blob);

float Sigmoid(float x);

}  // namespace quorin::lm
