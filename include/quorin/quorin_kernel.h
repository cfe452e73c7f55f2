/* SPDX-License-Identifier: MIT */
/* The AI runtime's kernel: frames over pixel memory and the default device.
 * The plug-in binds these entry points by name at run time (library "quorin_kernel.dll",
 * "libquorin_kernel.so" on Linux); it never links the runtime. All functions return 0 on
 * success unless they return a pointer, which is null on failure. Every function may be
 * called from any thread. */
#ifndef QUORIN_KERNEL_H
#define QUORIN_KERNEL_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define QUORIN_API __declspec(dllexport)
#else
#define QUORIN_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

enum {
  QUORIN_FORMAT_GRAY8_AUX = 1, /* 8-bit one channel, auxiliary input */
  QUORIN_FORMAT_GRAY8 = 2,     /* 8-bit one channel (masks) */
  QUORIN_FORMAT_BGRA8 = 4      /* 8-bit four channels, B G R A */
};

enum { QUORIN_FRAME_OWNS_PIXELS = 1 };

/* Byte offsets are part of the contract: modules that return their own frame are read at
 * width 12, height 16, planes 72 and strides 136. */
typedef struct QuorinFrame {
  int32_t format;        /*   0: a QUORIN_FORMAT_* code */
  int32_t flags;         /*   4: QUORIN_FRAME_OWNS_PIXELS when the kernel owns the pixels */
  int32_t planeCount;    /*   8 */
  int32_t width;         /*  12 */
  int32_t height;        /*  16 */
  int32_t reserved0[13]; /*  20 */
  uint8_t* planes[3];    /*  72 */
  uint8_t reserved1[40]; /*  96 */
  int32_t strides[3];    /* 136: bytes per row; 0 means width bytes */
} QuorinFrame;

typedef struct QuorinModuleConfig {
  int32_t deviceType; /* from QuorinDefaultDeviceTypeGet */
  int32_t reserved;   /* always 0 */
  int32_t threads;    /* always 4 */
} QuorinModuleConfig;

/* A frame whose pixels the kernel allocates and owns (rows of width x bytes-per-pixel). */
QUORIN_API QuorinFrame* QuorinVideoFrameAlloc(int32_t format, int32_t width, int32_t height);
/* A frame over the caller's pixels: never copied, never owned, never freed by the kernel.
 * Only planes[0] and strides[0] are used for the formats above; both reserved arguments are 0. */
QUORIN_API QuorinFrame* QuorinVideoFrameMake(uint8_t* const planes[3], int32_t format,
                                             int32_t reserved0, int32_t width, int32_t height,
                                             const int32_t strides[3], int32_t reserved1);
/* A frame over an OpenGL texture; runtimes without OpenGL answer null. */
QUORIN_API QuorinFrame* QuorinVideoOpenGLFrameMake(uint32_t texture, int32_t format, int32_t width,
                                                   int32_t height);
/* Frees a frame made or allocated by the kernel (and its pixels when it owns them); null is
 * accepted. */
QUORIN_API void QuorinFrameFree(QuorinFrame* frame);
/* The device code to pass in QuorinModuleConfig. */
QUORIN_API int32_t QuorinDefaultDeviceTypeGet(void);

#ifdef __cplusplus
}
#endif

#ifdef __cplusplus
static_assert(offsetof(QuorinFrame, width) == 12, "frame layout");
static_assert(offsetof(QuorinFrame, height) == 16, "frame layout");
static_assert(offsetof(QuorinFrame, planes) == 72, "frame layout");
static_assert(offsetof(QuorinFrame, strides) == 136, "frame layout");
#else
_Static_assert(offsetof(QuorinFrame, width) == 12, "frame layout");
_Static_assert(offsetof(QuorinFrame, height) == 16, "frame layout");
_Static_assert(offsetof(QuorinFrame, planes) == 72, "frame layout");
_Static_assert(offsetof(QuorinFrame, strides) == 136, "frame layout");
#endif

#endif /* QUORIN_KERNEL_H */
