// SPDX-License-Identifier: MIT
// The host framework interface of kazAiFilterPlugin: what an editor implements to load the
// plug-in as an effect plug-in, and what the plug-in hands back.
//
// Order of calls (one thread at a time):
//   StartupKAZ(host, &info)                    once; info.effectCount tells how many effects
//   RegisterKAZEffect(i, registrar)            for each i below info.effectCount
//   CreateKAZEffect(guid, 0, &effect)          per effect instance on the timeline
//     effect->Update(context) / Render(context)  per frame (one thread per effect at a time)
//   ReleaseKAZEffect(effect)                   per instance
//   ShutdownKAZ()                              once; StartupKAZ may follow again
// Results: 0 success, 2 failure. No exception leaves the plug-in.
//
// Every interface below is a C++ class whose virtual functions are called in declaration order
// ("slots"); keep the order, including the Reserved placeholders, when implementing them.
#pragma once

#include <cstdint>

#include "kaz/export.h"

// The host's utility services, acquired as "Host Util Suite", version 1.
class KAZHostUtilSuite {
 public:
  // The directory codes GetPath is asked for.
  static constexpr int kResources = 1;
  static constexpr int kCloudResources = 3;

  // Slot 0. Writes the directory for `code` (1 resources, 3 cloud resources) into `buffer`,
  // NUL-terminated, at most bufferSize bytes. The buffer arrives pre-filled with a default
  // ("resources", "cloud_resources"); a host that does not know the code may leave it.
  // Returns 0 on success. The plug-in looks for effects under
  // <resources>/kaz_effect/plugin/AiEffect and for models under
  // <resources>/kaz_effect/plugin/AiModel.
  virtual int32_t GetPath(int code, char* buffer, int bufferSize) = 0;
  // Slot 1. One log line, printf-style; level 2 for progress, 4 for errors. The format carries
  // its own "\n". May be called from OpenCV worker threads.
  virtual void Log(int level, const char* format, ...) = 0;

 protected:
  ~KAZHostUtilSuite() = default;
};

// Acquired as "Memory Allocator Suite" and "Image Buffer ALlocator Suite" (spelled so), version
// 1. The plug-in keeps the pointers but calls none of their operations: it allocates its own
// working memory, and writes results into the images the host hands to Render.
class KAZMemoryAllocatorSuite;
class KAZImageBufferAllocatorSuite;

// The host object handed to StartupKAZ.
class KAZHost {
 public:
  // Slot 0. Writes the suite called `name` at `version` to *suite (null when the host has none).
  // Returns 0 when found.
  virtual int32_t AcquireSuite(const char* name, int32_t version, void** suite) = 0;

 protected:
  ~KAZHost() = default;
};

// Filled by StartupKAZ. Texts are the plug-in's own and live until the plug-in is unloaded.
struct KAZPluginInfo {
  int32_t interfaceVersion;  // 1
  int32_t pluginVersion;     // 1
  const char* name;          // "Ai Filter"
  const char* identifier;    // "com.maplethorne"
  const char* description;   // "Ai Filter Desc"
  const char* reserved;      // ""
  int32_t effectCount;       // effects found under the resources directory
};

// Effect flags passed to KAZEffectRegistrar::SetFlags.
enum : int32_t {
  kKAZEffectFlagsOrdinary = 0x832,
  kKAZEffectFlagsTransition = 0x834,
  kKAZEffectFlagDynamic = 0x800000,  // added to either
};

// Parameter visibility passed with every declaration.
enum : int32_t { kKAZParamHidden = 1, kKAZParamVisible = 2 };

