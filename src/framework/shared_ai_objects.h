// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <tuple>

namespace vorta {

// What a process-wide AI object is shared by: one loaded model of a module family and variant
// per sharing group. The group is the effect class, so that every instance of an effect on a
// timeline uses one model without any one effect's temporal state reaching another class.
struct SharedAiKey {
  std::string family;  // the module, e.g. "human_segment"
  int32_t variant = 0;
  std::string group;

  bool operator<(const SharedAiKey& o) const {
    return std::tie(family, variant, group) < std::tie(o.family, o.variant, o.group);
  }
};

// The process-wide AI objects. ShutdownKAZ releases them; filters that still hold one keep it
// alive until they go.
class SharedAiObjects {
 public:
  // The object under `key`; when there is none, `make` is called (under that key's lock, so two
  // threads never load the same model twice) and a non-null result is kept. A null result
  // leaves the key empty, so the next call tries again.
  template <class T>
  static std::shared_ptr<T> GetOrCreate(const SharedAiKey& key,
                                        const std::function<std::shared_ptr<T>()>& make) {
    return std::static_pointer_cast<T>(
        GetOrCreateErased(key, [&]() -> std::shared_ptr<void> { return make(); }));
  }

  // Empties every key.
  static void ReleaseAll();

 private:
  static std::shared_ptr<void> GetOrCreateErased(
      const SharedAiKey& key, const std::function<std::shared_ptr<void>()>& make);
};

}  // namespace vorta
