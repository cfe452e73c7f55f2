// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <mutex>
#include <string>

namespace kazfx {

// stderr, shared by kazfx's own messages, the plug-in's log lines (which may come from worker
// threads) and the progress line, so that a message never lands in the middle of the bar.
class Console {
 public:
  static Console& Get();

  // One line; a missing "\n" is added.
  void Line(const std::string& text);
  // Replaces the progress line (terminal only).
  void ShowProgress(const std::string& text);
  // Ends the progress line, if one is showing.
  void EndProgress();

 private:
  std::mutex mutex_;
  std::string progress_;
};

// A progress bar with frames per second, drawn at most ten times a second, only when enabled.
class Progress {
 public:
  Progress(int total, bool enabled);
  ~Progress();
  void Update(int done);
  void Finish();
  // Frames per second so far.
  double Rate(int done) const;
  double Seconds() const;

 private:
  using Clock = std::chrono::steady_clock;
  int total_;
  bool enabled_;
  Clock::time_point start_;
  Clock::time_point lastDraw_;
};

}  // namespace kazfx
