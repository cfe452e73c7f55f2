// SPDX-License-Identifier: MIT
// The "filter.xml" description reader on arbitrary bytes; the sanitizers are the oracle.
#include "framework/filter_info.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool silenced = (kazfuzz::SilenceLog(), true);
  (void)silenced;
  vorta::ReadFilterInfoFromXml(kazfuzz::WriteInput("filter.xml", data, size));
  return 0;
}
