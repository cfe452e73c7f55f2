// SPDX-License-Identifier: MIT
#include "landmarks_common/landmarks.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <opencv2/imgproc.hpp>

namespace quorin::lm {

namespace {

// Larger than any video frame; keeps every size product far from overflow.
constexpr int kMaxSide = 1 << 15;

// Manifests are a few hundred bytes.
constexpr std::streamoff kMaxManifestBytes = 1 << 20;

// B G R A pixels of `square` into a 1x3xSxS RGB float blob: value * scale + offset.
void FillRgbBlob(const cv::Mat& square, float scale, float offset, cv::Mat& blob) {
  const int size = square.rows;
  const int shape[] = {1, 3, size, size};
  blob.create(4, shape, CV_32F);
  float* planes[3] = {blob.ptr<float>(0, 0), blob.ptr<float>(0, 1), blob.ptr<float>(0, 2)};
  for (int y = 0; y < size; ++y) {
    const uint8_t* row = square.ptr<uint8_t>(y);
    const int base = y * size;
    for (int x = 0; x < size; ++x) {
      planes[0][base + x] = row[4 * x + 2] * scale + offset;
      planes[1][base + x] = row[4 * x + 1] * scale + offset;
      planes[2][base + x] = row[4 * x + 0] * scale + offset;
    }
  }
}

}  // namespace

cv::Mat ViewBgra(const QuorinFrame* frame) {
  if (frame == nullptr) throw Failure(kInvalidArgument, "the frame is null");
  if (frame->format != QUORIN_FORMAT_BGRA8) {
    throw Failure(kInvalidArgument, "the frame has format " + std::to_string(frame->format) +
                                        ", expected 4 (B G R A)");
  }
  if (frame->width < 1 || frame->height < 1 || frame->width > kMaxSide ||
      frame->height > kMaxSide) {
    throw Failure(kInvalidArgument, "the frame is " + std::to_string(frame->width) + "x" +
                                        std::to_string(frame->height));
  }
  if (frame->planes[0] == nullptr) throw Failure(kInvalidArgument, "the frame has no pixels");
  const long long row = static_cast<long long>(frame->width) * 4;
  const long long step = frame->strides[0] == 0 ? row : frame->strides[0];
  if (step < row || step * frame->height > INT_MAX) {
    throw Failure(kInvalidArgument, "the frame has a row step of " +
                                        std::to_string(frame->strides[0]) + " bytes for " +
                                        std::to_string(frame->width) + " pixels");
  }
  return cv::Mat(frame->height, frame->width, CV_8UC4, frame->planes[0], static_cast<size_t>(step));
}

Manifest::Manifest(const char* path, const char* backend) : backend_(backend) {
  if (path == nullptr || *path == '\0') throw Failure(kModelUnreadable, "no model path");
  path_ = path;
  std::error_code error;
  if (std::filesystem::is_directory(path_, error)) Fail(kModelUnreadable, "is a directory");
  std::ifstream file(path_, std::ios::binary | std::ios::ate);
  if (!file) Fail(kModelUnreadable, "cannot be opened");
  if (file.tellg() > kMaxManifestBytes) Fail(kModelInvalid, "is larger than 1 MiB");
  file.seekg(0);
  nlohmann::json document;
  try {
    document = nlohmann::json::parse(file);
  } catch (const nlohmann::json::exception& e) {
    Fail(kModelInvalid, std::string("is not a JSON manifest: ") + e.what());
  }
  if (!document.is_object() || !document.contains("backend") || document["backend"] != backend_) {
    Fail(kModelInvalid, "needs \"backend\": \"" + backend_ + "\"");
  }
  for (auto it = document.begin(); it != document.end(); ++it) {
    if (it.key() != "backend" && it.key() != "comment" && it.key() != backend_) {
      Fail(kModelInvalid, "unknown key \"" + it.key() + "\"");
    }
  }
  section_ = document.contains(backend_) ? document[backend_] : nlohmann::json::object();
  if (!section_.is_object()) Fail(kModelInvalid, "\"" + backend_ + "\" must be an object");
}

void Manifest::Fail(Status status, const std::string& what) const {
  throw Failure(status, "manifest '" + path_ + "' " + what);
}

std::string Manifest::Network(const char* key) const {
  if (!section_.contains(key) || !section_[key].is_string() ||
      section_[key].get<std::string>().empty()) {
    Fail(kModelInvalid, "needs " + backend_ + "." + key + " (an ONNX file)");
  }
  const std::string file =
      (std::filesystem::path(path_).parent_path() / section_[key].get<std::string>()).string();
  std::error_code error;
  if (!std::filesystem::is_regular_file(file, error)) {
    Fail(kModelUnreadable,
         "names network '" + file + "', which is not installed (scripts/models.sh installs it)");
  }
  return file;
}

double Manifest::Number(const char* key, double lowest, double highest, double fallback) const {
  if (!section_.contains(key)) return fallback;
  const nlohmann::json& value = section_[key];
  if (!value.is_number() || !(value.get<double>() >= lowest && value.get<double>() <= highest)) {
    Fail(kModelInvalid, backend_ + "." + key + " must be a number from " + std::to_string(lowest) +
                            " to " + std::to_string(highest));
  }
  return value.get<double>();
}

Network::Network(const std::string& path, int inputSize, const std::vector<size_t>& outputSizes) {
  try {
    net_ = cv::dnn::readNetFromONNX(path);
  } catch (const cv::Exception& e) {
    throw Failure(kNetworkFailed, "network '" + path + "' failed to load: " + e.err);
  }
  if (net_.empty()) throw Failure(kNetworkFailed, "network '" + path + "' has no layers");
  net_.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
  net_.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
  // A probe run tells the output sizes, and makes a network that loads but cannot run fail at
  // create rather than on the first frame.
  const std::vector<std::string> all = net_.getUnconnectedOutLayersNames();
  std::vector<cv::Mat> outs;
  try {
    const int shape[] = {1, 3, inputSize, inputSize};
    net_.setInput(cv::Mat(4, shape, CV_32F, cv::Scalar(0)));
    net_.forward(outs, all);
  } catch (const cv::Exception& e) {
    throw Failure(kNetworkFailed, "network '" + path + "' failed to run on a " +
                                      std::to_string(inputSize) + "x" + std::to_string(inputSize) +
                                      " input: " + e.err);
  }
  for (size_t wanted : outputSizes) {
    size_t i = 0;
    while (i < all.size() && (outs[i].total() != wanted ||
                              std::find(names_.begin(), names_.end(), all[i]) != names_.end())) {
      ++i;
    }
    if (i == all.size()) {
      throw Failure(kNetworkFailed, "network '" + path + "' has no output of " +
                                        std::to_string(wanted) + " values");
    }
    names_.push_back(all[i]);
  }
}

const std::vector<cv::Mat>& Network::Run(const cv::Mat& blob) {
  net_.setInput(blob);
  net_.forward(outputs_, names_);
  return outputs_;
}

std::vector<cv::Point2f> SsdAnchors(int inputSize, const std::vector<int>& strides, int perLayer) {
  std::vector<cv::Point2f> anchors;
  for (size_t layer = 0; layer < strides.size();) {
    size_t last = layer;
    while (last < strides.size() && strides[last] == strides[layer]) ++last;
    const int stride = strides[layer];
    const int cells = (inputSize + stride - 1) / stride;
    const int repeat = perLayer * static_cast<int>(last - layer);
    for (int y = 0; y < cells; ++y) {
      for (int x = 0; x < cells; ++x) {
        for (int k = 0; k < repeat; ++k) {
          anchors.emplace_back((x + 0.5f) / cells, (y + 0.5f) / cells);
        }
      }
    }
    layer = last;
  }
  return anchors;
}

float Sigmoid(float x) {
  // Clipped like the detectors' training, so an extreme logit cannot give inf or NaN.
  x = std::max(-100.0f, std::min(100.0f, x));
  return 1.0f / (1.0f + std::exp(-x));
}

Letterbox LetterboxBlob(const cv::Mat& bgra, int size, float lo, float hi, cv::Mat& blob) {
  const float scale = std::max(bgra.cols, bgra.rows) / static_cast<float>(size);
  const int w = std::max(1, std::min(size, static_cast<int>(std::lround(bgra.cols / scale))));
  const int h = std::max(1, std::min(size, static_cast<int>(std::lround(bgra.rows / scale))));
  cv::Mat square(size, size, CV_8UC4, cv::Scalar::all(0));
  const int x0 = (size - w) / 2, y0 = (size - h) / 2;
  cv::resize(bgra, square(cv::Rect(x0, y0, w, h)), cv::Size(w, h), 0, 0, cv::INTER_AREA);
  // Padding is black in 0..255, which is `lo` after the mapping, as in training.
  FillRgbBlob(square, (hi - lo) / 255.0f, lo, blob);
  Letterbox map;
  map.scale = std::max(bgra.cols / static_cast<float>(w), bgra.rows / static_cast<float>(h));
  map.offset = cv::Point2f(-x0 * map.scale, -y0 * map.scale);
  return map;
}

std::vector<Detection> DecodeSsd(const cv::Mat& regressors, const cv::Mat& logits,
                                 const std::vector<cv::Point2f>& anchors, int inputSize,
                                 int keyCount, float minScore, const Letterbox& map) {
  const size_t n = anchors.size();
  const size_t width = 4 + 2 * static_cast<size_t>(keyCount);
  if (regressors.total() != n * width || logits.total() != n) {
    throw Failure(kProcessFailed, "detector outputs do not match its anchors");
  }
  const float* reg = regressors.ptr<float>();
  const float* cls = logits.ptr<float>();
  const float logit = std::log(minScore / (1.0f - minScore));
  std::vector<Detection> found;
  const float s = static_cast<float>(inputSize);
  auto toFrame = [&](float x, float y) {
    return cv::Point2f(x * s * map.scale + map.offset.x, y * s * map.scale + map.offset.y);
  };
  for (size_t i = 0; i < n; ++i) {
    if (!(cls[i] >= logit)) continue;
    const float* r = reg + i * width;
    const float cx = anchors[i].x + r[0] / s, cy = anchors[i].y + r[1] / s;
    const float w = r[2] / s, h = r[3] / s;
    if (!(w > 0 && h > 0) || !std::isfinite(cx) || !std::isfinite(cy)) continue;
    Detection d;
    d.score = Sigmoid(cls[i]);
    const cv::Point2f a = toFrame(cx - w / 2, cy - h / 2), b = toFrame(cx + w / 2, cy + h / 2);
    d.box = cv::Rect2f(a, b);
    for (int k = 0; k < keyCount; ++k) {
      d.keys.push_back(toFrame(anchors[i].x + r[4 + 2 * k] / s, anchors[i].y + r[5 + 2 * k] / s));
    }
    found.push_back(std::move(d));
  }
  return found;
}

float Iou(const cv::Rect2f& a, const cv::Rect2f& b) {
  const float inter = (a & b).area();
  const float uni = a.area() + b.area() - inter;
  return uni > 0 ? inter / uni : 0.0f;
}

std::vector<Detection> WeightedNms(std::vector<Detection> detections, float iou, int maxCount) {
  std::sort(detections.begin(), detections.end(),
            [](const Detection& a, const Detection& b) { return a.score > b.score; });
  std::vector<Detection> kept;
  std::vector<bool> used(detections.size(), false);
  for (size_t i = 0; i < detections.size() && static_cast<int>(kept.size()) < maxCount; ++i) {
    if (used[i]) continue;
    Detection sum = detections[i];
    float weight = sum.score;
    cv::Point2f tl = sum.box.tl() * weight, br = sum.box.br() * weight;
    for (cv::Point2f& k : sum.keys) k *= weight;
    for (size_t j = i + 1; j < detections.size(); ++j) {
      if (used[j] || Iou(detections[i].box, detections[j].box) < iou) continue;
      used[j] = true;
      const Detection& d = detections[j];
      tl += d.box.tl() * d.score;
      br += d.box.br() * d.score;
      for (size_t k = 0; k < sum.keys.size(); ++k) sum.keys[k] += d.keys[k] * d.score;
      weight += d.score;
    }
    sum.box = cv::Rect2f(tl / weight, br / weight);
    for (cv::Point2f& k : sum.keys) k /= weight;
    kept.push_back(std::move(sum));
  }
  return kept;
}

cv::Point2f Crop::ToFrame(float u, float v, int size) const {
  const float k = side / size, c = std::cos(angle), s = std::sin(angle);
  const float du = u - size * 0.5f, dv = v - size * 0.5f;
  return cv::Point2f(centre.x + k * (du * c - dv * s), centre.y + k * (du * s + dv * c));
}

void CropBlob(const cv::Mat& bgra, const Crop& crop, int size, cv::Mat& blob) {
  const float k = crop.side / size, c = std::cos(crop.angle), s = std::sin(crop.angle);
  const cv::Point2f origin = crop.ToFrame(0, 0, size);
  const cv::Matx23f toFrame(k * c, -k * s, origin.x, k * s, k * c, origin.y);
  cv::Mat square;
  cv::warpAffine(bgra, square, toFrame, cv::Size(size, size),
                 cv::INTER_LINEAR | cv::WARP_INVERSE_MAP, cv::BORDER_CONSTANT, cv::Scalar::all(0));
  FillRgbBlob(square, 1.0f / 255.0f, 0.0f, blob);
}

}  // namespace quorin::lm
