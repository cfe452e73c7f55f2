// SPDX-License-Identifier: MIT
#include "framework/shared_ai_objects.h"

#include <mutex>

namespace vorta {

namespace {

constexpr size_t kSlots = static_cast<size_t>(SharedAiSlot::kCount);

struct Slots {
  std::mutex mutex[kSlots];
  std::shared_ptr<void> object[kSlots];
};

Slots& AllSlots() {
  static Slots slots;
  return slots;
}

}  // namespace

std::shared_ptr<void> SharedAiObjects::GetOrCreateErased(
    SharedAiSlot slot, const std::function<std::shared_ptr<void>()>& make) {
  const size_t i = static_cast<size_t>(slot);
  Slots& slots = AllSlots();
  std::lock_guard<std::mutex> lock(slots.mutex[i]);
  if (!slots.object[i]) slots.object[i] = make();
  return slots.object[i];
}

void SharedAiObjects::ReleaseAll() {
  Slots& slots = AllSlots();
  for (size_t i = 0; i < kSlots; ++i) {
    std::shared_ptr<void> released;
    {
      std::lock_guard<std::mutex> lock(slots.mutex[i]);
      released.swap(slots.object[i]);
    }
    // Destroyed (when this was the last holder) outside the lock.
  }
}

}  // namespace vorta
