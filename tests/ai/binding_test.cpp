// SPDX-License-Identifier: MIT
// Every runtime binding against the doubles, in the layout of this process (KAZ_LAYOUT):
// 0 everything present, 1 the fault doubles, 2 no kernel (see CMakeLists.txt).
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>
#include <vector>

#include "ai/fade_film.h"
#include "ai/frame_modules.h"
#include "ai/human_seg.h"
#include "ai/module_symbols.h"
#include "ai/quorin_common.h"
#include "ai/wiper_seg.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;
namespace fs = std::filesystem;

namespace {

constexpr int kBound = -1, kAbsent = -2, kCreateFails = -3;  // else: index of the missing entry

struct Entry {
  const char* name;
  void* (*read)(const LibarySymbols&);
};
#define KAZ_ENTRY(T, field)                                                               \
  Entry {                                                                                 \
#field, [](const LibarySymbols&                                                       \
                   b) { return reinterpret_cast<void*>(static_cast<const T&>(b).field); } \
  }

struct ModuleRow {
  const char* file;
  std::shared_ptr<LibarySymbols> (*get)();
  std::vector<Entry> entries;  // in resolution order
  int scenario[3];             // per layout
  const char* model;           // what its wrapper's creation names; null: no wrapper
  bool (*create)();            // makes and drops a wrapper, answering whether it was created
};

void PrintTo(const ModuleRow& row, std::ostream* os) { *os << row.file; }

template <auto Get>
std::shared_ptr<LibarySymbols> Binding() {
  return Get();
}

const char kModels[] = "/m";
// The kernel's device type, or the fallback with one "API is null" line for the missing call.
const int32_t kDevice[3] = {KAZ_DOUBLE_DEVICE_TYPE, 16, 16};
const int kDeviceNulls[3] = {0, 1, 1};

using K = QuorinCommonSymbols;
using Seg = QuorinHumanSegSymbols;
using S1 = QuorinClothesSegSymbols;
using S2 = QuorinDepthEstimationSymbols;
using S3 = QuorinFadeFilmSymbols;
using S4 = QuorinHumanFaceInfoSymbols;
using S5 = QuorinHumanPoseSymbols;
using S6 = QuorinHumanSkinSegmentSymbols;
using S7 = QuorinSemanticSegmentSymbols;
using S8 = QuorinWiperSegSymbols;

