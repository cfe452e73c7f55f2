// SPDX-License-Identifier: MIT
// Face info: finds the faces of each frame and publishes boxes, 106 points with visibility and
// the head values. The picture is handed back unchanged.
#include <opencv2/imgproc.hpp>

#include "ai/ai_results.h"
#include "ai/landmark_modules.h"
#include "effects/analysis_support.h"
#include "effects/effect_support.h"
#include "framework/registry.h"

class CHumanFaceInfoDetect : public vorta::AnalysisEffect {
 public:
  using AnalysisEffect::AnalysisEffect;

  // 0 when faces were found; 1 otherwise, the destination then holding the source as well.
  int32_t Transform(unsigned char* dst, int32_t, int32_t, int32_t dstStride, unsigned char*,
                    int32_t, int32_t, int32_t, const unsigned char* src, int32_t width,
                    int32_t height, int32_t srcStride) override {
    if (src == nullptr || dst == nullptr) return 1;
    const vorta::FrameImages frame =
        vorta::WrapFrame(src, width, height, srcStride, dst, dstStride, 4);
    vorta::PassThrough(frame.source, frame.destination);
    // Large frames are searched at 0.4 of their size: faces there are big enough, and the
    // detector's cost grows with the area. Points are fractions of the frame either way.
    cv::Mat image = frame.source;
    if (width >= 1920 || height >= 1080) {
      cv::resize(frame.source, image, cv::Size(), 0.4, 0.4, cv::INTER_LINEAR);
    }
    held_.reset();
    if (!module_) {
      module_ = vorta::SharedModule<QuorinHumanFaceInfo>(paths_, "face_landmarks_v2",
                                                         "CHumanFaceInfoDetect");
    }
    const bool found = module_ && module_->Process(image, held_);
    if (found) Push();
    return found ? 0 : 1;
  }

 private:
  void Push() const {
    KAZAiDataReceiver* receiver = vorta::LentReceiver(*this);
    if (receiver == nullptr || !held_) return;
    const std::vector<unsigned char> blob =
        AIDATA::FlattenFaces(static_cast<const AIDATA::HumanFaceInfoMultiDatas&>(*held_));
    receiver->ReceiveFaceData(blob.data(), static_cast<uint32_t>(blob.size()));
  }

  std::shared_ptr<QuorinHumanFaceInfo> module_;
};

KAZ_EFFECT_MAKER(CHumanFaceInfoDetect)
