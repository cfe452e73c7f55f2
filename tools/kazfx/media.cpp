// SPDX-License-Identifier: MIT
#include "media.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "failure.h"
#include "platform.h"

namespace fs = std::filesystem;

namespace kazfx {
namespace {

std::string LowerExtension(const fs::path& path) {
  std::string ext = path.extension().string();
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

bool IsImageExtension(const std::string& ext) {
  static const char* const kImages[] = {".png",  ".jpg",  ".jpeg", ".jpe", ".bmp", ".dib", ".tif",
                                        ".tiff", ".webp", ".ppm",  ".pgm", ".pbm", ".pnm", ".pxm",
                                        ".sr",   ".ras",  ".jp2",  ".exr", ".hdr", ".pic"};
  return std::find_if(std::begin(kImages), std::end(kImages),
                      [&](const char* e) { return ext == e; }) != std::end(kImages);
}

bool IsVideoExtension(const std::string& ext) {
  return ext == ".avi" || ext == ".mp4" || ext == ".m4v" || ext == ".mov" || ext == ".mkv";
}

// Alpha survives only in formats that store it.
bool KeepsAlpha(const std::string& ext) {
  return ext == ".png" || ext == ".tif" || ext == ".tiff" || ext == ".webp";
}

fs::path WithoutTrailingSlash(const std::string& path) {
  std::string p = path;
  while (p.size() > 1 && p.back() == '/') p.pop_back();
  return fs::path(p);
}

// Beside the output, hidden, and unique to this process; keeps the extension so that encoders
// that go by it pick the right container.
fs::path PartialPath(const fs::path& output) {
  const fs::path parent = output.has_parent_path() ? output.parent_path() : fs::path(".");
  return parent / ("." + output.stem().string() + ".kazfx-partial-" + std::to_string(ProcessId()) +
                   output.extension().string());
}

void CheckParentFolder(const fs::path& output) {
  const fs::path parent = output.has_parent_path() ? output.parent_path() : fs::path(".");
  std::error_code ec;
  if (!fs::exists(parent, ec)) {
    RunError("cannot write " + output.string() + ": folder " + parent.string() + " does not exist");
  }
  if (!fs::is_directory(parent, ec)) {
    RunError("cannot write " + output.string() + ": " + parent.string() + " is not a folder");
  }
}

void WriteImage(const fs::path& path, const cv::Mat& bgra, const std::string& shownName) {
  cv::Mat out = bgra;
  if (bgra.channels() == 4 && !KeepsAlpha(LowerExtension(path))) {
    cv::cvtColor(bgra, out, cv::COLOR_BGRA2BGR);
  }
  bool written = false;
  try {
    written = cv::imwrite(path.string(), out);
  } catch (const cv::Exception&) {
    written = false;
  }
  if (!written) RunError("cannot write " + shownName);
}

class ImageSource final : public FrameSource {
 public:
  explicit ImageSource(std::string path) : FrameSource(MediaKind::kImage), path_(std::move(path)) {
    image_ = cv::imread(path_, cv::IMREAD_UNCHANGED);
    if (image_.empty()) RunError("cannot read " + path_ + ": not an image OpenCV can decode");
  }
  int FrameCount() const override { return 1; }
  double Fps() const override { return 0; }
  void Seek(int index) override {
    if (index > 0)
      RunError(path_ + " is a single image: there is no frame " + std::to_string(index));
    done_ = false;
  }
  bool Read(cv::Mat* bgra) override {
    if (done_) return false;
    done_ = true;
    *bgra = ToBgra(image_, path_);
    return true;
  }

 private:
  std::string path_;
  cv::Mat image_;
  bool done_ = false;
};

class FolderSource final : public FrameSource {
 public:
  explicit FolderSource(std::string path)
      : FrameSource(MediaKind::kFolder), path_(std::move(path)), files_(ListImages(path_)) {
    if (files_.empty()) RunError("cannot read " + path_ + ": the folder holds no images");
  }
  int FrameCount() const override { return static_cast<int>(files_.size()); }
  double Fps() const override { return 0; }
  void Seek(int index) override {
    if (index >= FrameCount()) {
      RunError(path_ + " has " + std::to_string(FrameCount()) + " images: there is no frame " +
               std::to_string(index));
    }
    next_ = static_cast<size_t>(index);
  }
  bool Read(cv::Mat* bgra) override {
    if (next_ >= files_.size()) return false;
    const std::string& file = files_[next_++];
    cv::Mat decoded = cv::imread(file, cv::IMREAD_UNCHANGED);
    if (decoded.empty()) RunError("cannot read " + file + ": not an image OpenCV can decode");
    *bgra = ToBgra(decoded, file);
    return true;
  }

 private:
  std::string path_;
  std::vector<std::string> files_;
  size_t next_ = 0;
};

class VideoSource final : public FrameSource {
 public:
  explicit VideoSource(std::string path) : FrameSource(MediaKind::kVideo), path_(std::move(path)) {
    // FFmpeg only: the other backends would take image-sequence patterns or need a pipeline.
    if (!capture_.open(path_, cv::CAP_FFMPEG) || !capture_.isOpened()) {
      RunError("cannot read " + path_ + ": not a video or image OpenCV can decode");
    }
    const double count = capture_.get(cv::CAP_PROP_FRAME_COUNT);
    count_ = count >= 1 && count < 2e9 ? static_cast<int>(count) : -1;
    fps_ = capture_.get(cv::CAP_PROP_FPS);
  }
  int FrameCount() const override { return count_; }
  double Fps() const override { return fps_ > 0 && fps_ < 1e6 ? fps_ : 0; }
  void Seek(int index) override {
    // Decoding up to the frame is slower than seeking but lands on it exactly whatever the
    // codec's key frames, which a split render relies on.
    for (int i = position_; i < index; ++i) {
      if (!capture_.grab()) {
        RunError(path_ + " has " + std::to_string(i) + " frames: there is no frame " +
                 std::to_string(index));
      }
    }
    position_ = std::max(position_, index);
  }
  bool Read(cv::Mat* bgra) override {
    cv::Mat frame;
    if (!capture_.read(frame) || frame.empty()) return false;
    ++position_;
    *bgra = ToBgra(frame, path_);
    return true;
  }

 private:
  std::string path_;
  cv::VideoCapture capture_;
  int count_ = -1;
  double fps_ = 0;
  int position_ = 0;
};

class ImageSink final : public FrameSink {
 public:
  explicit ImageSink(fs::path path) : path_(std::move(path)), partial_(PartialPath(path_)) {
    CheckParentFolder(path_);
    std::error_code ec;
    if (fs::is_directory(path_, ec))
      RunError("cannot write " + path_.string() + ": it is a folder");
  }
  ~ImageSink() override {
    std::error_code ec;
    if (!committed_) fs::remove(partial_, ec);
  }
  void Write(const cv::Mat& bgra, int) override {
    if (written_) RunError(path_.string() + " is one image: give a folder or a video for frames");
    WriteImage(partial_, bgra, path_.string());
    written_ = true;
  }
  void Commit() override {
    if (!written_) RunError("nothing was written to " + path_.string());
    std::error_code ec;
    fs::rename(partial_, path_, ec);
    if (ec) RunError("cannot write " + path_.string() + ": " + ec.message());
    committed_ = true;
  }

 private:
  fs::path path_, partial_;
  bool written_ = false, committed_ = false;
};

class FolderSink final : public FrameSink {
 public:
  explicit FolderSink(fs::path path) : path_(std::move(path)), partial_(PartialPath(path_)) {
    CheckParentFolder(path_);
    std::error_code ec;
    if (fs::exists(path_, ec) && !fs::is_directory(path_, ec)) {
      RunError("cannot write " + path_.string() + ": it exists and is not a folder");
    }
    if (!fs::create_directory(partial_, ec) || ec) {
      RunError("cannot write " + path_.string() + ": " +
               (ec ? ec.message() : "cannot create a folder beside it"));
    }
  }
  ~FolderSink() override {
    std::error_code ec;
    fs::remove_all(partial_, ec);
  }
  void Write(const cv::Mat& bgra, int number) override {
    const std::string name = FrameFileName(number);
    WriteImage(partial_ / name, bgra, (path_ / name).string());
    names_.push_back(name);
  }
  void Commit() override {
    // Frames join what the folder already holds, so that parts of a split render can share it.
    std::error_code ec;
    fs::create_directory(path_, ec);
    if (ec) RunError("cannot write " + path_.string() + ": " + ec.message());
    for (const std::string& name : names_) {
      fs::rename(partial_ / name, path_ / name, ec);
      if (ec) RunError("cannot write " + (path_ / name).string() + ": " + ec.message());
    }
  }

 private:
  fs::path path_, partial_;
  std::vector<std::string> names_;
};

class VideoSink final : public FrameSink {
 public:
  VideoSink(fs::path path, double fps, cv::Size size)
      : path_(std::move(path)), partial_(PartialPath(path_)), size_(size) {
    CheckParentFolder(path_);
    std::error_code ec;
    if (fs::is_directory(path_, ec))
      RunError("cannot write " + path_.string() + ": it is a folder");
    // Creating the file first tells a missing permission apart from a missing encoder.
    if (FILE* probe = std::fopen(partial_.c_str(), "wb")) {
      std::fclose(probe);
    } else {
      RunError("cannot write " + path_.string() + ": " + std::strerror(errno));
    }
    const std::string ext = LowerExtension(path_);
    // H.264 plays everywhere; MPEG-4 part 2 is the fallback where no H.264 encoder is built in.
    const std::vector<std::string> codecs =
        ext == ".avi" ? std::vector<std::string>{"MJPG"} : std::vector<std::string>{"avc1", "mp4v"};
    for (const std::string& c : codecs) {
      const int fourcc = cv::VideoWriter::fourcc(c[0], c[1], c[2], c[3]);
      if (writer_.open(partial_.string(), cv::CAP_FFMPEG, fourcc, fps, size, true)) break;
    }
    if (!writer_.isOpened()) {
      fs::remove(partial_, ec);
      RunError("cannot write " + path_.string() + ": no video encoder for " + ext);
    }
  }
  ~VideoSink() override {
    std::error_code ec;
    if (!committed_) {
      writer_.release();
      fs::remove(partial_, ec);
    }
  }
  void Write(const cv::Mat& bgra, int) override {
    if (bgra.size() != size_) {
      RunError("frame size changed from " + std::to_string(size_.width) + "x" +
               std::to_string(size_.height) + " to " + std::to_string(bgra.cols) + "x" +
               std::to_string(bgra.rows) + ": a video needs one size; write a folder instead");
    }
    cv::cvtColor(bgra, bgr_, bgra.channels() == 1 ? cv::COLOR_GRAY2BGR : cv::COLOR_BGRA2BGR);
    writer_.write(bgr_);
  }
  void Commit() override {
    writer_.release();
    std::error_code ec;
    if (fs::file_size(partial_, ec) == 0 || ec) RunError("cannot write " + path_.string());
    fs::rename(partial_, path_, ec);
    if (ec) RunError("cannot write " + path_.string() + ": " + ec.message());
    committed_ = true;
  }

 private:
  fs::path path_, partial_;
  cv::Size size_;
  cv::VideoWriter writer_;
  cv::Mat bgr_;
  bool committed_ = false;
};

}  // namespace

cv::Mat ToBgra(const cv::Mat& decoded, const std::string& name) {
  cv::Mat eight = decoded;
  if (decoded.depth() == CV_16U) {
    decoded.convertTo(eight, CV_MAKETYPE(CV_8U, decoded.channels()), 1.0 / 257.0);
  } else if (decoded.depth() != CV_8U) {
    RunError("cannot read " + name + ": only 8- and 16-bit images are supported");
  }
  cv::Mat bgra;
  switch (eight.channels()) {
    case 1:
      cv::cvtColor(eight, bgra, cv::COLOR_GRAY2BGRA);
      break;
    case 3:
      cv::cvtColor(eight, bgra, cv::COLOR_BGR2BGRA);
      break;
    case 4:
      bgra = eight.isContinuous() ? eight : eight.clone();
      break;
    default:
      RunError("cannot read " + name + ": " + std::to_string(eight.channels()) +
               " channels are not supported");
  }
  return bgra;
}

std::vector<std::string> ListImages(const std::string& folder) {
  std::vector<std::string> files;
  std::error_code ec;
  for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    if (it->is_regular_file(ec) && IsImageExtension(LowerExtension(it->path()))) {
      files.push_back(it->path().string());
    }
  }
  if (ec) RunError("cannot read " + folder + ": " + ec.message());
  std::sort(files.begin(), files.end());
  return files;
}

std::unique_ptr<FrameSource> OpenSource(const std::string& path) {
  std::error_code ec;
  const fs::file_status status = fs::status(path, ec);
  if (!fs::exists(status)) RunError("cannot read " + path + ": no such file or folder");
  if (fs::is_directory(status)) return std::make_unique<FolderSource>(path);
  if (IsImageExtension(LowerExtension(path))) return std::make_unique<ImageSource>(path);
  return std::make_unique<VideoSource>(path);
}

MediaKind OutputKind(const std::string& path) {
  std::error_code ec;
  if (path.empty()) UsageError("the output path is empty");
  if (path.back() == '/' || fs::is_directory(path, ec)) return MediaKind::kFolder;
  const std::string ext = LowerExtension(fs::path(path));
  if (ext.empty()) return MediaKind::kFolder;
  if (IsImageExtension(ext)) return MediaKind::kImage;
  if (IsVideoExtension(ext)) return MediaKind::kVideo;
  UsageError("cannot tell what to write from the extension " + ext + " of " + path +
             ": use .avi, .mp4, .mkv or .mov for a video, .png for an image, or a folder");
}

std::unique_ptr<FrameSink> OpenSink(const std::string& path, MediaKind kind, double fps,
                                    cv::Size frameSize) {
  const fs::path output = WithoutTrailingSlash(path);
  switch (kind) {
    case MediaKind::kImage:
      return std::make_unique<ImageSink>(output);
    case MediaKind::kFolder:
      return std::make_unique<FolderSink>(output);
    case MediaKind::kVideo:
      return std::make_unique<VideoSink>(output, fps, frameSize);
  }
  return nullptr;
}

std::string FrameFileName(int number) {
  char name[32];
  std::snprintf(name, sizeof name, "frame_%06d.png", number);
  return name;
}

}  // namespace kazfx