const ModuleRow kRows[] = {
    {"libquorin_kernel.so",
     Binding<&GetQuorinCommonSymbols>,
     {KAZ_ENTRY(K, QuorinVideoFrameAlloc), KAZ_ENTRY(K, QuorinVideoFrameMake),
      KAZ_ENTRY(K, QuorinVideoOpenGLFrameMake), KAZ_ENTRY(K, QuorinFrameFree),
      KAZ_ENTRY(K, QuorinDefaultDeviceTypeGet)},
     {kBound, 2, kAbsent},
     nullptr,
     nullptr},
    {"libquorin_module_human_segment.so",
     Binding<&GetQuorinHumanSegSymbols>,
     {KAZ_ENTRY(Seg, QuorinHumanSegmentCreate), KAZ_ENTRY(Seg, QuorinHumanSegmentInputSizeGet),
      KAZ_ENTRY(Seg, QuorinHumanSegmentOutputSizeSet), KAZ_ENTRY(Seg, QuorinHumanSegmentProcess),
      KAZ_ENTRY(Seg, QuorinHumanSegmentDestroy)},
     {kBound, 2, kBound},
     "/m/humansegmentation_highacc/RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model",
     [] { return QuorinHumanSeg("", "", kModels, 2).Created(); }},
    {"libquorin_module_clothes_segmentation.so",
     Binding<&GetQuorinClothesSegSymbols>,
     {KAZ_ENTRY(S1, QuorinClothesSegmentationCreate),
      KAZ_ENTRY(S1, QuorinClothesSegmentationProcess),
      KAZ_ENTRY(S1, QuorinClothesSegmentationDestroy)},
     {kBound, kAbsent, kAbsent},
     "/m/clothes_segmentation/RQ_ClothesSegmentation_X86_Openivno_fp16.model",
     [] { return QuorinClothesSeg(kModels).Created(); }},
    {"libquorin_module_depth_estimate.so",
     Binding<&GetQuorinDepthEstimationSymbols>,
     {KAZ_ENTRY(S2, QuorinDepthEstimateCreate), KAZ_ENTRY(S2, QuorinDepthEstimateProcess),
      KAZ_ENTRY(S2, QuorinDepthEstimateDestroy)},
     {kBound, kCreateFails, kAbsent},
     "/m/depth_estimate/RQ_DepthEstimate_CPU_Openvino_Fp16_1.0.0.model",
     [] { return QuorinDepthEstimate(kModels).Created(); }},
    {"libquorin_module_fade_film.so",
     Binding<&GetQuorinFadeFilmSymbols>,
     {KAZ_ENTRY(S3, QuorinFadeFilmCreate), KAZ_ENTRY(S3, QuorinFadeFilmParamSet),
      KAZ_ENTRY(S3, QuorinFadeFilmProcess), KAZ_ENTRY(S3, QuorinFadeFilmDestroy)},
     {kBound, kCreateFails, kAbsent},
     "",
     [] { return QuorinFadeFilm().Created(); }},
    {"libquorin_module_pipeline_face_landmarks_v2.so",
     Binding<&GetQuorinHumanFaceInfoSymbols>,
     {KAZ_ENTRY(S4, QuorinPipelineFaceLandmarksV2Create),
      KAZ_ENTRY(S4, QuorinPipelineFaceLandmarksV2Process),
      KAZ_ENTRY(S4, QuorinPipelineFaceLandmarksV2OutputRelease),
      KAZ_ENTRY(S4, QuorinPipelineFaceLandmarksV2Destroy),
      KAZ_ENTRY(S4, QuorinPipelineFaceLandmarksV2StatusReset)},
     {kBound, 0, kAbsent},
     nullptr,
     nullptr},
    {"libquorin_module_human_landmarks.so",
     Binding<&GetQuorinHumanPoseSymbols>,
     {KAZ_ENTRY(S5, QuorinHumanLandmarksCreate), KAZ_ENTRY(S5, QuorinHumanLandmarksProcess),
      KAZ_ENTRY(S5, QuorinHumanLandmarksOutputRelease), KAZ_ENTRY(S5, QuorinHumanLandmarksDestroy),
      KAZ_ENTRY(S5, QuorinHumanLandmarksStatusReset)},
     {kBound, kAbsent, kAbsent},
     nullptr,
     nullptr},
    {"libquorin_module_human_attribute_segments.so",
     Binding<&GetQuorinHumanSkinSegmentSymbols>,
     {KAZ_ENTRY(S6, QuorinHumanAttributeSegmentsCreate),
      KAZ_ENTRY(S6, QuorinHumanAttributeSegmentsProcess),
      KAZ_ENTRY(S6, QuorinHumanAttributeSegmentsDestroy)},
     {kBound, kAbsent, kAbsent},
     "/m/human_skin_segment/RQ_HumanAttributeSegments_SkinSegment_CPU_OpenVino_FP32_v1.0.0.0.model",
     [] { return QuorinHumanSkinSegment(kModels).Created(); }},
    {"libquorin_module_semantic_segmentation.so",
     Binding<&GetQuorinSemanticSegmentSymbols>,
     {KAZ_ENTRY(S7, QuorinSemanticSegmentationCreate),
      KAZ_ENTRY(S7, QuorinSemanticSegmentationProcess),
      KAZ_ENTRY(S7, QuorinSemanticSegmentationParamSet),
      KAZ_ENTRY(S7, QuorinSemanticSegmentationDestroy)},
     {kBound, 2, kAbsent},
     "/m/semantic_segmentation/RQ_SemanticSegmentation_X86_Openvino_FP32_1.0.2.model",
     [] { return QuorinSemanticSegment(kModels).Created(); }},
    {"libquorin_module_wiper.so",
     Binding<&GetQuorinWiperSegSymbols>,
     {KAZ_ENTRY(S8, QuorinWiperCreate), KAZ_ENTRY(S8, QuorinWiper),
      KAZ_ENTRY(S8, QuorinWiperDestroy)},
     {kBound, 2, kAbsent},
     "",
     [] { return QuorinWiperSeg().Created(); }},
};

class ModuleBinding : public ::testing::TestWithParam<ModuleRow> {};

