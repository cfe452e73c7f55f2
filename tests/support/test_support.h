// SPDX-License-Identifier: MIT
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include "kaz/filter_api.h"

namespace kaztest {

// A fresh directory under the system's temporary directory, removed with the object.
class TempDir {
 public:
  TempDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            ("kaztest-" + std::to_string(rd()) + "-" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::string str() const { return path_.string(); }

  // Writes `content` to `relative`, creating its directories; returns the full path.
  std::string Write(const std::string& relative, const std::string& content) const {
    const auto full = path_ / relative;
    std::filesystem::create_directories(full.parent_path());
    std::ofstream(full, std::ios::binary) << content;
    return full.string();
  }

 private:
  std::filesystem::path path_;
};

struct LogLine {
  int level;
  std::string format;
  std::string text;
};

// Keeps the plug-in's log lines while installed; a capture sees the lines written since it was
// made. The store is process-wide, so a capture can also look back to lines written before it.
class LogCapture {
 public:
  LogCapture() : start_(Size()) { SetNLEAIEffectFilterLogCallback(&Receive); }
  ~LogCapture() { SetNLEAIEffectFilterLogCallback(Always() ? &Receive : nullptr); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // Records from now until exit, so the lines of a first use are seen whichever test makes it.
  static bool RecordAlways() {
    Always() = true;
    SetNLEAIEffectFilterLogCallback(&Receive);
    return true;
  }
  static LogCapture FromProcessStart() { return LogCapture(0); }

  std::vector<LogLine> Lines() const {
    std::lock_guard<std::mutex> lock(Mutex());
    return std::vector<LogLine>(Store().begin() + static_cast<std::ptrdiff_t>(start_),
                                Store().end());
  }
  // Lines with exactly this text, or format (and level, when not -1).
  int Count(int level, const std::string& text, bool format = false) const {
    int n = 0;
    for (const auto& line : Lines())
      n += (format ? line.format : line.text) == text && (level < 0 || line.level == level);
    return n;
  }
  int CountFormat(const std::string& format, int level = -1) const {
    return Count(level, format, true);
  }
  std::string Dump() const {
    std::string all;
    for (const auto& line : Lines()) all += std::to_string(line.level) + " " + line.text;
    return all;
  }

 private:
  explicit LogCapture(size_t start) : start_(start) { SetNLEAIEffectFilterLogCallback(&Receive); }
  static void Receive(int level, const char* format, va_list args) {
    char buffer[2048];
    std::vsnprintf(buffer, sizeof buffer, format, args);
    std::lock_guard<std::mutex> lock(Mutex());
    Store().push_back({level, format, buffer});
  }
  static size_t Size() {
    std::lock_guard<std::mutex> lock(Mutex());
    return Store().size();
  }
  static bool& Always() {
    static bool always = false;
    return always;
  }
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::vector<LogLine>& Store() {
    static std::vector<LogLine> lines;
    return lines;
  }

  size_t start_;
};

}  // namespace kaztest
