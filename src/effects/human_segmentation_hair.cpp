// SPDX-License-Identifier: MIT
#include "effects/human_segmentation.h"

CHumanSegmentationHair::CHumanSegmentationHair(vorta::FilterInfoPtr info)
    : CHumanSegmentation(std::move(info), kSegHair, vorta::SharedAiSlot::kHumanSegmentationHair) {}

void CHumanSegmentationHair::ReadParameters() {
  ReadEdges(false);
  ReadNeedGray();
}
