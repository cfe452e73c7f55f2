// SPDX-License-Identifier: MIT
// Every runtime binding against the doubles, in the layout of this process (KAZ_LAYOUT):
// 0 everything present, 1 the fault doubles, 2 no kernel (see CMakeLists.txt). What a library
// bound in part still does is degraded_test.cpp's; the landmark libraries bind in tests/effects.
#include <gtest/gtest.h>

#include <cctype>
#include <filesystem>
#include <functional>
#include <thread>
#include <vector>

#include "ai/fade_film.h"
#include "ai/frame_modules.h"
#include "ai/human_seg.h"
#include "ai/module_symbols.h"
#include "ai/wiper_seg.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;
namespace fs = std::filesystem;

namespace {

// A library is bound, absent, loaded but refusing every creation, or bound up to the entry
// point its fault double lacks.
enum Scenario { kBound, kAbsent, kCreateFails, kPartial };

struct ModuleRow {
  const char* file;
  std::function<std::shared_ptr<LibarySymbols>()> get;
  Scenario full, faults, noKernel;  // in layouts 0, 1 and 2
  const char* lacking;              // the entry point missing where the scenario is kPartial
  const char* model;                // what its wrapper's creation names; null: no wrapper
  bool (*create)();                 // makes and drops a wrapper, answering whether it was created
};

void PrintTo(const ModuleRow& row, std::ostream* os) { *os << row.file; }

// The kernel double again, under a name with non-ASCII letters.
class UnicodeKernel : public LibarySymbols {
 public:
  UnicodeKernel() : LibarySymbols("quorin_kérnel_ü.dll") {}
};

const char kModels[] = "/m";
// The kernel's device type, or the fallback with one "API is null" line for the missing call.
const int32_t kDevice[3] = {KAZ_DOUBLE_DEVICE_TYPE, 16, 16};
const int kDeviceNulls[3] = {0, 1, 1};

const ModuleRow kRows[] = {
    {"libquorin_kernel.so", GetQuorinCommonSymbols, kBound, kPartial, kAbsent,
     "QuorinVideoOpenGLFrameMake", nullptr, nullptr},
    {"libquorin_kérnel_ü.so", ProcessBinding<UnicodeKernel>, kBound, kBound, kBound, nullptr,
     nullptr, nullptr},
    {"libquorin_module_human_segment.so", GetQuorinHumanSegSymbols, kBound, kPartial, kBound,
     "QuorinHumanSegmentOutputSizeSet",
     "/m/humansegmentation_highacc/RQ_HumanSegmentHighAcc_CPU_Openvino_INT8_3.1.0.5.model",
     [] { return QuorinHumanSeg("", "", kModels, 2).Created(); }},
    {"libquorin_module_clothes_segmentation.so", GetQuorinClothesSegSymbols, kBound, kAbsent,
     kAbsent, nullptr, "/m/clothes_segmentation/RQ_ClothesSegmentation_X86_Openivno_fp16.model",
     [] { return QuorinClothesSeg(kModels).Created(); }},
    {"libquorin_module_depth_estimate.so", GetQuorinDepthEstimationSymbols, kBound, kCreateFails,
     kAbsent, nullptr, "/m/depth_estimate/RQ_DepthEstimate_CPU_Openvino_Fp16_1.0.0.model",
     [] { return QuorinDepthEstimate(kModels).Created(); }},
    {"libquorin_module_fade_film.so", GetQuorinFadeFilmSymbols, kBound, kCreateFails, kAbsent,
     nullptr, "", [] { return QuorinFadeFilm().Created(); }},
    {"libquorin_module_human_attribute_segments.so", GetQuorinHumanSkinSegmentSymbols, kBound,
     kAbsent, kAbsent, nullptr,
     "/m/human_skin_segment/RQ_HumanAttributeSegments_SkinSegment_CPU_OpenVino_FP32_v1.0.0.0.model",
     [] { return QuorinHumanSkinSegment(kModels).Created(); }},
    {"libquorin_module_semantic_segmentation.so", GetQuorinSemanticSegmentSymbols, kBound, kAbsent,
     kAbsent, nullptr,
     "/m/semantic_segmentation/RQ_SemanticSegmentation_X86_Openvino_FP32_1.0.2.model",
     [] { return QuorinSemanticSegment(kModels).Created(); }},
    {"libquorin_module_wiper.so", GetQuorinWiperSegSymbols, kBound, kAbsent, kAbsent, nullptr, "",
     [] { return QuorinWiperSeg().Created(); }},
};

class ModuleBinding : public ::testing::TestWithParam<ModuleRow> {};

TEST_P(ModuleBinding, BindsOnceAsFarAsItsLibraryAllows) {
  const ModuleRow& row = GetParam();
  const Scenario layouts[] = {row.full, row.faults, row.noKernel};
  const Scenario scenario = layouts[KAZ_LAYOUT];
  const std::string file = row.file;
  std::vector<std::shared_ptr<LibarySymbols>> seen(6);
  std::vector<std::thread> threads;
  for (auto& slot : seen) threads.emplace_back([&slot, &row] { slot = row.get(); });
  for (auto& thread : threads) thread.join();
  const auto binding = seen[0];
  ASSERT_NE(binding, nullptr);
  for (const auto& other : seen) EXPECT_EQ(other, binding);
  EXPECT_EQ(binding->FileName(), file);
  // A library bound in part stays loaded.
  EXPECT_EQ(binding->ModuleHandle() == nullptr, scenario == kAbsent);
  LogCapture again;
  EXPECT_TRUE(scenario == kAbsent || binding->Load()) << "loading again answers at once";
  EXPECT_TRUE(again.Lines().empty()) << again.Dump();

  // Once each, however often the binding was asked for or loaded.
  const LogCapture all = LogCapture::FromProcessStart();
  if (row.lacking != nullptr) {
    const std::string line =
        "load func (" + std::string(row.lacking) + ") from (" + file + ") failed!\n";
    EXPECT_EQ(all.Count(4, line), scenario == kPartial ? 1 : 0) << all.Dump();
  }
  EXPECT_EQ(all.Count(2, "load lib: " + file + " error\n"),
            scenario == kAbsent || scenario == kPartial ? 1 : 0)
      << all.Dump();

  // A library that appears after its first use is never bound: its wrapper still finds create
  // and destroy missing, and names only the model it would have used.
  if (scenario == kAbsent && KAZ_LAYOUT == 1 && row.create != nullptr) {
    const fs::path late = fs::path(KAZ_DOUBLES_DIR) / "late" / row.file;
    fs::copy_file(fs::path(KAZ_DOUBLES_DIR) / "modules" / row.file, late,
                  fs::copy_options::overwrite_existing);
    LogCapture log;
    EXPECT_FALSE(row.create());
    EXPECT_EQ(row.get(), binding);
    fs::remove(late);
    EXPECT_EQ(binding->ModuleHandle(), nullptr);
    EXPECT_EQ(log.CountFormat(kKAZLogApiNull, 4), 2 + kDeviceNulls[KAZ_LAYOUT]) << log.Dump();
    EXPECT_EQ(log.CountFormat(kKAZLogLoadLib, 2), *row.model != '\0' ? 1 : 0) << log.Dump();
  }
  if (row.create == nullptr || (scenario != kBound && scenario != kCreateFails)) return;

  // Each wrapper asks its module to create with its model and the kernel's device; a refusal
  // leaves it uncreated, destroys the null instance, and the next wrapper asks again.
  const KazModuleDoubleStats before = kaz_test::ModuleStats(*binding);
  LogCapture log;
  for (int attempt = 0; attempt < 2; ++attempt) EXPECT_EQ(row.create(), scenario == kBound);
  const KazModuleDoubleStats after = kaz_test::ModuleStats(*binding);
  EXPECT_EQ(std::vector<int>(
                {after.createCalls - before.createCalls, after.destroyCalls - before.destroyCalls,
                 after.destroyNullCalls - before.destroyNullCalls,
                 after.liveInstances - before.liveInstances, after.lastConfig.deviceType,
                 after.lastConfig.reserved, after.lastConfig.threads}),
            std::vector<int>({2, 2, scenario == kBound ? 0 : 2, 0, kDevice[KAZ_LAYOUT], 0, 4}));
  EXPECT_STREQ(after.lastModelPath, row.model);
  // The creation line names the model whether creation worked or not.
  const int modelLines = *row.model != '\0' ? 2 : 0;
  EXPECT_EQ(log.Count(2, "load lib: " + std::string(row.model) + " error\n"), modelLines);
  EXPECT_EQ(log.CountFormat(kKAZLogLoadLib), modelLines) << log.Dump();
  EXPECT_EQ(log.CountFormat(kKAZLogApiNull), 2 * kDeviceNulls[KAZ_LAYOUT]) << log.Dump();
}

INSTANTIATE_TEST_SUITE_P(Layout, ModuleBinding, ::testing::ValuesIn(kRows), [](const auto& info) {
  std::string name = info.param.file + 3;
  name.resize(name.find('.'));
  for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
  return name;
});

}  // namespace