// Receives one effect's identity and parameter declarations during registration. Each
// declaration gets (group = -1, parameter index, parameter name, minimum, maximum, default,
// visibility); the index is the parameter's position in the effect's description. Pointers are
// valid during the call only. Every function returns 0 on success.
class KAZEffectRegistrar {
 public:
  virtual int32_t SetIdentity(const char* guid, const char* name) = 0;  // slot 0
  virtual int32_t SetFlags(int32_t flags) = 0;                          // slot 1
  virtual int32_t SetReserved(int32_t value) = 0;                       // slot 2, always 0
  virtual int32_t Reserved3() { return 0; }                             // slot 3
  virtual int32_t Reserved4() { return 0; }                             // slot 4
  // Slot 5: a float parameter (shown as is).
  virtual int32_t DeclareFloat(int32_t group, int32_t index, const char* name, float min, float max,
                               float def, int32_t visibility) = 0;
  // Slot 6: an int parameter; hidden ("NoShow") ones come here with kKAZParamHidden.
  virtual int32_t DeclareInt(int32_t group, int32_t index, const char* name, int32_t min,
                             int32_t max, int32_t def, int32_t visibility) = 0;
  // Slot 7: a colour, packed as an int.
  virtual int32_t DeclareColor(int32_t group, int32_t index, const char* name, int32_t min,
                               int32_t max, int32_t def, int32_t visibility) = 0;
  virtual int32_t Reserved8() { return 0; }  // slot 8
  // Slot 9: an on/off switch held as an int.
  virtual int32_t DeclareCheckBox(int32_t group, int32_t index, const char* name, int32_t min,
                                  int32_t max, int32_t def, int32_t visibility) = 0;
  virtual int32_t Reserved10() { return 0; }  // slot 10
  virtual int32_t Reserved11() { return 0; }  // slot 11
  virtual int32_t Reserved12() { return 0; }  // slot 12
  virtual int32_t Reserved13() { return 0; }  // slot 13
  // Slot 14: a text parameter (minimum, maximum and default are empty texts).
  virtual int32_t DeclareString(int32_t group, int32_t index, const char* name, const char* min,
                                const char* max, const char* def, int32_t visibility) = 0;
  virtual int32_t Reserved15() { return 0; }  // slot 15
  // Slot 16: a double parameter.
  virtual int32_t DeclareDouble(int32_t group, int32_t index, const char* name, double min,
                                double max, double def, int32_t visibility) = 0;
  // Slot 17: a choice among nine positions (3 x 3 grid), held as an int.
  virtual int32_t Declare9Palaces(int32_t group, int32_t index, const char* name, int32_t min,
                                  int32_t max, int32_t def, int32_t visibility) = 0;
  // Slot 18: a mask picked from a list, held as text.
  virtual int32_t DeclareListMask(int32_t group, int32_t index, const char* name, const char* min,
                                  const char* max, const char* def, int32_t visibility) = 0;
  // Slot 19: a mosaic style picked from a list, held as an int.
  virtual int32_t DeclareListMosaic(int32_t group, int32_t index, const char* name, int32_t min,
                                    int32_t max, int32_t def, int32_t visibility) = 0;
  // Slots 20 and 21: the first and last colour of a gradient, packed as ints.
  virtual int32_t DeclareColorStart(int32_t group, int32_t index, const char* name, int32_t min,
                                    int32_t max, int32_t def, int32_t visibility) = 0;
  virtual int32_t DeclareColorEnd(int32_t group, int32_t index, const char* name, int32_t min,
                                  int32_t max, int32_t def, int32_t visibility) = 0;
  // Slot 22: a float shown to the user multiplied by 100 (a percentage).
  virtual int32_t DeclareMult100Float(int32_t group, int32_t index, const char* name, float min,
                                      float max, float def, int32_t visibility) = 0;

 protected:
  ~KAZEffectRegistrar() = default;
};

// A host value, as the context answers parameter queries. The host owns `text`.
struct KAZHostValue {
  enum Kind : int32_t {
    kInt32 = 3,    // i32
    kInt64 = 4,    // i64; not used by this plug-in's effects
    kFloat = 5,    // f32
    kDouble = 6,   // f64
    kBool = 7,     // b
    kString = 8,   // text, NUL-terminated
    kPointer = 9,  // ptr, an object the host lends for the frame
  };
  int32_t kind = 0;
  union {
    int32_t i32;
    int64_t i64;
    float f32;
    double f64;
    bool b;
    void* ptr;
  };
  const char* text = nullptr;
  KAZHostValue() : i64(0) {}
};

// An image the host lends for one Render call: 8-bit B, G, R, A, rows top to bottom.
class KAZImage {
 public:
  virtual int32_t Width() = 0;               // slot 0
  virtual int32_t Height() = 0;              // slot 1
  virtual int32_t Reserved2() { return 0; }  // slot 2
  virtual int32_t Stride() = 0;              // slot 3, bytes per row
  virtual unsigned char* Pixels() = 0;       // slot 4

