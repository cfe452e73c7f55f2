// SPDX-License-Identifier: MIT
// The framework effect between host and filter, with a filter that records what reaches it.
#include <gtest/gtest.h>

#include <tuple>

#include <nlohmann/json.hpp>

#include "host/kaz_effect.h"
#include "test_host.h"

using kaztest::TestContext;
using kaztest::TestImage;
using vorta::PayloadAs;

namespace {

class RecordingFilter : public vorta::NLEAIEffectFilter {
 public:
  using NLEAIEffectFilter::NLEAIEffectFilter;
  // Source, destination and auxiliary frame: pointer, width, height, stride each.
  using Call =
      std::tuple<const unsigned char*, int32_t, int32_t, int32_t, const unsigned char*, int32_t,
                 int32_t, int32_t, const unsigned char*, int32_t, int32_t, int32_t>;
  std::vector<Call> calls;

  int32_t Transform(unsigned char* dst, int32_t dw, int32_t dh, int32_t ds, unsigned char* aux,
                    int32_t aw, int32_t ah, int32_t as, const unsigned char* src, int32_t sw,
                    int32_t sh, int32_t ss) override {
    calls.emplace_back(src, sw, sh, ss, dst, dw, dh, ds, aux, aw, ah, as);
    return 0;
  }
};

vorta::FilterInfoPtr InfoWith(const char* params) {
  auto info = std::make_shared<vorta::NLEFilterInfo>();
  info->guid = "BRIDGE";
  vorta::ReadParams(nlohmann::json::parse(params), *info);
  return info;
}

KAZHostValue HostValue(int32_t kind) {
  KAZHostValue v;
  v.kind = kind;
  return v;
}

struct Bridge {
  explicit Bridge(const char* params) : effect(InfoWith(params)) {
    auto f = std::make_shared<RecordingFilter>(InfoWith(params));
    filter = f.get();
    effect.AttachFilter(f);
  }
  vorta::KAZAiFilterEffect effect;
  RecordingFilter* filter;
};

TEST(HostBridge, UpdateSetsTimesRateAndParametersByKind) {
  Bridge b(R"([{"NAME": "F", "TYPE": "float"}, {"NAME": "D", "TYPE": "double"},
               {"NAME": "I", "TYPE": "int"}, {"NAME": "S", "TYPE": "string"},
               {"NAME": "Missing", "TYPE": "int", "DEFAULT": 4},
               {"NAME": "Wide", "TYPE": "int", "DEFAULT": 5}, {"NAME": "Odd", "TYPE": "int"}])");
  TestContext ctx;
  ctx.current = 17;
  ctx.total = 300;
  ctx.num = 30000;
  ctx.den = 1001;
  KAZHostValue f = HostValue(KAZHostValue::kFloat), d = HostValue(KAZHostValue::kDouble),
               i = HostValue(KAZHostValue::kInt32), s = HostValue(KAZHostValue::kString),
               wide = HostValue(KAZHostValue::kInt64), odd = HostValue(42);
  f.f32 = 1.25f;
  d.f64 = -0.1;
  i.i32 = -9;
  wide.i64 = 77;  // kind four and unknown kinds are not applied
  odd.i32 = 78;
  const std::string longText(600, 'x');
  s.text = longText.c_str();
  ctx.params = {{"F", f}, {"D", d}, {"I", i}, {"S", s}, {"Wide", wide}, {"Odd", odd}};

  ASSERT_EQ(b.effect.Update(&ctx), 0);
  EXPECT_EQ(
      std::vector<int64_t>({b.filter->CurrentTime(), b.filter->TotalTime(),
                            b.filter->FrameRateNumerator(), b.filter->FrameRateDenominator()}),
      std::vector<int64_t>({17, 300, 30000, 1001}));
  const std::vector<std::pair<std::string, int32_t>> asked = {
      {"F", 5}, {"D", 6}, {"I", 3}, {"S", 8}, {"Missing", 3}, {"Wide", 3}, {"Odd", 3}};
  EXPECT_EQ(ctx.askedKinds, asked) << "each parameter is asked with the host kind of its kind";

