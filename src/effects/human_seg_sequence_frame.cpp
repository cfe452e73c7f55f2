// SPDX-License-Identifier: MIT
// Picture sequences stacked around the person: foreground on top, then the person, a middle
// ground, and a background at the bottom, each sequence a folder of PNG files played in a loop.
#include <algorithm>
#include <cmath>
#include <string>

#include "effects/effect_support.h"
#include "effects/person_mask.h"
#include "effects/picture_layers.h"
#include "framework/registry.h"
#include "imaging/blend.h"

namespace {

// A group's placement as its parameters give it: scales in percent, alpha 0..100.
struct Group {
  vorta::LayerTransform t{0.0, 0.0, 100.0, 100.0, 0.0};
  int32_t alpha = 100;
};

// Alpha percentages outside 0..100 saturate rather than wrap.
int32_t Percent(int32_t alpha) { return std::clamp(alpha, 0, 100); }

const imageC::LayerPlacement kWholeCanvas{0.0, 0.0, 1.0, 1.0, 0.0, 0.0, 1.0, 1.0};

}  // namespace

class NLEHumanSegSequenceFrame : public vorta::NLEAIEffectFilter {
 public:
  explicit NLEHumanSegSequenceFrame(vorta::FilterInfoPtr info)
      : NLEAIEffectFilter(info),
        person_(info.get(), vorta::kSegHighAccuracy, "NLEHumanSegSequenceFrame"),
        resourceDir_(info ? info->ResourceDir() : std::string()) {}

  int32_t Transform(unsigned char* dst, int32_t dstWidth, int32_t dstHeight, int32_t dstStride,
                    unsigned char* aux, int32_t auxWidth, int32_t auxHeight, int32_t auxStride,
                    const unsigned char* src, int32_t srcWidth, int32_t srcHeight,
                    int32_t srcStride) override;

 private:
  void ReadGroup(const char* prefix, Group& g);
  void ReadParameters();
  // `layer` placed on a canvas of its size: the layer itself at the identity placement (the
  // same bytes as drawing it) when `shareable`, else `buffer` cleared and drawn into.
  static cv::Mat Placed(const cv::Mat& layer, const vorta::LayerTransform& t, cv::Mat& buffer,
                        bool shareable);
  // The frame of a sequence for this frame, or an empty image for an empty path.
  cv::Mat Sequence(const std::string& path, cv::Size canvas) const;

  Group human_, middle_, fore_;
  std::string middlePath_, forePath_, backPath_;
  vorta::PersonMask person_;
  std::string resourceDir_;
  cv::Mat cutOut_, P_, M_, F_;  // kept: reused on every frame
};

void NLEHumanSegSequenceFrame::ReadGroup(const char* prefix, Group& g) {
  const std::string p = prefix;
  vorta::ReadNumber(*this, p + "_Position_x", false, vorta::kKindDouble, g.t.x);
  vorta::ReadNumber(*this, p + "_Position_y", false, vorta::kKindDouble, g.t.y);
  vorta::ReadNumber(*this, p + "_Scale_x", false, vorta::kKindDouble, g.t.scaleX);
  vorta::ReadNumber(*this, p + "_Scale_y", false, vorta::kKindDouble, g.t.scaleY);
  vorta::ReadNumber(*this, p + "_Rotation", false, vorta::kKindDouble, g.t.rotation);
  vorta::ReadNumber(*this, p + "_Alpha", false, vorta::kKindInt, g.alpha);
  // Deliberately in place on every frame: a scale the host does not send again shrinks again.
  g.t.scaleX *= 0.01;
  g.t.scaleY *= 0.01;
}

void NLEHumanSegSequenceFrame::ReadParameters() {
  ReadGroup("Human", human_);
  ReadGroup("AG", middle_);
  ReadGroup("FG", fore_);
  vorta::ReadText(*this, "AG_ImagePath", middlePath_);
  vorta::ReadText(*this, "FG_ImagePath", forePath_);
  vorta::ReadText(*this, "BG_ImagePath", backPath_);
}

