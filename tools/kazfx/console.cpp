// SPDX-License-Identifier: MIT
#include "console.h"

#include <cstdio>

namespace kazfx {

Console& Console::Get() {
  static Console console;
  return console;
}

void Console::Line(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string line = text;
  if (line.empty() || line.back() != '\n') line += '\n';
  if (!progress_.empty()) std::fputs("\r\033[K", stderr);
  std::fputs(line.c_str(), stderr);
  if (!progress_.empty()) std::fputs(progress_.c_str(), stderr);
  std::fflush(stderr);
}

void Console::ShowProgress(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  progress_ = text;
  std::fprintf(stderr, "\r%s\033[K", text.c_str());
  std::fflush(stderr);
}

void Console::EndProgress() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (progress_.empty()) return;
  progress_.clear();
  std::fputs("\n", stderr);
  std::fflush(stderr);
}

Progress::Progress(int total, bool enabled)
    : total_(total), enabled_(enabled), start_(Clock::now()), lastDraw_() {}

Progress::~Progress() {
  if (enabled_) Console::Get().EndProgress();
}

double Progress::Seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

double Progress::Rate(int done) const {
  const double seconds = Seconds();
  return seconds > 0 ? done / seconds : 0.0;
}

void Progress::Update(int done) {
  if (!enabled_) return;
  const Clock::time_point now = Clock::now();
  if ((total_ <= 0 || done < total_) && now - lastDraw_ < std::chrono::milliseconds(100)) return;
  lastDraw_ = now;
  const double rate = Rate(done);
  char text[160];
  if (total_ <= 0) {
    // The container did not say how long the clip is.
    std::snprintf(text, sizeof text, "%d frames  %.1f fps", done, rate);
  } else {
    constexpr int kWidth = 30;
    const int filled = static_cast<int>(static_cast<int64_t>(done) * kWidth / total_);
    const int eta = rate > 0 ? static_cast<int>((total_ - done) / rate + 0.5) : 0;
    std::snprintf(text, sizeof text, "[%s%s] %d/%d frames  %.1f fps  ETA %d:%02d",
                  std::string(filled, '#').c_str(), std::string(kWidth - filled, '.').c_str(), done,
                  total_, rate, eta / 60, eta % 60);
  }
  Console::Get().ShowProgress(text);
}

void Progress::Finish() {
  if (!enabled_) return;
  lastDraw_ = Clock::time_point();
  if (total_ > 0) Update(total_);
  Console::Get().EndProgress();
}

}  // namespace kazfx
