// SPDX-License-Identifier: MIT
// The smallest editor: loads the installed plug-in, renders generated frames through the
// "Person Mask" effect, lends a receiver for the person mask, and checks from the log that the
// AI runtime was found (docs/hosting.md).
#include <dlfcn.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "kaz/ai_data.h"
#include "kaz/filter_api.h"

namespace {

const char kPersonMask[] = "D4BFB781-5506-494C-B9AB-738D79814B60";

// Called on the thread that renders, during the transform: copy what is kept.
class MaskReceiver : public KAZAiDataReceiver {
 public:
  void ReceiveGrayImage(const unsigned char* pixels, int32_t w, int32_t h,
                        int32_t stride) override {
    mask.resize(static_cast<size_t>(w) * h);
    for (int32_t y = 0; y < h; ++y)
      for (int32_t x = 0; x < w; ++x) mask[y * w + x] = pixels[y * stride + 4 * x];
    width = w, height = h;
  }
  std::vector<unsigned char> mask;
  int32_t width = 0, height = 0;
};

std::atomic<int> g_models{0}, g_missing{0};

// May be called from OpenCV's worker threads.
void Log(int level, const char* format, va_list args) {
  // The same format names a runtime library that failed to load (alone) or a created model (a
  // path): compare the format, not the text.
  if (std::strcmp(format, kKAZLogLoadLib) == 0) {
    va_list copy;
    va_copy(copy, args);
    const char* name = va_arg(copy, const char*);
    va_end(copy);
    ++(std::strchr(name, '/') != nullptr ? g_models : g_missing);
  }
  if (level >= 4) std::vfprintf(stderr, format, args);
}

NLEParamValue Value(uint32_t kind, const void* bytes, size_t size) {
  NLEParamValue value;
  value.type = kind;
  std::memcpy(value.payload, bytes, size);
  return value;
}

#define BIND(lib, fn) reinterpret_cast<decltype(&fn)>(dlsym(lib, #fn))

}  // namespace

int main(int argc, char** argv) {
  const char* plugin = argc > 1 ? argv[1] : KAZ_PLUGIN_PATH;
  const char* resources = argc > 2 ? argv[2] : KAZ_RESOURCES_DIR;
  // RTLD_LOCAL keeps each plug-in's symbols its own; the runtime is found beside the plug-in.
  void* lib = dlopen(plugin, RTLD_NOW | RTLD_LOCAL);
  if (lib == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
  auto setLog = BIND(lib, SetNLEAIEffectFilterLogCallback);
  auto create = BIND(lib, CreateNLEAIEffectFilterFromGUID);
  auto destroy = BIND(lib, DeleteNLEAIEffectFilter);
  auto set = BIND(lib, NLEEffectFilterSetParameter);
  auto setRate = BIND(lib, NLEEffectFilterSetFrameRate);
  auto setTotal = BIND(lib, NLEEffectFilterSetTotalTime);
  auto setCurrent = BIND(lib, NLEEffectFilterSetCurrentTime);
  auto transform = BIND(lib, NLEEffectFilterTransform);
  if (!setLog || !create || !destroy || !set || !setRate || !setTotal || !setCurrent || !transform)
    return std::fprintf(stderr, "%s: not a kazAiFilterPlugin plug-in\n", plugin), 1;
  setLog(Log);  // before any filter exists

  vorta::NLEEffectFilter* filter = create(kPersonMask, resources);
  if (filter == nullptr) return std::fprintf(stderr, "no effect %s\n", kPersonMask), 1;
  MaskReceiver receiver;
  AIDATA::BaseAIDATA* lent = &receiver;  // borrowed: it must outlive the filter's last transform
  const int32_t on = 1;
  set(filter, kKAZAiDataTransferName, 7, Value(7, &lent, sizeof lent));
  set(filter, kKAZNeedGrayImageName, 5, Value(5, &on, sizeof on));

  const int32_t w = 320, h = 240, stride = w * 4, frames = 3;
  std::vector<unsigned char> src(static_cast<size_t>(stride) * h), dst(src.size());
  setRate(filter, 30000, 1001);
  setTotal(filter, frames);
  int failed = 0;
  for (int32_t frame = 0; frame < frames; ++frame) {
    // A grey backdrop and a bright upright ellipse that moves to the right.
    for (int32_t y = 0; y < h; ++y) {
      for (int32_t x = 0; x < w; ++x) {
        const double dx = (x - 150.0 - 4 * frame) / 50, dy = (y - 130.0) / 100;
        unsigned char* p = &src[y * stride + 4 * x];
        p[0] = p[1] = p[2] = dx * dx + dy * dy < 1 ? 230 : 60;
        p[3] = 255;
      }
    }
    setCurrent(filter, frame);
    const int32_t rc =
        transform(filter, dst.data(), w, h, stride, nullptr, 0, 0, 0, src.data(), w, h, stride);
    if (rc != 0) ++failed, std::fprintf(stderr, "frame %d: transform answered %d\n", frame, rc);
  }
  destroy(&filter);
  dlclose(lib);
  // No person in a generated frame is a right answer too: then no mask comes.
  std::printf("%s: %d of %d frames rendered, %d models made, %d libraries missing, mask %dx%d\n",
              plugin, frames - failed, frames, g_models.load(), g_missing.load(), receiver.width,
              receiver.height);
  const bool maskFits = receiver.mask.empty() || (receiver.width == w && receiver.height == h);
  return failed == 0 && g_missing == 0 && g_models > 0 && maskFits ? 0 : 1;
}