cv::Mat NLEHumanSegSequenceFrame::Sequence(const std::string& path, cv::Size canvas) const {
  if (path.empty()) return cv::Mat();
  return vorta::PictureSequences::Instance().Frame(vorta::ResourcePath(resourceDir_, path),
                                                   CurrentTime(), canvas);
}

cv::Mat NLEHumanSegSequenceFrame::Placed(const cv::Mat& layer, const vorta::LayerTransform& t,
                                         cv::Mat& buffer, bool shareable) {
  const bool identity =
      t.x == 0 && t.y == 0 && t.scaleX == 1 && t.scaleY == 1 && std::fabs(t.rotation) < 1e-6;
  if (identity && shareable) return layer;
  if (identity) {
    layer.copyTo(buffer);
    return buffer;
  }
  buffer.create(layer.size(), CV_8UC4);
  buffer.setTo(cv::Scalar::all(0));
  vorta::DrawLayer(layer, t, buffer);
  return buffer;
}

int32_t NLEHumanSegSequenceFrame::Transform(unsigned char* dst, int32_t, int32_t, int32_t dstStride,
                                            unsigned char*, int32_t, int32_t, int32_t,
                                            const unsigned char* src, int32_t srcWidth,
                                            int32_t srcHeight, int32_t srcStride) {
  if (src == nullptr || dst == nullptr) return 1;
  ReadParameters();
  const vorta::FrameImages frame =
      vorta::WrapFrame(src, srcWidth, srcHeight, srcStride, dst, dstStride, 4);
  const cv::Size canvas = frame.source.size();
  // Without a model nothing is drawn: the frame is refused and the destination left as given.
  if (!person_.Acquire()) return 1;
  cv::Mat mask;
  if (!person_.Run(frame.source, vorta::EdgeSizes{0, 1, 1}, mask, &frame.destination)) return 0;

  // The person with pre-multiplied alpha, as the stacking below expects. The canvases are kept
  // from frame to frame: fresh 8 MB buffers would page-fault on every 1080p frame.
  cutOut_.create(canvas, CV_8UC4);
  imageC::maskBlend(frame.source, mask, cutOut_);
  const cv::Mat middle = Sequence(middlePath_, canvas), fore = Sequence(forePath_, canvas);
  // Without a background sequence the frame itself is the background.
  const cv::Mat back = Sequence(backPath_, canvas);

  cv::Mat P = Placed(cutOut_, human_.t, P_, true);
  cv::Mat M = middle.empty() ? cv::Mat() : Placed(middle, middle_.t, M_, false);
  if (M.empty()) {
    M_.create(canvas, CV_8UC4);
    M_.setTo(cv::Scalar::all(0));
    M = M_;
  }
  const cv::Mat F = fore.empty() ? cv::Mat() : Placed(fore, fore_.t, F_, true);

  for (const auto& [layer, alpha] : {std::pair{&P, human_.alpha}, {&M, middle_.alpha}}) {
    // In single precision, so 50 gives 127 and 60 gives 152.
    const int32_t strength =
        static_cast<int32_t>(static_cast<float>(Percent(alpha)) * 0.01f * 255.0f);
    if (strength < 255) imageC::blendSolidColor(*layer, 0, imageC::Normal, strength, true, 8);
  }
  // The foreground's alpha is an opacity of the stacking, not a fade of its own; taken as a
  // double then a float, so 60 is 0.6f and gives strength 153.
  const float foreOpacity = static_cast<float>(Percent(fore_.alpha) * 0.01);
  // A cleared foreground would change nothing: every pixel has alpha 0.
  if (!F.empty())
    imageC::blendLayer(F, P, P, &kWholeCanvas, imageC::Normal, foreOpacity, true, false, 0);
  imageC::blendLayer(P, M, M, &kWholeCanvas, imageC::Normal, 1.0f, true, false, 0);
  // The stack lands straight in the destination; the source is no longer read.
  if (!back.empty()) {
    back.copyTo(frame.destination);
  } else {
    vorta::PassThrough(frame.source, frame.destination);  // may be the same buffer
  }
  imageC::blendLayer(M, frame.destination, frame.destination, &kWholeCanvas, imageC::Normal, 1.0f,
                     true, false, 0);
  return 0;
}

KAZ_EFFECT_MAKER(NLEHumanSegSequenceFrame)
