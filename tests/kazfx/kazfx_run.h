// SPDX-License-Identifier: MIT
// Runs the built kazfx binary and reads what it wrote.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "support/test_support.h"

extern char** environ;

namespace kazfxtest {

struct RunResult {
  int status = -1;  // exit status; -1 when the process did not exit normally
  std::string out, err;
  // Lines of stderr, without their '\n'.
  std::vector<std::string> ErrLines() const {
    std::vector<std::string> lines;
    std::istringstream in(err);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
};

inline std::string Slurp(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::vector<std::string> Concat(std::vector<std::string> a,
                                       const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

// A kazfx process started with `args`, stdout and stderr going to files, the environment
// extended by `env`.
class KazfxProcess {
 public:
  KazfxProcess(const std::vector<std::string>& args,
               const std::map<std::string, std::string>& env = {}) {
    std::vector<std::string> argText = Concat({KAZFX_BINARY}, args);
    std::vector<char*> argv;
    for (std::string& a : argText) argv.push_back(a.data());
    argv.push_back(nullptr);

    std::vector<std::string> envText;
    for (char** e = environ; *e != nullptr; ++e) {
      const std::string entry = *e;
      if (env.count(entry.substr(0, entry.find('='))) == 0) envText.push_back(entry);
    }
    for (const auto& [key, value] : env) envText.push_back(key + "=" + value);
    std::vector<char*> envp;
    for (std::string& e : envText) envp.push_back(e.data());
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, OutPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, ErrPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    if (posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), envp.data()) != 0) pid_ = 0;
    posix_spawn_file_actions_destroy(&actions);
  }
  ~KazfxProcess() {
    if (pid_ != 0) Wait();
  }
  pid_t pid() const { return pid_; }

  RunResult Wait() {
    RunResult result;
    if (pid_ == 0) {
      result.err = "spawn failed";
      return result;
    }
    int wstatus = 0;
    waitpid(pid_, &wstatus, 0);
    pid_ = 0;
    result.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : -1;
    result.out = Slurp(OutPath());
    result.err = Slurp(ErrPath());
    return result;
  }

 private:
  std::string OutPath() const { return (capture_.path() / "out").string(); }
  std::string ErrPath() const { return (capture_.path() / "err").string(); }
  kaztest::TempDir capture_;
  pid_t pid_ = 0;
};

inline RunResult RunKazfx(const std::vector<std::string>& args,
                          const std::map<std::string, std::string>& env = {}) {
  return KazfxProcess(args, env).Wait();
}

// Names in a folder, sorted; hidden partial files included.
inline std::vector<std::string> Entries(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

inline cv::Mat ReadUnchanged(const std::filesystem::path& path) {
  return cv::imread(path.string(), cv::IMREAD_UNCHANGED);
}

// Each test runs in a fresh folder of its own, so that arguments can name files relatively.
class InTempDir : public ::testing::Test {
 protected:
  void SetUp() override { std::filesystem::current_path(dir_.path()); }
  void TearDown() override { std::filesystem::current_path(home_); }
  const std::filesystem::path home_ = std::filesystem::current_path();
  kaztest::TempDir dir_;
};

// A refused run: its status, one "kazfx: error: " line on stderr and nothing on stdout.
inline void ExpectError(const RunResult& run, int status) {
  EXPECT_EQ(run.status, status) << run.err;
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_EQ(run.ErrLines()[0].rfind("kazfx: error: ", 0), 0u) << run.err;
  EXPECT_EQ(run.out, "");
}

}  // namespace kazfxtest
