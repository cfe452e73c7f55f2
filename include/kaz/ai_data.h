// SPDX-License-Identifier: MIT
// Objects handed between filters, and between host and filters, under the parameter name
// "ObjectAiDataTransferPtr" (kind 7, a borrowed pointer to an AIDATA::BaseAIDATA). The plug-in
// never frees them.
#pragma once

#include <cstdint>

class KAZAiDataReceiver;

namespace AIDATA {

// Base of every analysis result, and of the host's receiver. Slot order: destructor, query.
class BaseAIDATA {
 public:
  virtual ~BaseAIDATA() = default;
  // A host receiver answers itself here; results answer null.
  virtual KAZAiDataReceiver* AsReceiver() { return nullptr; }
};

}  // namespace AIDATA

// A host object that receives what effects produce beside the picture. Lend it as
// "ObjectAiDataTransferPtr"; its functions are called on the thread that renders the frame,
// and the data they get is valid only during the call.
class KAZAiDataReceiver : public AIDATA::BaseAIDATA {
 public:
  KAZAiDataReceiver* AsReceiver() override { return this; }
  virtual void Reserved2() {}
  virtual void Reserved3() {}
  virtual void Reserved4() {}
  // Slot 5. The person mask as a grey B, G, R, A image (all four bytes equal to the mask), sent
  // by segmentation effects whose "need gray Image" parameter is above 0. `stride` is the
  // source frame's row stride, and the image's rows are that many bytes apart.
  virtual void ReceiveGrayImage(const unsigned char* pixels, int32_t width, int32_t height,
                                int32_t stride) = 0;
  virtual void Reserved6() {}
  // Slot 7. Face analysis results, flattened.
  virtual void ReceiveFaceData(const unsigned char* bytes, uint32_t length) {
    (void)bytes, (void)length;
  }
  virtual void Reserved8() {}
  virtual void Reserved9() {}
  // Slot 10. Body pose results, flattened.
  virtual void ReceivePoseData(const unsigned char* bytes, uint32_t length) {
    (void)bytes, (void)length;
  }
};
