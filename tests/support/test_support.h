// SPDX-License-Identifier: MIT
// Helpers shared by the test suites: temporary trees and log capture.
#pragma once

#include <cstdarg>
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
  std::string text;
};

// Installs a log callback for its lifetime and keeps every line, formatted.
class LogCapture {
 public:
  LogCapture() {
    Clear();
    SetNLEAIEffectFilterLogCallback(&Callback);
  }
  ~LogCapture() { SetNLEAIEffectFilterLogCallback(nullptr); }

  std::vector<LogLine> Lines() const {
    std::lock_guard<std::mutex> lock(Mutex());
    return Store();
  }
  void Clear() {
    std::lock_guard<std::mutex> lock(Mutex());
    Store().clear();
  }
  // How many lines have exactly this level and text.
  int Count(int level, const std::string& text) const {
    int n = 0;
    for (const auto& line : Lines()) n += line.level == level && line.text == text;
    return n;
  }
  // How many lines contain `part`.
  int CountContaining(const std::string& part) const {
    int n = 0;
    for (const auto& line : Lines()) n += line.text.find(part) != std::string::npos;
    return n;
  }

 private:
  static void Callback(int level, const char* format, va_list args) {
    char buffer[2048];
    std::vsnprintf(buffer, sizeof buffer, format, args);
    std::lock_guard<std::mutex> lock(Mutex());
    Store().push_back({level, buffer});
  }
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }
  static std::vector<LogLine>& Store() {
    static std::vector<LogLine> lines;
    return lines;
  }
};

}  // namespace kaztest
