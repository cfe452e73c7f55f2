// SPDX-License-Identifier: MIT
#include "framework/shared_ai_objects.h"

#include <map>
#include <mutex>
#include <vector>

namespace vorta {

namespace {

struct Slot {
  std::mutex mutex;
  std::shared_ptr<void> object;
};

// Slots are made on first use and never removed, so a slot outlives every lock taken on it.
struct Slots {
  std::mutex mutex;
  std::map<SharedAiKey, std::unique_ptr<Slot>> byKey;
};

Slots& AllSlots() {
  static Slots slots;
  return slots;
}

Slot& SlotFor(const SharedAiKey& key) {
  Slots& slots = AllSlots();
  std::lock_guard<std::mutex> lock(slots.mutex);
  std::unique_ptr<Slot>& slot = slots.byKey[key];
  if (!slot) slot = std::make_unique<Slot>();
  return *slot;
}

}  // namespace

std::shared_ptr<void> SharedAiObjects::GetOrCreateErased(
    const SharedAiKey& key, const std::function<std::shared_ptr<void>()>& make) {
  Slot& slot = SlotFor(key);
  std::lock_guard<std::mutex> lock(slot.mutex);
  if (!slot.object) slot.object = make();
  return slot.object;
}

void SharedAiObjects::ReleaseAll() {
  std::vector<Slot*> all;
  {
    Slots& slots = AllSlots();
    std::lock_guard<std::mutex> lock(slots.mutex);
    for (auto& entry : slots.byKey) all.push_back(entry.second.get());
  }
  for (Slot* slot : all) {
    std::shared_ptr<void> released;
    {
      std::lock_guard<std::mutex> lock(slot->mutex);
      released.swap(slot->object);
    }
    // Destroyed (when this was the last holder) outside the lock.
  }
}

}  // namespace vorta
