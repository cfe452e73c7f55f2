// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

namespace kazfx {

enum class MediaKind { kVideo, kImage, kFolder };

// 8-bit BGRA from what a decoder gives: grey, BGR (alpha 255), BGRA; 16-bit is scaled down.
// A run Failure for other types.
cv::Mat ToBgra(const cv::Mat& decoded, const std::string& name);

// Frames decoded from a video file, one image, or a folder of images taken in name order.
class FrameSource {
 public:
  virtual ~FrameSource() = default;
  MediaKind Kind() const { return kind_; }
  // Frames in the source, or -1 when the container does not say.
  virtual int FrameCount() const = 0;
  // Frames per second, or 0 when the source has none (images).
  virtual double Fps() const = 0;
  // Skips to frame `index`; a run Failure when the source ends before it.
  virtual void Seek(int index) = 0;
  // The next frame as 8-bit BGRA; false at the end. A run Failure when a frame cannot be read.
  virtual bool Read(cv::Mat* bgra) = 0;

 protected:
  explicit FrameSource(MediaKind kind) : kind_(kind) {}

 private:
  MediaKind kind_;
};

// A folder is a folder; a file with an image extension is an image; any other file is tried as
// a video. A run Failure when the input cannot be read.
std::unique_ptr<FrameSource> OpenSource(const std::string& path);

// The image files of a folder, sorted by name (bytewise).
std::vector<std::string> ListImages(const std::string& folder);

// Writes frames under a temporary name beside the output and moves them into place only on
// Commit; destroyed without Commit, it removes everything it wrote.
class FrameSink {
 public:
  virtual ~FrameSink() = default;
  // An 8-bit BGRA frame, or one 8-bit channel (a mask). `number` names the frame in a folder
  // output (frame_000042.png).
  virtual void Write(const cv::Mat& bgra, int number) = 0;
  virtual void Commit() = 0;
};

// Folder: an existing folder, a path ending in '/', or no extension. Image: .png, .jpg, ...
// Video: .avi, .mp4, .m4v, .mov, .mkv. A usage Failure for another extension.
MediaKind OutputKind(const std::string& path);

// Checks that the output can be created (its folder exists, nothing of another sort sits
// there) before any work is done. Video outputs need the frame size and rate up front.
std::unique_ptr<FrameSink> OpenSink(const std::string& path, MediaKind kind, double fps,
                                    cv::Size frameSize);

// A file name for frame `number` in a folder output.
std::string FrameFileName(int number);

}  // namespace kazfx
