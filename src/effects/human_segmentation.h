// SPDX-License-Identifier: MIT
// The person cut-out effects. CHumanSegmentation runs the whole pipeline (mask from the module,
// refinement by thickness and feather, composite); the other members change the model, the
// parameters they read and how the mask meets the picture.
#pragma once

#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "effects/person_mask.h"
#include "framework/effect_filter.h"

// The person with pre-multiplied alpha (mask 0: transparent black), or the mask alone into a
// one-channel destination. Optionally hands the grey mask to the host's receiver.
class CHumanSegmentation : public vorta::NLEAIEffectFilter {
 public:
  explicit CHumanSegmentation(vorta::FilterInfoPtr info);
  ~CHumanSegmentation() override;

  int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
                    const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                    int32_t srcStride) override;
  // Source four channels; destination four or one.
  int32_t TransformChannels(unsigned char* dst, int32_t dstWidth, int32_t dstHeight,
                            int32_t dstStride, unsigned char* aux, int32_t auxWidth,
                            int32_t auxHeight, int32_t auxStride, const unsigned char* src,
                            int32_t srcWidth, int32_t srcHeight, int32_t srcStride,
                            int32_t dstChannels, int32_t auxChannels, int32_t srcChannels) override;

 protected:
  // `sharedBy`: the class whose filters share one model; empty for a model of this filter's own.
  CHumanSegmentation(vorta::FilterInfoPtr info, int32_t variant, const char* sharedBy);

  // Reads this member's parameters for the frame; absent ones keep their values.
  virtual void ReadParameters();
  // Writes the four-channel result from the source and the refined mask.
  virtual void ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst);
  // Writes the one-channel result.
  virtual void ComposeOneChannel(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst);
  // Reads "Edge Thickness" and "Edge Feather" (then their underscore spellings when asked).
  void ReadEdges(bool underscoreToo);
  // Reads "need gray Image": true when above 0.
  void ReadNeedGray();
  // Sends the grey mask to the receiver lent under "ObjectAiDataTransferPtr", when asked to.
  void SendGrayImage(const cv::Mat& mask, int32_t stride) const;

  float thickness_ = 0.0f;
  float feather_ = 0.0f;
  bool needGray_ = false;
  // Whether a four-channel frame hands the grey mask to the receiver when "need gray Image" asks.
  bool sendsGray_ = true;

 private:
  vorta::PersonMask person_;
};

// Uses the effect model; its edge is fixed by the description's "Edge Thickness" and
// "Edge Feather" defaults when the filter is made.
class CHumanSegmentationEffect : public CHumanSegmentation {
 public:
  explicit CHumanSegmentationEffect(vorta::FilterInfoPtr info);

 protected:
  void ReadParameters() override;
};

// Uses the hair model, which keeps fine strands; reads the spaced parameter names only.
class CHumanSegmentationHair : public CHumanSegmentation {
 public:
  explicit CHumanSegmentationHair(vorta::FilterInfoPtr info);

 protected:
  void ReadParameters() override;
};

// The high-accuracy mask limited by the source's own alpha: the mask alone into a one-channel
// destination, or the source with that mask as straight alpha into a four-channel one. Its edge
// is fixed when the filter is made, as for CHumanSegmentationEffect.
class CHumanSegmentationHighAccMask : public CHumanSegmentation {
 public:
  explicit CHumanSegmentationHighAccMask(vorta::FilterInfoPtr info);

 protected:
  void ReadParameters() override;
  void ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) override;
  void ComposeOneChannel(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) override;
};

// The person laid over opaque white, as for an identity photo. Made from its GUID it runs the
// capture model; effects that run it inside may choose another variant.
class CHumanSegmentationCapture : public CHumanSegmentation {
 public:
  explicit CHumanSegmentationCapture(vorta::FilterInfoPtr info,
                                     int32_t variant = vorta::kSegCapture);

 protected:
  void ReadParameters() override;
  void ComposeFourChannels(const cv::Mat& src, const cv::Mat& mask, const cv::Mat& dst) override;
};
