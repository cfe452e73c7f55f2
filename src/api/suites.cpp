// SPDX-License-Identifier: MIT
#include "api/suites.h"

namespace kaz {

SuiteRecord& Suites() {
  static SuiteRecord record;
  return record;
}

}  // namespace kaz
