// SPDX-License-Identifier: MIT
// The runtime's model files on arbitrary bytes: the segmentation module's manifest or bare ONNX
// network, and the landmark modules' manifests. A bad file must end as a Failure (a status at
// the entry point), never as another exception or a crash.
#include "fuzz_support.h"
#include "human_segment/model_file.h"
#include "landmarks_common/landmarks.h"

namespace {

// ModelProto { graph { input { name: "x" type { tensor_type { shape { 1, 3, 8, 8 } } } } } },
// so that a manifest naming "../networks/net.onnx" reaches the network reader too.
const uint8_t kTinyOnnx[] = {0x3a, 0x1b, 0x5a, 0x19, 0x0a, 0x01, 0x78, 0x12, 0x14, 0x0a,
                             0x12, 0x12, 0x10, 0x0a, 0x02, 0x08, 0x01, 0x0a, 0x02, 0x08,
                             0x03, 0x0a, 0x02, 0x08, 0x08, 0x0a, 0x02, 0x08, 0x08};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool ready =
      !kazfuzz::WriteInput("networks/net.onnx", kTinyOnnx, sizeof kTinyOnnx).empty();
  (void)ready;
  const std::string path = kazfuzz::WriteInput("models/model", data, size);
  try {
    const quorin::hs::ModelFile model = quorin::hs::LoadModelFile(path);
    KAZ_FUZZ_CHECK(model.backend != quorin::hs::Backend::kOnnx || !model.onnx.network.empty());
  } catch (const quorin::Failure&) {
  }
  try {
    const quorin::lm::Manifest manifest(path.c_str(), "pose");
    const double people = manifest.Number("maxPeople", 1, 16, 4);
    KAZ_FUZZ_CHECK(people >= 1 && people <= 16);
    manifest.Network("detector");
  } catch (const quorin::Failure&) {
  }
  return 0;
}
