// SPDX-License-Identifier: MIT
// NLEEffectFilterTransformChannels with any sizes, strides and channel counts, over buffers
// exactly as large as the arguments say. A call the header calls invalid must answer 1 with the
// destination as given; ASan catches any byte an accepted call touches outside the buffers.
#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <vector>

#include "framework/registry.h"
#include "fuzz_support.h"

namespace {

// Valid frames larger than this are skipped: there is no buffer of that size to lend.
constexpr int64_t kMaxBytes = 1 << 16;

struct Image {
  bool null;
  int32_t width, height, stride, channels;

  // The header's rule, written out apart from the plug-in's own check.
  bool Valid() const {
    return !null && (channels == 1 || channels == 4) && width >= 1 && height >= 1 &&
           int64_t{stride} >= int64_t{width} * channels && Bytes() <= INT32_MAX;
  }
  int64_t Bytes() const { return int64_t{stride} * height; }
  std::vector<unsigned char> Buffer(unsigned char seed) const {
    std::vector<unsigned char> bytes(Bytes() < 1 ? 1 : Bytes() > kMaxBytes ? kMaxBytes : Bytes());
    for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(seed + i * 7);
    return bytes;
  }
};

int32_t Number(FuzzedDataProvider& in) {
  // Mostly small values, so that valid frames are common.
  return in.ConsumeBool() ? in.ConsumeIntegralInRange<int32_t>(-2, 80)
                          : in.ConsumeIntegral<int32_t>();
}

Image Take(FuzzedDataProvider& in) {
  const bool null = in.ConsumeIntegralInRange<int>(0, 15) == 0;
  const int32_t channels = in.ConsumeBool() ? (in.ConsumeBool() ? 4 : 1) : Number(in);
  return {null, Number(in), Number(in), Number(in), channels};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool silenced = (kazfuzz::SilenceLog(), true);
  (void)silenced;
  FuzzedDataProvider in(data, size);
  const auto& table = vorta::FilterClassTable();
  const char* guid = table[in.ConsumeIntegralInRange<size_t>(0, table.size() - 1)].guid;
  const Image dst = Take(in), aux = Take(in), src = Take(in);
  const bool valid = dst.Valid() && src.Valid() && (aux.null || aux.Valid()) &&
                     dst.width == src.width && dst.height == src.height;
  if (valid && (dst.Bytes() > kMaxBytes || src.Bytes() > kMaxBytes ||
                (!aux.null && aux.Bytes() > kMaxBytes))) {
    return 0;
  }
  const unsigned char seed = in.ConsumeIntegral<unsigned char>();
  std::vector<unsigned char> dstBytes = dst.Buffer(seed), auxBytes = aux.Buffer(seed);
  const std::vector<unsigned char> srcBytes = src.Buffer(seed + 1), given = dstBytes;

  vorta::NLEEffectFilter* filter = CreateNLEAIEffectFilterFromGUID(guid, KAZ_RESOURCES_DIR);
  KAZ_FUZZ_CHECK(filter != nullptr);
  const int32_t result = NLEEffectFilterTransformChannels(
      filter, dst.null ? nullptr : dstBytes.data(), dst.width, dst.height, dst.stride,
      aux.null ? nullptr : auxBytes.data(), aux.width, aux.height, aux.stride,
      src.null ? nullptr : srcBytes.data(), src.width, src.height, src.stride, dst.channels,
      aux.channels, src.channels);
  DeleteNLEAIEffectFilter(&filter);
  KAZ_FUZZ_CHECK(result == 0 || result == 1);
  KAZ_FUZZ_CHECK(valid || (result == 1 && dstBytes == given));
  KAZ_FUZZ_CHECK(srcBytes == src.Buffer(seed + 1));
  return 0;
}
