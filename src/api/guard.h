// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <utility>

#include "api/log.h"

namespace kaz {

// Runs the body of an exported function; an escaping exception becomes `failure` and a level-4
// log line, so nothing crosses into the host.
template <typename Result, typename Body>
Result Guarded(const char* function, Result failure, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& e) {
    Log(kLogError, "%s failed: %s\n", function, e.what());
  } catch (...) {
    Log(kLogError, "%s failed: unknown exception\n", function);
  }
  return failure;
}

}  // namespace kaz
