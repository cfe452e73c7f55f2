// SPDX-License-Identifier: MIT
// The exported filter functions, driven end to end with the test filter.
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>
#include <utility>
#include <vector>

#include "api/suites.h"
#include "framework/effect_registry.h"
#include "host/test_host.h"
#include "kaz/filter_api.h"
#include "support/test_support.h"
#include "test_filter.h"

using kaztest::InvertTestFilter;
using kaztest::LogCapture;
using vorta::NLEEffectFilter;

namespace {

class WithHostSuite : public ::testing::Test {
 protected:
  void SetUp() override { kaz::Suites().util = &suite_; }
  void TearDown() override { kaz::Suites().util = nullptr; }
  kaztest::TestUtilSuite suite_;
};

TEST(FilterApi, NullHandleAnswers) {
  NLEParamValue value;
  uint32_t kind = 0;
  unsigned char px[4] = {};
  std::shared_ptr<AIDATA::BaseAIDATA> result;
  EXPECT_EQ(std::vector<int32_t>(
                {NLEEffectFilterSetParameter(nullptr, "a", 3, value),
                 NLEEffectFilterGetParameter(nullptr, "a", &kind, &value),
                 NLEEffectFilterTransform(nullptr, px, 1, 1, 4, nullptr, 0, 0, 0, px, 1, 1, 4),
                 NLEEffectFilterTransformChannels(nullptr, px, 1, 1, 4, nullptr, 0, 0, 0, px, 1, 1,
                                                  4, 4, 4, 4),
                 NLEEffectFilterSetTotalTime(nullptr, 1), NLEEffectFilterSetCurrentTime(nullptr, 1),
                 NLEEffectFilterSetFrameRate(nullptr, 30, 1),
                 NLEEffectFilterGetAIResData(nullptr, &result)}),
            std::vector<int32_t>(8, 1));
  EXPECT_STREQ(NLEEffectFilterGetGUID(nullptr), "");
  DeleteNLEAIEffectFilter(nullptr);
  NLEEffectFilter* none = nullptr;
  DeleteNLEAIEffectFilter(&none);
  EXPECT_EQ(none, nullptr);
}

TEST(FilterApi, DriveAFilterEndToEnd) {
  auto info = std::make_shared<vorta::NLEFilterInfo>();
  info->guid = "TEST-GUID";
  NLEEffectFilter* f = new InvertTestFilter(info);
  EXPECT_STREQ(NLEEffectFilterGetGUID(f), "TEST-GUID");

  EXPECT_EQ(NLEEffectFilterSetParameter(f, "Label", 6, vorta::MakeTextValue("file:/tmp/x")), 0);
  uint32_t kind = 0;
  NLEParamValue value;
  ASSERT_EQ(NLEEffectFilterGetParameter(f, "Label", &kind, &value), 0);
  EXPECT_EQ(std::make_pair(kind, value.text), std::make_pair(6u, std::string("tmp/x")));
  EXPECT_EQ(NLEEffectFilterGetParameter(f, "Unknown", &kind, &value), 1);

  EXPECT_EQ(NLEEffectFilterSetTotalTime(f, 250) + NLEEffectFilterSetCurrentTime(f, 12) +
                NLEEffectFilterSetFrameRate(f, 30000, 1001),
            0);
  auto* typed = static_cast<InvertTestFilter*>(f);
  EXPECT_EQ(std::vector<int64_t>({typed->TotalTime(), typed->CurrentTime(),
                                  typed->FrameRateNumerator(), typed->FrameRateDenominator()}),
            std::vector<int64_t>({250, 12, 30000, 1001}));

  // 2x2 source with padded rows of different strides on each side.
  std::vector<unsigned char> src = {0,  1,  2,  3,  250, 251, 252, 253, 99, 99,
                                    10, 20, 30, 40, 50,  60,  70,  80,  99, 99};
  std::vector<unsigned char> dst(2 * 12, 7);
  ASSERT_EQ(
      NLEEffectFilterTransform(f, dst.data(), 2, 2, 12, nullptr, 0, 0, 0, src.data(), 2, 2, 10), 0);
  const std::vector<unsigned char> expected = {255, 254, 253, 3,  5,   4,   3,   253, 7, 7, 7, 7,
                                               245, 235, 225, 40, 205, 195, 185, 80,  7, 7, 7, 7};
  EXPECT_EQ(dst, expected);

  std::shared_ptr<AIDATA::BaseAIDATA> result;
  EXPECT_EQ(NLEEffectFilterGetAIResData(f, &result), 0);
  EXPECT_EQ(result, nullptr);

  DeleteNLEAIEffectFilter(&f);
  EXPECT_EQ(f, nullptr);
}

struct BadFrame {
  const char* why;  // the reason the log line gives
  int dw, dh, ds, sw, sh, ss;
  bool nullDst, nullSrc;
  int dc;
  int aw, ah, as;  // an auxiliary frame when aw != -1
};

class RejectedFrames : public ::testing::TestWithParam<BadFrame> {};

// The frame sizes are never backed by that much memory: only the check stands between a faulty
// frame and the filter.
TEST_P(RejectedFrames, AnswerOneLeaveTheDestinationAndLogWhy) {
  const BadFrame& b = GetParam();
  InvertTestFilter filter(nullptr);
  std::vector<unsigned char> src(64, 100), aux(64, 9), dst(64, 7);
  LogCapture log;
  const int32_t result = NLEEffectFilterTransformChannels(
      &filter, b.nullDst ? nullptr : dst.data(), b.dw, b.dh, b.ds,
      b.aw != -1 ? aux.data() : nullptr, b.aw, b.ah, b.as, b.nullSrc ? nullptr : src.data(), b.sw,
      b.sh, b.ss, b.dc, 4, 4);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(dst, std::vector<unsigned char>(64, 7));
  EXPECT_EQ(aux, std::vector<unsigned char>(64, 9));
  EXPECT_EQ(log.Count(4, std::string("NLEEffectFilterTransformChannels: frame rejected: ") + b.why +
                             "\n"),
            1)
      << log.Dump();
  EXPECT_EQ(log.Lines().size(), 1u) << log.Dump();
}

constexpr int kBig = 0x40000000;
INSTANTIATE_TEST_SUITE_P(
    FilterApi, RejectedFrames,
    ::testing::Values(
        BadFrame{"null pixel pointer", 2, 2, 8, 2, 2, 8, true, false, 4, -1, 0, 0},
        BadFrame{"null pixel pointer", 2, 2, 8, 2, 2, 8, false, true, 4, -1, 0, 0},
        BadFrame{"width or height below 1", 0, 2, 8, 0, 2, 8, false, false, 4, -1, 0, 0},
        BadFrame{"width or height below 1", 2, -1, 8, 2, -1, 8, false, false, 4, -1, 0, 0},
        BadFrame{"row stride below width x channels", 2, 2, 7, 2, 2, 8, false, false, 4, -1, 0, 0},
        BadFrame{"row stride below width x channels", 2, 2, 8, 2, 2, 4, false, false, 4, -1, 0, 0},
        BadFrame{"row stride below width x channels", 2, 2, -8, 2, 2, 8, false, false, 4, -1, 0, 0},
        BadFrame{"source and destination sizes differ", 2, 2, 8, 2, 3, 8, false, false, 4, -1, 0,
                 0},
        BadFrame{"channel count other than 1 or 4", 2, 2, 8, 2, 2, 8, false, false, 3, -1, 0, 0},
        // 2^31 bytes exactly, on both sides, so the sizes agree.
        BadFrame{"image larger than 2^31 - 1 bytes", 1 << 14, 1 << 15, 1 << 16, 1 << 14, 1 << 15,
                 1 << 16, false, false, 4, -1, 0, 0},
        // 2^60 bytes: wraps a 32-bit product.
        BadFrame{"image larger than 2^31 - 1 bytes", 2, kBig, kBig, 2, kBig, kBig, false, false, 4,
                 -1, 0, 0},
        BadFrame{"row stride below width x channels", 2, 2, 8, 2, 2, 8, false, false, 4, 2, 2, 1},
        BadFrame{"width or height below 1", 2, 2, 8, 2, 2, 8, false, false, 4, 0, 2, 8}));

// The export passes the counts on; this filter's base refuses anything but four.
TEST(FilterApi, ChannelCountsReachTheFilter) {
  struct Recording : InvertTestFilter {
    Recording() : InvertTestFilter(nullptr) {}
    int32_t TransformChannels(unsigned char* dst, int32_t dw, int32_t dh, int32_t ds,
                              unsigned char* aux, int32_t aw, int32_t ah, int32_t as,
                              const unsigned char* src, int32_t sw, int32_t sh, int32_t ss,
                              int32_t dc, int32_t ac, int32_t sc) override {
      counts = {dc, ac, sc};
      return InvertTestFilter::TransformChannels(dst, dw, dh, ds, aux, aw, ah, as, src, sw, sh, ss,
                                                 dc, ac, sc);
    }
    std::vector<int32_t> counts;
  } filter;
  std::vector<unsigned char> src(16, 100), dst(4, 7);
  EXPECT_EQ(NLEEffectFilterTransformChannels(&filter, dst.data(), 2, 2, 2, nullptr, 0, 0, 0,
                                             src.data(), 2, 2, 8, 1, 4, 4),
            1);
  EXPECT_EQ(filter.counts, (std::vector<int32_t>{1, 4, 4}));
}

TEST(FilterApi, AnEscapingExceptionBecomesFailureAndALogLine) {
  InvertTestFilter filter(nullptr);
  filter.SetParameter("Throw", 5, vorta::MakeIntValue(1));
  unsigned char src[4] = {1, 2, 3, 4}, dst[4] = {};
  LogCapture log;
  EXPECT_EQ(NLEEffectFilterTransform(&filter, dst, 1, 1, 4, nullptr, 0, 0, 0, src, 1, 1, 4), 1);
  EXPECT_EQ(log.Count(4, "NLEEffectFilterTransform failed: boom\n"), 1);
}

TEST(FilterApi, UnknownOrNullGuidCreatesNothing) {
  LogCapture log;
  EXPECT_EQ(CreateNLEAIEffectFilterFromGUID("00000000-0000-0000-0000-000000000000", "/r"), nullptr);
  EXPECT_TRUE(log.Lines().empty()) << "an unknown GUID is an answer, not an error";
  EXPECT_EQ(CreateNLEAIEffectFilterFromGUID(nullptr, "/r"), nullptr);
  EXPECT_EQ(log.Lines().size(), 1u);
}

TEST_F(WithHostSuite, CreationAsksTheHostForBothDirectories) {
  auto info = std::make_shared<vorta::NLEFilterInfo>();
  info->guid = "CACHED-FOR-DIRS";
  vorta::EffectRegistry::Instance().Add(info);

  const auto Asked = [this] { return std::exchange(suite_.asked, {}); };
  CreateNLEAIEffectFilterFromGUID("CACHED-FOR-DIRS", nullptr);
  EXPECT_EQ(Asked(), (std::vector<std::tuple<int, std::string, int>>{{1, "resources", 512},
                                                                     {3, "cloud_resources", 512}}));
  EXPECT_EQ(info->ResourceDir() + " " + info->CloudResourceDir(), "/host/res /host/cloud");

  // A given directory is used as it is; the host is still asked for the cloud directory.
  CreateNLEAIEffectFilterFromGUID("CACHED-FOR-DIRS", "/given");
  EXPECT_EQ(Asked(), (std::vector<std::tuple<int, std::string, int>>{{3, "cloud_resources", 512}}));
  EXPECT_EQ(info->ResourceDir(), "/given");

  // Without a directory or a host they stay unset.
  kaz::Suites().util = nullptr;
  auto bare = std::make_shared<vorta::NLEFilterInfo>();
  bare->guid = "CACHED-NO-HOST";
  vorta::EffectRegistry::Instance().Add(bare);
  CreateNLEAIEffectFilterFromGUID("CACHED-NO-HOST", nullptr);
  EXPECT_EQ(bare->ResourceDir() + bare->CloudResourceDir(), "");
}

std::vector<std::pair<int, std::string>> g_received;
void Receive(int level, const char* format, va_list args) {
  char line[256];
  std::vsnprintf(line, sizeof line, format, args);
  g_received.emplace_back(level, line);
}

TEST_F(WithHostSuite, LogCallbackGetsLevelAndLineUntilRemovedThenTheHostSuiteDoes) {
  InvertTestFilter filter(nullptr);
  unsigned char px[4] = {};
  const std::string line = "NLEEffectFilterTransform: frame rejected: width or height below 1\n";
  g_received.clear();
  SetNLEAIEffectFilterLogCallback(&Receive);
  EXPECT_EQ(NLEEffectFilterTransform(&filter, px, 0, 1, 4, nullptr, 0, 0, 0, px, 0, 1, 4), 1);
  SetNLEAIEffectFilterLogCallback(nullptr);
  EXPECT_EQ(g_received, (std::vector<std::pair<int, std::string>>{{4, line}}));
  EXPECT_TRUE(suite_.lines.empty());

  EXPECT_EQ(NLEEffectFilterTransform(&filter, px, 0, 1, 4, nullptr, 0, 0, 0, px, 0, 1, 4), 1);
  EXPECT_EQ(g_received.size(), 1u) << "removed";
  EXPECT_EQ(suite_.lines, std::vector<std::string>{"4:" + line});
}

}  // namespace
