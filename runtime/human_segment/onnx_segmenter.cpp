// SPDX-License-Identifier: MIT
#include "human_segment/onnx_segmenter.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/imgproc.hpp>

#include "common/log.h"
#include "human_segment/status.h"

namespace quorin::hs {

namespace {

// OpenCV's importer prints its own error lines; the runtime stays silent unless QUORIN_LOG asks.
// OpenCV's level is process-wide, so nested or concurrent loads share one quiet spell.
class QuietOpenCv {
 public:
  QuietOpenCv() {
    if (LogWanted(kLogError)) return;
    active_ = true;
    std::lock_guard<std::mutex> hold(lock_);
    if (depth_++ == 0)
      saved_ = cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  }
  ~QuietOpenCv() {
    if (!active_) return;
    std::lock_guard<std::mutex> hold(lock_);
    if (--depth_ == 0) cv::utils::logging::setLogLevel(saved_);
  }
  QuietOpenCv(const QuietOpenCv&) = delete;
  QuietOpenCv& operator=(const QuietOpenCv&) = delete;

 private:
  bool active_ = false;
  static std::mutex lock_;
  static int depth_;
  static cv::utils::logging::LogLevel saved_;
};
std::mutex QuietOpenCv::lock_;
int QuietOpenCv::depth_ = 0;
cv::utils::logging::LogLevel QuietOpenCv::saved_ = cv::utils::logging::LOG_LEVEL_WARNING;

// Area averaging when shrinking both ways (no aliasing), bilinear otherwise.
int Interpolation(cv::Size from, cv::Size to) {
  return to.width < from.width && to.height < from.height ? cv::INTER_AREA : cv::INTER_LINEAR;
}

// OpenCV's messages come with line breaks and quote marks of their own around them.
std::string Tidy(const std::string& message) {
  const size_t first = message.find_first_not_of("> \n\r\t");
  const size_t last = message.find_last_not_of("> \n\r\t");
  return first == std::string::npos ? message : message.substr(first, last - first + 1);
}

std::string Describe(const cv::Mat& m) {
  std::string text;
  for (int i = 0; i < m.dims; ++i) text += (i ? "x" : "") + std::to_string(m.size[i]);
  return text;
}

}  // namespace

OnnxSegmenter::OnnxSegmenter(OnnxSettings settings) : settings_(std::move(settings)) {
  size_ = SizeFromSettings();
  LoadNetwork();
  ChooseOutput();
  const int channels = Probe();
  Log(kLogInfo, "human_segment: network '%s' loaded: input %dx%d, %d output channel(s)",
      settings_.networkPath.c_str(), size_.width, size_.height, channels);
}

cv::Size OnnxSegmenter::SizeFromSettings() const {
  const std::string& path = settings_.networkPath;
  const std::vector<int64_t>& dims = settings_.inputDims;
  cv::Size size(settings_.width, settings_.height);
  if (dims.size() == 4) {
    const bool nchw = settings_.inputLayout == Layout::kNchw;
    const int64_t channels = nchw ? dims[1] : dims[3];
    const int64_t height = nchw ? dims[2] : dims[1];
    const int64_t width = nchw ? dims[3] : dims[2];
    if (channels > 0 && channels != 3) {
      throw Failure(kNetworkFailed, "network '" + path + "' takes " + std::to_string(channels) +
                                        " channels in its " + (nchw ? "nchw" : "nhwc") +
                                        " input; a colour picture has 3 (check input.layout)");
    }
    const bool fixed = width > 0 && height > 0 && width <= 8192 && height <= 8192;
    if (size.width == 0 && fixed) size = cv::Size(int(width), int(height));
    if (fixed && size != cv::Size(int(width), int(height))) {
      throw Failure(kModelInvalid,
                    "network '" + path + "' has a fixed " + std::to_string(width) + "x" +
                        std::to_string(height) + " input, but the manifest asks for " +
                        std::to_string(size.width) + "x" + std::to_string(size.height));
    }
  } else if (!dims.empty()) {
    throw Failure(kNetworkFailed, "network '" + path + "' has a " + std::to_string(dims.size()) +
                                      "-dimensional input; a picture input has 4");
  }
  if (size.width == 0) {
    throw Failure(kModelInvalid, "network '" + path +
                                     "' has no fixed input size; give input.width and "
                                     "input.height in a manifest");
  }
  return size;
}

void OnnxSegmenter::LoadNetwork() {
  const std::string& path = settings_.networkPath;
  const QuietOpenCv quiet;
  try {
    net_ = cv::dnn::readNetFromONNX(reinterpret_cast<const char*>(settings_.network.data()),
                                    settings_.network.size());
  } catch (const cv::Exception& e) {
    throw Failure(kNetworkFailed, "network '" + path + "' failed to load: " + Tidy(e.err));
  }
  if (net_.empty()) throw Failure(kNetworkFailed, "network '" + path + "' has no layers");
  settings_.network.clear();
  settings_.network.shrink_to_fit();
  net_.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
  net_.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
}

void OnnxSegmenter::ChooseOutput() {
  const std::string& path = settings_.networkPath;
  if (settings_.outputName.empty()) {
    outputNames_ = net_.getUnconnectedOutLayersNames();
    if (outputNames_.empty()) throw Failure(kNetworkFailed, "network '" + path + "' has no output");
    outputNames_.resize(1);
    return;
  }
  if (net_.getLayerId(settings_.outputName) < 0) {
    std::string known;
    for (const std::string& name : net_.getUnconnectedOutLayersNames()) {
      known += (known.empty() ? "\"" : ", \"") + name + "\"";
    }
    throw Failure(kNetworkFailed, "network '" + path + "' has no output \"" + settings_.outputName +
                                      "\" (its outputs: " + known + ")");
  }
  outputNames_ = {settings_.outputName};
}

int OnnxSegmenter::Probe() {
  const std::string& path = settings_.networkPath;
  OutputShape shape;
  try {
    FillBlob(cv::Mat(size_, CV_8UC4, cv::Scalar(128, 128, 128, 255)));
    shape = Inspect(Forward());
  } catch (const cv::Exception& e) {
    throw Failure(kNetworkFailed, "network '" + path + "' failed to run on a " +
                                      std::to_string(size_.width) + "x" +
                                      std::to_string(size_.height) + " picture: " + Tidy(e.err));
  } catch (const Failure& e) {
    throw Failure(kNetworkFailed, "network '" + path + "': " + e.what());
  }
  if (settings_.personChannel < 0) settings_.personChannel = shape.channels == 1 ? 0 : 1;
  if (settings_.activation == Activation::kAuto) {
    settings_.activation = shape.channels == 1 ? Activation::kNone : Activation::kSoftmax;
  }
  if (settings_.personChannel >= shape.channels) {
    throw Failure(kModelInvalid, "output.personChannel is " +
                                     std::to_string(settings_.personChannel) + " but network '" +
                                     path + "' gives " + std::to_string(shape.channels) +
                                     " channel(s)");
  }
  return shape.channels;
}

const cv::Mat& OnnxSegmenter::Infer(const cv::Mat& bgra) {
  FillBlob(bgra);
  const cv::Mat out = Forward();
  Probability(out, Inspect(out));
  return probability_;
}

void OnnxSegmenter::Process(const cv::Mat& bgra, cv::Mat& mask) {
  Infer(bgra);
  if (probability_.size() == mask.size()) {
    probability_.convertTo(mask, CV_8U, 255.0);
  } else {
    cv::Mat scaled;
    cv::resize(probability_, scaled, mask.size(), 0, 0,
               Interpolation(probability_.size(), mask.size()));
    scaled.convertTo(mask, CV_8U, 255.0);
  }
}

void OnnxSegmenter::FillBlob(const cv::Mat& bgra) {
  cv::Mat source = bgra;
  if (bgra.size() != size_) {
    cv::resize(bgra, resized_, size_, 0, 0, Interpolation(bgra.size(), size_));
    source = resized_;
  }
  const int width = size_.width, height = size_.height;
  const bool nchw = settings_.inputLayout == Layout::kNchw;
  const int shape[] = {1, nchw ? 3 : height, nchw ? height : width, nchw ? width : 3};
  blob_.create(4, shape, CV_32F);
  // Byte offsets of the network's channels 0, 1, 2 within a B G R A pixel.
  const int order[3] = {settings_.rgb ? 2 : 0, 1, settings_.rgb ? 0 : 2};
  const float scale = settings_.scale;
  float* data = blob_.ptr<float>();
  const size_t plane = static_cast<size_t>(width) * height;
  for (int y = 0; y < height; ++y) {
    const uint8_t* row = source.ptr<uint8_t>(y);
    for (int x = 0; x < width; ++x) {
      const size_t pixel = static_cast<size_t>(y) * width + x;
      for (int c = 0; c < 3; ++c) {
        const float value =
            (static_cast<float>(row[4 * x + order[c]]) * scale - settings_.mean[c]) /
            settings_.std[c];
        data[nchw ? c * plane + pixel : pixel * 3 + c] = value;
      }
    }
  }
}

cv::Mat OnnxSegmenter::Forward() {
  net_.setInput(blob_);
  return net_.forward(outputNames_[0]);
}

OnnxSegmenter::OutputShape OnnxSegmenter::Inspect(const cv::Mat& out) const {
  if (out.depth() != CV_32F || !out.isContinuous()) {
    throw Failure(kProcessFailed, "the output is not a float tensor");
  }
  OutputShape shape;
  const bool nchw = settings_.outputLayout == Layout::kNchw;
  if (out.dims == 4 && out.size[0] == 1) {
    shape.channels = nchw ? out.size[1] : out.size[3];
    shape.height = nchw ? out.size[2] : out.size[1];
    shape.width = nchw ? out.size[3] : out.size[2];
  } else if (out.dims == 3 && out.size[0] == 1) {
    shape = {1, out.size[1], out.size[2]};
  } else if (out.dims == 2) {
    shape = {1, out.size[0], out.size[1]};
  } else {
    throw Failure(kProcessFailed,
                  "the output is " + Describe(out) + "; expected 1xCxHxW, 1xHxWxC, 1xHxW or HxW");
  }
  if (shape.channels < 1 || shape.height < 1 || shape.width < 1) {
    throw Failure(kProcessFailed, "the output is empty (" + Describe(out) + ")");
  }
  return shape;
}

void OnnxSegmenter::Probability(const cv::Mat& out, const OutputShape& shape) {
  probability_.create(shape.height, shape.width, CV_32F);
  const float* data = out.ptr<float>();
  const int channels = shape.channels;
  const size_t plane = static_cast<size_t>(shape.width) * shape.height;
  // Step between the channels of one pixel, and between neighbouring pixels.
  const bool nchw = settings_.outputLayout == Layout::kNchw;
  const size_t channelStep = nchw ? plane : 1;
  const size_t pixelStep = nchw ? 1 : channels;
  const int person = settings_.personChannel;
  const Activation activation = settings_.activation;
  float* result = probability_.ptr<float>();
  for (size_t i = 0; i < plane; ++i) {
    const float* values = data + i * pixelStep;
    const float x = values[person * channelStep];
    float p = x;
    if (activation == Activation::kSigmoid) {
      p = 1.0f / (1.0f + std::exp(-x));
    } else if (activation == Activation::kSoftmax) {
      float top = values[0];
      for (int c = 1; c < channels; ++c) top = std::max(top, values[c * channelStep]);
      float sum = 0.0f;
      for (int c = 0; c < channels; ++c) sum += std::exp(values[c * channelStep] - top);
      p = std::exp(x - top) / sum;
    }
    // NaN from a broken network counts as background.
    result[i] = p >= 0.0f ? std::min(p, 1.0f) : 0.0f;
  }
}

}  // namespace quorin::hs
