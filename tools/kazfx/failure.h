// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>
#include <string>

namespace kazfx {

// Exit statuses: 2 for a command line kazfx cannot act on, 1 for work that failed.
enum ExitStatus : int {
  kExitOk = 0,
  kExitFailed = 1,
  kExitUsage = 2,
  kExitInterrupted = 130,
};

// Ends the command: `what()` is the one line the user sees.
class Failure : public std::runtime_error {
 public:
  Failure(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

[[noreturn]] inline void UsageError(const std::string& message) {
  throw Failure(kExitUsage, message);
}
[[noreturn]] inline void RunError(const std::string& message) {
  throw Failure(kExitFailed, message);
}

}  // namespace kazfx