TEST_P(ModuleBinding, BindsOnceAsFarAsItsLibraryAllows) {
  const ModuleRow& row = GetParam();
  const int scenario = row.scenario[KAZ_LAYOUT];
  const std::string file = row.file;
  std::vector<std::shared_ptr<LibarySymbols>> seen(6);
  std::vector<std::thread> threads;
  for (auto& slot : seen) threads.emplace_back([&slot, &row] { slot = row.get(); });
  for (auto& thread : threads) thread.join();
  const auto binding = seen[0];
  ASSERT_NE(binding, nullptr);
  for (const auto& other : seen) EXPECT_EQ(other, binding);
  EXPECT_EQ(binding->FileName(), file);
  EXPECT_EQ(binding->ModuleHandle() == nullptr, scenario == kAbsent);
  LogCapture again;
  EXPECT_TRUE(scenario == kAbsent || binding->Load()) << "loading again answers at once";
  EXPECT_TRUE(again.Lines().empty()) << again.Dump();

  // A library bound in part stays loaded: what was resolved before the gap can be used.
  const size_t resolved = scenario >= 0         ? static_cast<size_t>(scenario)
                          : scenario == kAbsent ? 0
                                                : row.entries.size();
  // Once each, however often the binding was asked for or loaded.
  const LogCapture all = LogCapture::FromProcessStart();
  for (size_t i = 0; i < row.entries.size(); ++i) {
    const Entry& entry = row.entries[i];
    void* exported = kaz_test::DoubleExport<void>(*binding, entry.name);
    EXPECT_EQ(exported != nullptr, i < resolved || (scenario >= 0 && i > resolved)) << entry.name;
    EXPECT_EQ(entry.read(*binding), i < resolved ? exported : nullptr) << entry.name;
    const std::string line =
        "load func (" + std::string(entry.name) + ") from (" + file + ") failed!\n";
    EXPECT_EQ(all.Count(4, line), i == resolved && scenario >= 0 ? 1 : 0) << all.Dump();
  }
  EXPECT_EQ(all.Count(2, "load lib: " + file + " error\n"),
            scenario == kAbsent || scenario >= 0 ? 1 : 0)
      << all.Dump();

  // A library that appears after its first use is never bound.
  if (scenario == kAbsent && KAZ_LAYOUT == 1) {
    const fs::path late = fs::path(KAZ_DOUBLES_DIR) / "late" / row.file;
    fs::copy_file(fs::path(KAZ_DOUBLES_DIR) / "modules" / row.file, late,
                  fs::copy_options::overwrite_existing);
    LogCapture log;
    const bool created = row.create != nullptr && row.create();
    EXPECT_EQ(row.get(), binding);
    fs::remove(late);
    EXPECT_FALSE(created);
    EXPECT_EQ(binding->ModuleHandle(), nullptr);
    EXPECT_EQ(log.Count(2, "load lib: " + file + " error\n"), 0) << log.Dump();
    if (row.create != nullptr) {
      // The missing create and destroy, and the model the wrapper would have used.
      EXPECT_EQ(log.CountFormat(kaz_test::kApiNull, 4), 2 + kDeviceNulls[KAZ_LAYOUT]) << log.Dump();
      EXPECT_EQ(log.CountFormat(kaz_test::kLoadLib, 2), *row.model != '\0' ? 1 : 0) << log.Dump();
    }
  }
  if (row.create == nullptr || (scenario != kBound && scenario != kCreateFails)) return;

  // Each wrapper asks its module to create with its model and the kernel's device; a refusal
  // leaves it uncreated, destroys the null instance, and the next wrapper asks again.
  const KazModuleDoubleStats before = kaz_test::ModuleStats(*binding);
  LogCapture log;
  for (int attempt = 0; attempt < 2; ++attempt) EXPECT_EQ(row.create(), scenario == kBound);
  const KazModuleDoubleStats after = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(after.createCalls, before.createCalls + 2);
  EXPECT_EQ(after.destroyCalls, before.destroyCalls + 2);
  EXPECT_EQ(after.destroyNullCalls, before.destroyNullCalls + (scenario == kBound ? 0 : 2));
  EXPECT_EQ(after.liveInstances, before.liveInstances);
  EXPECT_STREQ(after.lastModelPath, row.model);
  EXPECT_EQ(after.lastConfig.deviceType, kDevice[KAZ_LAYOUT]);
  EXPECT_EQ(after.lastConfig.reserved, 0);
  EXPECT_EQ(after.lastConfig.threads, 4);
  // The creation line names the model whether creation worked or not.
  const int modelLines = *row.model != '\0' ? 2 : 0;
  EXPECT_EQ(log.Count(2, "load lib: " + std::string(row.model) + " error\n"), modelLines);
  EXPECT_EQ(log.CountFormat(kaz_test::kLoadLib), modelLines) << log.Dump();
  EXPECT_EQ(log.CountFormat(kaz_test::kApiNull), 2 * kDeviceNulls[KAZ_LAYOUT]) << log.Dump();
}

INSTANTIATE_TEST_SUITE_P(Layout, ModuleBinding, ::testing::ValuesIn(kRows), [](const auto& info) {
  std::string name = info.param.file + 3;
  return name.substr(0, name.find('.'));
});

}  // namespace
