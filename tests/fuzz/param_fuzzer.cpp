// SPDX-License-Identifier: MIT
// Parameter values through the exported setters: any name, kind, payload and text, on any
// effect, then one rendered frame so that the effect reads what was set.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstring>
#include <vector>

#include "framework/registry.h"
#include "fuzz_support.h"
#include "kaz/ai_data.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool silenced = (kazfuzz::SilenceLog(), true);
  (void)silenced;
  FuzzedDataProvider in(data, size);
  const auto& table = vorta::FilterClassTable();
  vorta::NLEEffectFilter* filter = CreateNLEAIEffectFilterFromGUID(
      table[in.ConsumeIntegralInRange<size_t>(0, table.size() - 1)].guid, KAZ_RESOURCES_DIR);
  KAZ_FUZZ_CHECK(filter != nullptr);
  const int32_t auxChannels = in.ConsumeBool() ? 4 : 1;
  while (in.remaining_bytes() > 0) {
    const std::string name = in.ConsumeRandomLengthString(48);
    const uint32_t kind = in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 8)
                                           : in.ConsumeIntegral<uint32_t>();
    NLEParamValue value;
    value.type = in.ConsumeBool() ? kind : in.ConsumeIntegral<uint32_t>();
    in.ConsumeData(value.payload, in.ConsumeIntegralInRange<size_t>(0, sizeof value.payload));
    value.text = in.ConsumeRandomLengthString(600);
    // The transfer object is a pointer the host vouches for; a made-up one proves nothing.
    if (std::strcmp(name.c_str(), kKAZAiDataTransferName) == 0) continue;
    KAZ_FUZZ_CHECK(NLEEffectFilterSetParameter(filter, name.c_str(), kind, value) == 0);
    uint32_t stored = 0;
    NLEParamValue back;
    KAZ_FUZZ_CHECK(NLEEffectFilterGetParameter(filter, name.c_str(), &stored, &back) == 0);
    // Hosts read a text payload as a C string.
    KAZ_FUZZ_CHECK(stored != 6 || std::memchr(back.payload, 0, sizeof back.payload) != nullptr);
  }
  std::vector<unsigned char> src(24 * 16 * 4, 90), dst(src.size()), aux(24 * 16 * auxChannels);
  const int32_t result =
      NLEEffectFilterTransformChannels(filter, dst.data(), 24, 16, 96, aux.data(), 24, 16,
                                       24 * auxChannels, src.data(), 24, 16, 96, 4, auxChannels, 4);
  KAZ_FUZZ_CHECK(result == 0 || result == 1);
  DeleteNLEAIEffectFilter(&filter);
  return 0;
}
