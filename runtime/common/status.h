// SPDX-License-Identifier: MIT
// The status codes every module of the reference runtime answers with, and the exception that
// carries one to the entry point that turns it into a status and a log line.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace quorin {

// Non-zero answers of the entry points; listed in docs/runtime.md.
enum Status : int32_t {
  kOk = 0,
  kInvalidArgument = 1,
  kModelUnreadable = 2,
  kModelInvalid = 3,
  kNetworkFailed = 4,
  kProcessFailed = 5,
  kOutOfMemory = 6,
};

class Failure : public std::runtime_error {
 public:
  Failure(Status status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  Status status() const { return status_; }

 private:
  Status status_;
};

}  // namespace quorin