  NLEParamValue v[7];
  for (int k = 0; k < 7; ++k)
    ASSERT_TRUE(b.filter->GetParameterValue(asked[k].first.c_str(), v[k]));
  // The text arrives whole; a parameter the host does not have, or sends in a kind not
  // applied, keeps its value.
  EXPECT_EQ(std::make_tuple(PayloadAs<float>(v[0]), PayloadAs<double>(v[1]),
                            PayloadAs<int32_t>(v[2]), v[3].text, PayloadAs<int32_t>(v[4]),
                            PayloadAs<int32_t>(v[5]), PayloadAs<int32_t>(v[6])),
            std::make_tuple(1.25f, -0.1, -9, longText, 4, 5, 0));
}

TEST(HostBridge, ConversionTableCoversBool) {
  NLEParamValue out;
  uint32_t kind = 0;
  KAZHostValue b = HostValue(KAZHostValue::kBool);
  b.b = true;
  ASSERT_TRUE(vorta::ConvertHostValue(b, &out, &kind));
  EXPECT_EQ(kind, 1u);
  EXPECT_EQ(out.payload[0], 1);
  // Pointers and their kind 9 are proven by the transfer object in the render test below.
  EXPECT_EQ(std::make_pair(vorta::HostKindForParamKind(1), vorta::HostKindForParamKind(4)),
            std::make_pair(7, 4));
}

// Source, auxiliary (null with zero sizes when absent) and destination reach the filter; the
// transfer object is handed over and cleared when absent; bad images never reach the filter.
TEST(HostBridge, RenderHandsImagesAndTheTransferObjectOver) {
  Bridge b("[]");
  TestImage a(4, 3, 20), dst(4, 3, 16), c(4, 3, 24);
  TestContext ctx;
  ctx.source = &a;
  ctx.images[0] = &dst;
  ctx.images[1] = &c;
  int object = 0;
  KAZHostValue p = HostValue(KAZHostValue::kPointer);
  p.ptr = &object;
  ctx.renderParams["ObjectAiDataTransferPtr"] = p;
  b.effect.Render(&ctx);
  EXPECT_EQ(b.filter->AiDataTransferPointer(), &object);
  EXPECT_EQ(ctx.askedKinds.back(), (std::pair<std::string, int32_t>{"ObjectAiDataTransferPtr", 9}));
  ctx.images[1] = nullptr;
  ctx.renderParams.clear();
  b.effect.Render(&ctx);
  EXPECT_EQ(b.filter->AiDataTransferPointer(), nullptr);
  TestImage small(4, 2, 16), narrow(4, 3, 8);
  for (TestImage* bad : {&small, &narrow, static_cast<TestImage*>(nullptr)}) {
    ctx.images[0] = bad;
    b.effect.Render(&ctx);
  }
  ASSERT_EQ(b.filter->calls.size(), 2u);
  const unsigned char* none = nullptr;
  EXPECT_EQ(b.filter->calls[0], RecordingFilter::Call(a.pixels.data(), 4, 3, 20, dst.pixels.data(),
                                                      4, 3, 16, c.pixels.data(), 4, 3, 24));
  EXPECT_EQ(b.filter->calls[1], RecordingFilter::Call(a.pixels.data(), 4, 3, 20, dst.pixels.data(),
                                                      4, 3, 16, none, 0, 0, 0));
}

TEST(HostBridge, WithoutAFilterTheEffectIsInert) {
  vorta::KAZAiFilterEffect effect(InfoWith("[]"));
  TestContext ctx;
  EXPECT_EQ(effect.Update(&ctx), 0);
  EXPECT_EQ(effect.Render(&ctx), 0);
  EXPECT_TRUE(ctx.askedKinds.empty());
}

}  // namespace
