// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include "framework/effect_filter.h"

class QuorinHumanSeg;

// Keeps the person sharp and blurs everything behind them: the whole frame is blurred, then the
// person, cut out with the high-accuracy model and refined, is laid back over it.
class CHumanSegmentationCaptureBlur : public vorta::NLEAIEffectFilter {
 public:
  explicit CHumanSegmentationCaptureBlur(vorta::FilterInfoPtr info);
  ~CHumanSegmentationCaptureBlur() override;

  int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
                    const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                    int32_t srcStride) override;

 private:
  double thickness_ = 0.0;
  double feather_ = 0.0;
  int32_t backBlur_ = 0;
  std::unique_ptr<QuorinHumanSeg> segmenter_;
  std::string resourceDir_;
  std::string cloudResourceDir_;
  std::string modelDir_;
};
