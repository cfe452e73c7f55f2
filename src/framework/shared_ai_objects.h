// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>

namespace vorta {

// The process-wide AI objects that whole effect classes share (one loaded model per class), so
// that every instance of an effect on a timeline does not load its own copy. ShutdownKAZ
// releases them; filters that still hold one keep it alive until they go.
enum class SharedAiSlot {
  kHumanSegmentation,
  kHumanSegmentationCapture,
  kHumanSegmentationEffect,
  kHumanSegmentationHair,
  kHumanSegmentationHighAccMask,
  kHumanSegmentationBackChange,
  kCount
};

class SharedAiObjects {
 public:
  // The object in `slot`; when empty, `make` is called (under the slot's lock, so two threads
  // never load the same model twice) and a non-null result is kept. A null result leaves the
  // slot empty, so the next call tries again.
  template <class T>
  static std::shared_ptr<T> GetOrCreate(SharedAiSlot slot,
                                        const std::function<std::shared_ptr<T>()>& make) {
    return std::static_pointer_cast<T>(
        GetOrCreateErased(slot, [&]() -> std::shared_ptr<void> { return make(); }));
  }

  // Empties every slot.
  static void ReleaseAll();

 private:
  static std::shared_ptr<void> GetOrCreateErased(
      SharedAiSlot slot, const std::function<std::shared_ptr<void>()>& make);
};

}  // namespace vorta
