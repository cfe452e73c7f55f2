// SPDX-License-Identifier: MIT
// Objects handed between filters, and between host and filters, under the parameter name
// "ObjectAiDataTransferPtr" (kind 7, a borrowed pointer to an AIDATA::BaseAIDATA). The plug-in
// never frees them.
#pragma once

#include <cstdint>

class KAZAiDataReceiver;

// The parameter (kind 7) under which a result object or a host's receiver is lent to an effect.
inline constexpr char kKAZAiDataTransferName[] = "ObjectAiDataTransferPtr";
// The parameter that asks segmentation effects for the grey mask (above 0: send it).
inline constexpr char kKAZNeedGrayImageName[] = "need gray Image";

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
  // Slot 4. A segmentation the host already has for the frame being rendered: answer true and
  // fill the four values with a B, G, R, A image of the frame's size whose alpha is the person
  // matte (0 background .. 255 person), `pitch` bytes a row, valid until the effect's transform
  // returns. Effects that outline or clone the person then skip their own segmentation.
  // False (the default) when there is none.
  virtual bool ReadySegmentation(unsigned char** pixels, int32_t* width, int32_t* height,
                                 int32_t* pitch) {
    (void)pixels, (void)width, (void)height, (void)pitch;
    return false;
  }
  // Slot 5. The person mask as a grey B, G, R, A image (B, G and R equal to the mask, alpha 255),
  // sent by segmentation effects whose "need gray Image" parameter is above 0. `stride` is the
  // source frame's row stride, and the image's rows are that many bytes apart.
  virtual void ReceiveGrayImage(const unsigned char* pixels, int32_t width, int32_t height,
                                int32_t stride) = 0;
  virtual void Reserved6() {}
  // Slot 7. Face analysis results, flattened (format in kaz/ai_results.h); once per frame in
  // which faces were found.
  virtual void ReceiveFaceData(const unsigned char* bytes, uint32_t length) {
    (void)bytes, (void)length;
  }
  virtual void Reserved8() {}
  virtual void Reserved9() {}
  // Slot 10. Body pose results, flattened (format in kaz/ai_results.h); once per successful
  // frame, with zero bytes (and a null pointer) when nobody was found.
  virtual void ReceivePoseData(const unsigned char* bytes, uint32_t length) {
    (void)bytes, (void)length;
  }
};
