// SPDX-License-Identifier: MIT
// Pose estimation: finds the body points of the people in each frame and publishes them, also
// when nobody is there. The picture is handed back unchanged.
#include "ai/ai_results.h"
#include "ai/landmark_modules.h"
#include "effects/analysis_support.h"
#include "effects/effect_support.h"
#include "framework/registry.h"

// The class name keeps the spelling hosts already know.
class CHumanHuamnPoseEstimation : public vorta::AnalysisEffect {
 public:
  using AnalysisEffect::AnalysisEffect;

  // 0 with a result; 1 without a module (the destination left as given) or when the module's
  // output could not be read (the destination then holds the source).
  int32_t Transform(unsigned char* dst, int32_t, int32_t, int32_t dstStride, unsigned char*,
                    int32_t, int32_t, int32_t, const unsigned char* src, int32_t width,
                    int32_t height, int32_t srcStride) override {
    if (src == nullptr || dst == nullptr) return 1;
    const vorta::FrameImages frame =
        vorta::WrapFrame(src, width, height, srcStride, dst, dstStride, 4);
    if (!module_) {
      module_ = vorta::SharedModule<QuorinHumanPose>(paths_, "human_landmarks",
                                                     "CHumanHuamnPoseEstimation");
    }
    if (!module_) return 1;
    // Tracking across a size change would follow people who are not there; the first frame
    // always resets, since the remembered size starts at zero.
    if (width != lastWidth_ || height != lastHeight_) {
      module_->StatusReset();
      lastWidth_ = width;
      lastHeight_ = height;
    }
    held_.reset();
    if (module_->Process(frame.source, held_)) Push();
    vorta::PassThrough(frame.source, frame.destination);
    return held_ ? 0 : 1;
  }

 private:
  void Push() const {
    KAZAiDataReceiver* receiver = vorta::LentReceiver(*this);
    if (receiver == nullptr || !held_) return;
    const std::vector<unsigned char> blob =
        AIDATA::FlattenPoses(static_cast<const AIDATA::HumanPoseDatas&>(*held_));
    // Nobody found: zero bytes, pushed all the same.
    receiver->ReceivePoseData(blob.empty() ? nullptr : blob.data(),
                              static_cast<uint32_t>(blob.size()));
  }

  std::shared_ptr<QuorinHumanPose> module_;
  int32_t lastWidth_ = 0;
  int32_t lastHeight_ = 0;
};

KAZ_EFFECT_MAKER(CHumanHuamnPoseEstimation)
