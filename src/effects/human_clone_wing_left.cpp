// SPDX-License-Identifier: MIT
// Copies of the person fanned out to the left like a wing, beating with the clip's time.
#include "effects/human_clone.h"
#include "framework/registry.h"
#include "imaging/person_invokers.h"

class NLEHumanCloneWingLeftEffect : public NLEHumanCloneWing {
 public:
  explicit NLEHumanCloneWingLeftEffect(vorta::FilterInfoPtr info)
      : NLEHumanCloneWing(std::move(info)) {}

 protected:
  void Compose(const cv::Mat& src, const cv::Mat& person, const cv::Mat& dst, float t) override {
    imageC::parallelHumanCloneWingLeft wing(dst, src, person, t, Beat(), dist_);
    cv::parallel_for_(cv::Range(0, imageC::kPersonBands), wing, cv::getNumThreads());
  }
};

KAZ_EFFECT_MAKER(NLEHumanCloneWingLeftEffect)