 protected:
  ~KAZImage() = default;
};

// What the host offers an effect for one Update or Render call.
class KAZRenderContext {
 public:
  virtual int32_t CurrentTime() = 0;  // slot 0, frame number
  virtual int32_t TotalTime() = 0;    // slot 1, frames
  virtual int32_t Reserved2() { return 0; }
  virtual int32_t Reserved3() { return 0; }
  virtual int32_t Reserved4() { return 0; }
  // Slot 5: frames per second as numerator / denominator.
  virtual int32_t FrameRate(int64_t* numerator, int64_t* denominator) = 0;
  virtual int32_t Reserved6() { return 0; }
  virtual int32_t Reserved7() { return 0; }
  virtual int32_t Reserved8() { return 0; }
  virtual int32_t Reserved9() { return 0; }
  // Slot 10: index 0 is the image Render writes (the destination); index 1 an optional
  // auxiliary image of the frame's size that effects computing a person mask fill (null when
  // the host has none).
  virtual KAZImage* Image(int32_t index) = 0;
  virtual int32_t Reserved11() { return 0; }
  virtual int32_t Reserved12() { return 0; }
  // Slot 13: during Render, the value of a named parameter, asked with the kind wanted. Render
  // asks for "ObjectAiDataTransferPtr" (kPointer): an analysis result object handed to the effect.
  // Returns 0 when the host has it.
  virtual int32_t RenderParamValue(const char* name, int32_t kind, KAZHostValue* value) = 0;
  // Slot 14: the source frame of the same size as the destination.
  virtual KAZImage* SourceImage() = 0;
  virtual int32_t Reserved15() { return 0; }
  virtual int32_t Reserved16() { return 0; }
  virtual int32_t Reserved17() { return 0; }
  // Slot 18: during Update, the value of the effect parameter `name` (as declared at
  // registration), asked with the host kind matching its declaration: float 5, double 6, int 3,
  // text 8, bool 7, pointer 9. Returns 0 when the host has a value.
  virtual int32_t ParamValue(const char* name, int32_t kind, KAZHostValue* value) = 0;

 protected:
  ~KAZRenderContext() = default;
};

// A framework effect made by CreateKAZEffect. The host calls Update then Render per frame.
class KAZEffect {
 public:
  virtual ~KAZEffect() = default;                         // slot 0; destroy with ReleaseKAZEffect
  virtual int32_t Reserved1() { return 0; }               // slot 1
  virtual int32_t Reserved2() { return 0; }               // slot 2
  virtual int32_t Update(KAZRenderContext* context) = 0;  // slot 3: time, rate, parameters
  virtual int32_t Render(KAZRenderContext* context) = 0;  // slot 4: source -> destination
  virtual int32_t Reserved5() { return 0; }               // slot 5
  virtual int32_t Reserved6() { return 0; }               // slot 6
  virtual int32_t Reserved7() { return 0; }               // slot 7
  virtual int32_t Reserved8() { return 0; }               // slot 8
  virtual int32_t Reserved9() { return 0; }               // slot 9
};

extern "C" {

// Acquires the three suites, scans <resources>/kaz_effect/plugin/AiEffect for effect
// descriptions and fills `info`. Returns 0.
KAZ_EXPORT int32_t StartupKAZ(KAZHost* host, KAZPluginInfo* info);
// Declares effect `index` (0 .. effectCount - 1) and its parameters to `registrar`. 2 when the
// effect has no filter class in this plug-in.
KAZ_EXPORT int32_t RegisterKAZEffect(int32_t index, KAZEffectRegistrar* registrar);
// Scans `path` and declares the first effect found there.
KAZ_EXPORT int32_t RegisterKAZEffectFromConfPath(const char* path, KAZEffectRegistrar* registrar);
// Makes an effect for a registered GUID; `mode` must be 0. The host owns *effect until
// ReleaseKAZEffect.
KAZ_EXPORT int32_t CreateKAZEffect(const char* guid, int32_t mode, KAZEffect** effect);
// Destroys an effect made by CreateKAZEffect; anything else is ignored. Returns 0.
KAZ_EXPORT int32_t ReleaseKAZEffect(KAZEffect* effect);
// Releases the AI models the effects loaded. Returns 0.
KAZ_EXPORT int32_t ShutdownKAZ();
}
