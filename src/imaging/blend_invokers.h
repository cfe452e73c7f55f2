// SPDX-License-Identifier: MIT
#pragma once

// The band-parallel bodies behind the blend entries. Each is run by cv::parallel_for_ over band
// indices [0, bandCount) and writes only the rows of its own bands (see bandRows). They trust
// their arguments: 8UC4 images of one size (mask 8UC1), bandCount >= 1, plane 0..19. Use the
// checked entries of blend.h unless those have already been checked.

#include <cstdint>

#include <opencv2/core.hpp>

#include "imaging/blend_rows.h"
#include "imaging/blend_tables.h"

namespace imageC {

// A packed 0xc3c2c1c0 colour in image channel order, plain and premultiplied by its alpha.
struct SolidColor {
  explicit SolidColor(uint32_t packed);
  uint8_t c0, c1, c2, c3;
  uint8_t p0, p1, p2;  // mul(c_i, c3)
  uint8_t colour[4];   // (c2, c1, c0, c3): what image channels 0..3 take
  uint8_t premul[4];   // (p2, p1, p0, c3)
};

class parallelBlendNormalRRStrenAlphaInvoker : public cv::ParallelLoopBody {
 public:
  parallelBlendNormalRRStrenAlphaInvoker(const cv::Mat& dst, const cv::Mat& layer,
                                         uint32_t strength, int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& layer_;
  uint8_t strength_;
  int bandCount_;
};

class parallelBlendNormalRRPreAlphaInvoker : public cv::ParallelLoopBody {
 public:
  parallelBlendNormalRRPreAlphaInvoker(const cv::Mat& dst, const cv::Mat& layer, uint32_t strength,
                                       int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& layer_;
  uint8_t strength_;
  int bandCount_;
};

class parallelBlendAdobeInvoker : public cv::ParallelLoopBody {
 public:
  parallelBlendAdobeInvoker(const cv::Mat& dst, const cv::Mat& layer, uint32_t strength, int plane,
                            int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& layer_;
  uint8_t strength_;
  rows::Plane plane_;
  int bandCount_;
};

class parallelBlendNormalSolidColorRRStrenAlphaInvoker : public cv::ParallelLoopBody {
 public:
  parallelBlendNormalSolidColorRRStrenAlphaInvoker(const cv::Mat& image, uint32_t packedColor,
                                                   uint32_t strength, int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& image_;
  SolidColor color_;
  uint8_t strength_;
  int bandCount_;
};

class parallelBlendNormalSolidColorRRPreAlphaInvoker : public cv::ParallelLoopBody {
 public:
  parallelBlendNormalSolidColorRRPreAlphaInvoker(const cv::Mat& image, uint32_t packedColor,
                                                 uint32_t strength, int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& image_;
  SolidColor color_;
  uint8_t strength_;
  int bandCount_;
};

class parallelBlendAdobeSolidColorInvoker : public cv::ParallelLoopBody {
 public:
  parallelBlendAdobeSolidColorInvoker(const cv::Mat& image, uint32_t strength, int plane,
                                      int bandCount, uint32_t packedColor);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& image_;
  uint8_t strength_;
  rows::Plane plane_;
  int bandCount_;
  SolidColor color_;
};

class parallelHollowinInvoker : public cv::ParallelLoopBody {
 public:
  parallelHollowinInvoker(const cv::Mat& dst, const cv::Mat& layer, int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& layer_;
  int bandCount_;
};

class parallelHollowOutInvoker : public cv::ParallelLoopBody {
 public:
  parallelHollowOutInvoker(const cv::Mat& dst, const cv::Mat& layer, int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& layer_;
  int bandCount_;
};

class parallelTextBgHollowInInvoker : public cv::ParallelLoopBody {
 public:
  parallelTextBgHollowInInvoker(const cv::Mat& dst, const cv::Mat& layer, int bandCount);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& layer_;
  int bandCount_;
};

class parallelHollowinSolidColorInvoker : public cv::ParallelLoopBody {
 public:
  parallelHollowinSolidColorInvoker(const cv::Mat& image, int bandCount, uint32_t packedColor);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& image_;
  int bandCount_;
  SolidColor color_;
};

class parallelHollowOutSolidColorInvoker : public cv::ParallelLoopBody {
 public:
  parallelHollowOutSolidColorInvoker(const cv::Mat& image, int bandCount, uint32_t packedColor);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& image_;
  int bandCount_;
  SolidColor color_;
};

class parallelTextBgHollowInSolidColorInvoker : public cv::ParallelLoopBody {
 public:
  parallelTextBgHollowInSolidColorInvoker(const cv::Mat& image, int bandCount,
                                          uint32_t packedColor);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& image_;
  int bandCount_;
  SolidColor color_;
};

// dst = src scaled by mask/255, in 8 bands (the last one also takes rows % 8).
class parallelMaskBlendInvoker : public cv::ParallelLoopBody {
 public:
  static constexpr int kBands = 8;
  parallelMaskBlendInvoker(const cv::Mat& dst, const cv::Mat& src, const cv::Mat& mask);
  void operator()(const cv::Range& bands) const override;

 private:
  const cv::Mat& dst_;
  const cv::Mat& src_;
  const cv::Mat& mask_;
};

}  // namespace imageC
