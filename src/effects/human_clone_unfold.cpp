// SPDX-License-Identifier: MIT
// Four untinted clones unfold from behind the person to both sides and fold back.
#include "effects/human_clone.h"
#include "framework/registry.h"
#include "imaging/person_invokers.h"

class NLEHumanCloneUnfoldEffect : public NLEHumanCloneSwing {
 public:
  explicit NLEHumanCloneUnfoldEffect(vorta::FilterInfoPtr info)
      : NLEHumanCloneSwing(std::move(info)) {}

 protected:
  void Compose(const cv::Mat& src, const cv::Mat& person, const cv::Mat& dst, float t) override {
    int farOffset, nearOffset;
    Offsets(t, src.cols, &farOffset, &nearOffset);
    imageC::parallelHumanClone clones(dst, src, person, farOffset, nearOffset, FarAlpha(),
                                      NearAlpha());
    cv::parallel_for_(cv::Range(0, imageC::kPersonBands), clones, cv::getNumThreads());
  }
};

KAZ_EFFECT_MAKER(NLEHumanCloneUnfoldEffect)
