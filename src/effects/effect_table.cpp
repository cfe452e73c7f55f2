// SPDX-License-Identifier: MIT
// The effect classes of the plug-in, one line each: GUID (upper case, compared exactly, in this
// order) and class. Each class's source file defines its maker with KAZ_EFFECT_MAKER.
#include "framework/registry.h"

#define KAZ_EFFECTS(X)                                                     \
  X("974A1C95-921E-4D28-89D5-23B7B249589A", CHumanSegmentation)            \
  X("2193B116-1AD4-49F4-84A1-FFA3CB983A94", CHumanSegmentationEffect)      \
  X("D4BFB781-5506-494C-B9AB-738D79814B60", CHumanSegmentationHighAccMask) \
  X("EE6BC05B-DD9B-4154-9E03-00740D1CA060", CHumanSegmentationHair)        \
  X("7208B311-D2F9-456D-B556-CFA222B130B7", CHumanSegmentationCapture)     \
  X("391B5862-8487-4DC1-834F-AAC9773E87B6", NLEHumanBorderEffect)          \
  X("287AE196-B470-469A-A501-FF3CF6FA6014", NLEHumanCloneUnfoldEffect)     \
  X("7BA41F8B-598C-40FF-B8AB-E4234F2D3D1C", NLEHumanCloneWingLeftEffect)   \
  X("DD7311D4-C0F8-4B39-BDBD-5F93109ACA5C", NLEHumanCloneWingRightEffect)  \
  X("5AB0767D-6728-4E27-AEC4-82F33B3768B7", NLEHumanCloneColorEffect)      \
  X("02E5BBF3-8C49-4392-9B0F-5B72E56FC762", CHumanHuamnPoseEstimation)     \
  X("AD36FDCA-6B5E-4399-8625-DE97EBF12E41", CHumanFaceInfoDetect)          \
  X("496B0B93-9A49-4280-BB77-E939E2D51139", CHumanSegmentationBackChange)  \
  X("1AEA14C6-59BC-491F-A1D1-EB02009706B7", CHumanSegmentationCaptureBlur) \
  X("3092F414-FEBF-4389-BEDE-7DB1C98B9734", NLEHumanSegSequenceFrame)

#define KAZ_DECLARE_MAKER(guid, Class) vorta::NLEEffectFilter* Make##Class(vorta::FilterInfoPtr);
KAZ_EFFECTS(KAZ_DECLARE_MAKER)

namespace vorta {

const std::vector<FilterClassRow>& FilterClassTable() {
#define KAZ_ROW(guid, Class) {guid, &Make##Class},
  static const std::vector<FilterClassRow> table = {KAZ_EFFECTS(KAZ_ROW)};
#undef KAZ_ROW
  return table;
}

}  // namespace vorta
