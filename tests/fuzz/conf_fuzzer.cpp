// SPDX-License-Identifier: MIT
// The ".conf" description reader on arbitrary bytes: null or a description with a GUID.
#include "framework/filter_info.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool silenced = (kazfuzz::SilenceLog(), true);
  (void)silenced;
  const std::string path = kazfuzz::WriteInput("effect.conf", data, size);
  if (const vorta::FilterInfoPtr info = vorta::ReadFilterInfoFromConf(path)) {
    KAZ_FUZZ_CHECK(!info->guid.empty());
  }
  return 0;
}
