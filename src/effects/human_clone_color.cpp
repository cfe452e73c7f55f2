// SPDX-License-Identifier: MIT
// Four tinted clones swing out to both sides of the person and back, two far and two near.
#include "effects/effect_support.h"
#include "effects/human_clone.h"
#include "framework/registry.h"
#include "imaging/person_invokers.h"

class NLEHumanCloneColorEffect : public NLEHumanCloneSwing {
 public:
  explicit NLEHumanCloneColorEffect(vorta::FilterInfoPtr info)
      : NLEHumanCloneSwing(std::move(info)) {}

 protected:
  void Compose(const cv::Mat& src, const cv::Mat& person, const cv::Mat& dst, float t) override {
    // Off at and before the clip's start, deliberately: the frame passes through.
    if (!(t > 0.0f)) {
      vorta::PassThrough(src, dst);
      return;
    }
    int farOffset, nearOffset;
    Offsets(t, src.cols, &farOffset, &nearOffset);
    imageC::parallelHumanCloneColor clones(dst, src, person, farOffset, nearOffset, FarAlpha(),
                                           NearAlpha());
    cv::parallel_for_(cv::Range(0, imageC::kPersonBands), clones, cv::getNumThreads());
  }
};

KAZ_EFFECT_MAKER(NLEHumanCloneColorEffect)
