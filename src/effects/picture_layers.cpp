// SPDX-License-Identifier: MIT
#include "effects/picture_layers.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <list>
#include <map>
#include <mutex>
#include <tuple>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "api/log.h"

namespace fs = std::filesystem;

namespace vorta {

namespace {

// Rounds half up as "add 0.5 and truncate", kept far inside int range.
int RoundEdge(double v) { return static_cast<int>(std::clamp(v + 0.5, -1e9, 1e9)); }

bool Finite(const LayerTransform& t) {
  return std::isfinite(t.x) && std::isfinite(t.y) && std::isfinite(t.scaleX) &&
         std::isfinite(t.scaleY) && std::isfinite(t.rotation);
}

}  // namespace

void DrawLayer(const cv::Mat& layer, const LayerTransform& t, cv::Mat& canvas) {
  if (layer.empty() || canvas.empty() || !Finite(t)) return;
  const double w = layer.cols, h = layer.rows, W = canvas.cols, H = canvas.rows;
  const double angle = t.rotation * CV_PI / 180.0;
  const double c = std::cos(angle), s = std::sin(angle);
  // Layer point p goes to A (p - layer centre) + canvas centre + offset; on screen (y down) a
  // positive angle turns counter-clockwise.
  const double a00 = c * t.scaleX, a01 = s * t.scaleY, a10 = -s * t.scaleX, a11 = c * t.scaleY;
  const double tx = W / 2 + t.x * W - (a00 * w / 2 + a01 * h / 2);
  const double ty = H / 2 + t.y * H - (a10 * w / 2 + a11 * h / 2);
  double minX = 1e300, maxX = -1e300, minY = 1e300, maxY = -1e300;
  for (const auto& [px, py] : {std::pair{0.0, 0.0}, {w, 0.0}, {0.0, h}, {w, h}}) {
    const double X = a00 * px + a01 * py + tx, Y = a10 * px + a11 * py + ty;
    minX = std::min(minX, X), maxX = std::max(maxX, X);
    minY = std::min(minY, Y), maxY = std::max(maxY, Y);
  }
  const cv::Rect unclipped(cv::Point(RoundEdge(minX), RoundEdge(minY)),
                           cv::Point(RoundEdge(maxX), RoundEdge(maxY)));
  const cv::Rect box = unclipped & cv::Rect(0, 0, canvas.cols, canvas.rows);
  if (box.empty()) return;
  cv::Mat target = canvas(box);

  if (std::fabs(t.rotation) < 1e-6 && t.scaleX >= 0 && t.scaleY >= 0) {
    // The part of the layer that lands in the box, widened to whole pixels.
    const double fx = w / unclipped.width, fy = h / unclipped.height;
    const int x0 = std::max(0, static_cast<int>(std::floor((box.x - unclipped.x) * fx)));
    const int y0 = std::max(0, static_cast<int>(std::floor((box.y - unclipped.y) * fy)));
    const int x1 =
        std::min(layer.cols, static_cast<int>(std::ceil((box.br().x - unclipped.x) * fx)));
    const int y1 =
        std::min(layer.rows, static_cast<int>(std::ceil((box.br().y - unclipped.y) * fy)));
    if (x1 <= x0 || y1 <= y0) return;
    cv::resize(layer(cv::Rect(x0, y0, x1 - x0, y1 - y0)), target, box.size(), 0, 0,
               cv::INTER_LINEAR);
    return;
  }
  const double det = a00 * a11 - a01 * a10;
  if (!(std::fabs(det) > 1e-12)) return;  // a layer scaled to a line covers nothing
  const cv::Matx23d forward(a00, a01, tx - box.x, a10, a11, ty - box.y);
  cv::Matx23d inverse;
  cv::invertAffineTransform(forward, inverse);
  cv::warpAffine(layer, target, inverse, box.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                 cv::BORDER_CONSTANT, cv::Scalar::all(0));
}

namespace {

struct Listing {
  fs::file_time_type modified;
  std::vector<std::string> files;
};

// Canvas-sized frames by (folder, file index, width, height).
using FrameKey = std::tuple<std::string, size_t, int, int>;

struct Cache {
  std::mutex mutex;
  std::map<std::string, Listing> listings;
  std::map<FrameKey, cv::Mat> frames;
  size_t bytes = 0;
  size_t budget = size_t{256} << 20;

