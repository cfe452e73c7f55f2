// SPDX-License-Identifier: MIT
// Process with the kernel on its search path but no human segmentation or clothes module; a
// search folder ("late") where a test puts the module after its first use.
#include <gtest/gtest.h>

#include <filesystem>
#include <thread>
#include <vector>

#include <opencv2/core.hpp>

#include "ai/human_seg.h"
#include "ai/module_symbols.h"
#include "ai/quorin_common.h"
#include "ai_test_support.h"

using namespace THIRD_LIBRARY_IMPORT;
using kaz_test::LogCapture;
namespace fs = std::filesystem;

namespace {

const char kSegFile[] = "libquorin_module_human_segment.so";
const fs::path kLate = fs::path(KAZ_DOUBLES_DIR) / "late" / kSegFile;

// Runs before any test: a copy left by an interrupted run would make the module present.
const bool kLateCleared = [] {
  std::error_code ignored;
  fs::remove(kLate, ignored);
  return true;
}();

bool Findable(const char* file) {
  kaz::platform::LibraryHandle handle = kaz::platform::OpenLibrary(file);
  if (handle != nullptr) kaz::platform::CloseLibrary(handle);
  return handle != nullptr;
}

TEST(ModuleAbsent, FirstWrapperLogsTheLibraryTheModelAndTheMissingCreate) {
  ASSERT_TRUE(kLateCleared);
  // The scenario holds only if nothing on this process's search path (nor a RUNPATH beside the
  // real runtime) provides the module.
  ASSERT_FALSE(Findable(kSegFile));
  ASSERT_TRUE(Findable("libquorin_kernel.so"));
  GetQuorinCommonSymbols();

  const std::string model =
      "/m/humansegmentation_hair/RQ_HumanSegmentHair_CPU_Openvino_Fp16_V4.0.8.model";
  LogCapture log;
  auto seg = std::make_unique<QuorinHumanSeg>("", "", "/m", 3);
  EXPECT_FALSE(seg->Created());
  const auto lines = log.Lines();
  ASSERT_EQ(lines.size(), 3u) << log.Dump();
  EXPECT_EQ(lines[0].level, 2);
  EXPECT_EQ(lines[0].text, std::string("load lib: ") + kSegFile + " error\n");
  EXPECT_EQ(lines[1].level, 4);
  EXPECT_EQ(lines[1].text, kaz_test::kApiNull);
  EXPECT_EQ(lines[2].level, 2);
  EXPECT_EQ(lines[2].text, "load lib: " + model + " error\n");
  EXPECT_EQ(log.CountFormat(kaz_test::kLoadLib), 2);

  const cv::Mat image(4, 4, CV_8UC4, cv::Scalar::all(1));
  cv::Mat mask(4, 4, CV_8UC1);
  EXPECT_FALSE(seg->Process(image, mask));
  EXPECT_EQ(log.Lines().size(), 3u) << "Process of an uncreated wrapper logs nothing";

  seg.reset();
  ASSERT_EQ(log.Lines().size(), 4u) << log.Dump();
  EXPECT_EQ(log.Lines()[3].level, 4);
  EXPECT_EQ(log.Lines()[3].text, kaz_test::kApiNull);
}

TEST(ModuleAbsent, LibraryThatAppearsLaterIsNeverBound) {
  const auto binding = GetQuorinHumanSegSymbols();
  ASSERT_EQ(binding->ModuleHandle(), nullptr);
  fs::copy_file(fs::path(KAZ_DOUBLES_DIR) / "humanseg" / kSegFile, kLate,
                fs::copy_options::overwrite_existing);
  const bool findable = Findable(kSegFile);
  LogCapture log;
  {
    QuorinHumanSeg seg("", "", "/m", 2);
    EXPECT_FALSE(seg.Created());
  }
  std::error_code ignored;
  fs::remove(kLate, ignored);
  ASSERT_TRUE(findable) << "the copy in the late folder should have been found";

  EXPECT_EQ(GetQuorinHumanSegSymbols(), binding);
  EXPECT_EQ(binding->ModuleHandle(), nullptr);
  EXPECT_EQ(log.CountText(std::string("load lib: ") + kSegFile + " error\n"), 0) << log.Dump();
  EXPECT_EQ(log.CountFormat(kaz_test::kApiNull, 4), 2) << log.Dump();  // create and destroy
}

TEST(ModuleAbsent, ConcurrentFirstUsersShareOneFailedBinding) {
  std::vector<std::shared_ptr<QuorinClothesSegSymbols>> seen(8);
  std::vector<std::thread> threads;
  for (auto& slot : seen) threads.emplace_back([&slot] { slot = GetQuorinClothesSegSymbols(); });
  for (auto& thread : threads) thread.join();
  for (const auto& binding : seen) {
    ASSERT_NE(binding, nullptr);
    EXPECT_EQ(binding, seen[0]);
  }
  EXPECT_EQ(seen[0]->ModuleHandle(), nullptr);
  EXPECT_EQ(seen[0]->QuorinClothesSegmentationCreate, nullptr);
  const LogCapture all = LogCapture::FromProcessStart();
  EXPECT_EQ(all.CountText("load lib: libquorin_module_clothes_segmentation.so error\n"), 1)
      << all.Dump();
}

}  // namespace