  void DropFolder(const std::string& folder) {
    for (auto it = frames.lower_bound({folder, 0, 0, 0});
         it != frames.end() && std::get<0>(it->first) == folder;) {
      bytes -= it->second.total() * it->second.elemSize();
      it = frames.erase(it);
    }
  }
};

Cache& TheCache() {
  static Cache* cache = new Cache;  // never destroyed: effects may run during static teardown
  return *cache;
}

// The sorted ".png" files of `folder`, or false with the folder's path logged.
bool ListFolder(const std::string& folder, Listing* out) {
  std::error_code ec;
  out->modified = fs::last_write_time(folder, ec);
  if (folder.empty() || ec) return false;
  out->files.clear();
  // One picture is a sequence of one frame.
  if (fs::is_regular_file(folder, ec)) {
    out->files.push_back(folder);
    return true;
  }
  if (!fs::is_directory(folder, ec)) return false;
  size_t entries = 0;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    if (++entries > PictureSequences::kMaxEntries) return false;
    if (it->path().extension() == ".png") out->files.push_back(it->path().string());
  }
  if (ec || out->files.empty()) return false;
  std::sort(out->files.begin(), out->files.end());
  return true;
}

cv::Mat ToBgra8(const cv::Mat& read) {
  if (read.empty()) return cv::Mat();
  cv::Mat eight = read;
  if (read.depth() == CV_16U) read.convertTo(eight, CV_8U, 1.0 / 257.0);
  if (eight.depth() != CV_8U) return cv::Mat();
  cv::Mat bgra;
  switch (eight.channels()) {
    case 1:
      cv::cvtColor(eight, bgra, cv::COLOR_GRAY2BGRA);
      return bgra;
    case 3:
      cv::cvtColor(eight, bgra, cv::COLOR_BGR2BGRA);
      return bgra;
    case 4:
      return eight;
    default:
      return cv::Mat();
  }
}

// Centre crop to the canvas aspect, then scaled to the canvas.
cv::Mat FitCanvas(const cv::Mat& image, cv::Size canvas) {
  const float aspect = static_cast<float>(canvas.width) / static_cast<float>(canvas.height);
  cv::Rect crop(0, 0, image.cols, image.rows);
  if (static_cast<float>(image.cols) / static_cast<float>(image.rows) <= aspect) {
    crop.height = std::clamp(static_cast<int>(image.cols / aspect), 1, image.rows);
    crop.y = (image.rows - crop.height) / 2;
  } else {
    crop.width = std::clamp(static_cast<int>(image.rows * aspect), 1, image.cols);
    crop.x = (image.cols - crop.width) / 2;
  }
  const bool shrinking = crop.width > canvas.width && crop.height > canvas.height;
  cv::Mat out;
  cv::resize(image(crop), out, canvas, 0, 0, shrinking ? cv::INTER_AREA : cv::INTER_LINEAR);
  return out;
}

}  // namespace

PictureSequences& PictureSequences::Instance() {
  static PictureSequences sequences;
  return sequences;
}

void PictureSequences::SetBudget(size_t bytes) {
  Cache& cache = TheCache();
  std::lock_guard<std::mutex> lock(cache.mutex);
  cache.budget = bytes;
  if (cache.bytes > bytes) {
    cache.frames.clear();
    cache.bytes = 0;
  }
}

void PictureSequences::Clear() {
  Cache& cache = TheCache();
  std::lock_guard<std::mutex> lock(cache.mutex);
  cache.frames.clear();
  cache.listings.clear();
  cache.bytes = 0;
}

cv::Mat PictureSequences::Frame(const std::string& folder, int32_t frame, cv::Size canvas) {
  Cache& cache = TheCache();
  std::string path;
  size_t index = 0;
  {
    std::lock_guard<std::mutex> lock(cache.mutex);
    std::error_code ec;
    const fs::file_time_type modified = fs::last_write_time(folder, ec);
    auto listed = cache.listings.find(folder);
    if (listed == cache.listings.end() || ec || listed->second.modified != modified) {
      cache.DropFolder(folder);
      Listing fresh;
      if (!ListFolder(folder, &fresh)) {
        if (listed != cache.listings.end()) cache.listings.erase(listed);
        kaz::Log(kaz::kLogError, "HumanSegSequenceFrame::Parse image path error: %s\n",
                 folder.c_str());
        return cv::Mat();
      }
      listed = cache.listings.insert_or_assign(folder, std::move(fresh)).first;
    }
    const std::vector<std::string>& files = listed->second.files;
    const int32_t count = static_cast<int32_t>(files.size());
    int32_t i = frame % count;
    if (i < 0) i += count;  // frames before the clip's start loop backwards
    index = static_cast<size_t>(i);
    const auto hit = cache.frames.find({folder, index, canvas.width, canvas.height});
    if (hit != cache.frames.end()) return hit->second;
    path = files[index];
  }

  // Decoded outside the lock, so other layers and filters are not held up.
  cv::Mat image = ToBgra8(cv::imread(path, cv::IMREAD_UNCHANGED));
  if (image.empty()) {
    kaz::Log(kaz::kLogError, "HumanSegSequenceFrame::imread image failed:%s\n", path.c_str());
    return cv::Mat();
  }
  cv::Mat fitted = FitCanvas(image, canvas);

  std::lock_guard<std::mutex> lock(cache.mutex);
  const size_t size = fitted.total() * fitted.elemSize();
  // A loop played over and over defeats least-recently-used eviction; the first frames that fit
  // stay, the rest are decoded each time.
  if (cache.bytes + size <= cache.budget &&
      cache.frames.emplace(FrameKey{folder, index, canvas.width, canvas.height}, fitted).second) {
    cache.bytes += size;
  }
  return fitted;
}

}  // namespace vorta
