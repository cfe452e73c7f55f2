// SPDX-License-Identifier: MIT
// The framework effect between host and filter, with a filter that records what reaches it.
#include <gtest/gtest.h>

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
  struct Call {
    const unsigned char* dst;
    int32_t dw, dh, ds;
    const unsigned char* aux;
    int32_t aw, ah, as;
    const unsigned char* src;
    int32_t sw, sh, ss;
  };
  std::vector<Call> calls;

  int32_t Transform(unsigned char* dst, int32_t dw, int32_t dh, int32_t ds, unsigned char* aux,
                    int32_t aw, int32_t ah, int32_t as, const unsigned char* src, int32_t sw,
                    int32_t sh, int32_t ss) override {
    calls.push_back({dst, dw, dh, ds, aux, aw, ah, as, src, sw, sh, ss});
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
               {"NAME": "Missing", "TYPE": "int", "DEFAULT": 4}])");
  TestContext ctx;
  ctx.current = 17;
  ctx.total = 300;
  ctx.num = 30000;
  ctx.den = 1001;
  KAZHostValue f = HostValue(KAZHostValue::kFloat), d = HostValue(KAZHostValue::kDouble),
               i = HostValue(KAZHostValue::kInt32), s = HostValue(KAZHostValue::kString);
  f.f32 = 1.25f;
  d.f64 = -0.1;
  i.i32 = -9;
  const std::string longText(600, 'x');
  s.text = longText.c_str();
  ctx.params = {{"F", f}, {"D", d}, {"I", i}, {"S", s}};

  ASSERT_EQ(b.effect.Update(&ctx), 0);
  EXPECT_EQ(b.filter->CurrentTime(), 17);
  EXPECT_EQ(b.filter->TotalTime(), 300);
  EXPECT_EQ(b.filter->FrameRateNumerator(), 30000);
  EXPECT_EQ(b.filter->FrameRateDenominator(), 1001);
  const std::vector<std::pair<std::string, int32_t>> asked = {
      {"F", 5}, {"D", 6}, {"I", 3}, {"S", 8}, {"Missing", 3}};
  EXPECT_EQ(ctx.askedKinds, asked) << "each parameter is asked with the host kind of its kind";

  NLEParamValue v;
  ASSERT_TRUE(b.filter->GetParameterValue("F", v));
  EXPECT_EQ(PayloadAs<float>(v), 1.25f);
  ASSERT_TRUE(b.filter->GetParameterValue("D", v));
  EXPECT_EQ(PayloadAs<double>(v), -0.1);
  ASSERT_TRUE(b.filter->GetParameterValue("I", v));
  EXPECT_EQ(PayloadAs<int32_t>(v), -9);
  ASSERT_TRUE(b.filter->GetParameterValue("S", v));
  EXPECT_EQ(v.text, longText) << "the text copy keeps the whole string";
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(v.payload)), longText.substr(0, 511));
  ASSERT_TRUE(b.filter->GetParameterValue("Missing", v));
  EXPECT_EQ(PayloadAs<int32_t>(v), 4) << "a parameter the host does not have keeps its value";
}

TEST(HostBridge, ValuesOfKindFourOrUnknownKindsAreNotApplied) {
  Bridge b(R"([{"NAME": "I", "TYPE": "int", "DEFAULT": 5}, {"NAME": "J", "TYPE": "int"}])");
  TestContext ctx;
  KAZHostValue wide = HostValue(KAZHostValue::kInt64), odd = HostValue(42);
  wide.i64 = 77;
  odd.i32 = 78;
  ctx.params = {{"I", wide}, {"J", odd}};
  b.effect.Update(&ctx);
  NLEParamValue v;
  ASSERT_TRUE(b.filter->GetParameterValue("I", v));
  EXPECT_EQ(PayloadAs<int32_t>(v), 5);
  ASSERT_TRUE(b.filter->GetParameterValue("J", v));
  EXPECT_EQ(PayloadAs<int32_t>(v), 0);
}

TEST(HostBridge, ConversionTableCoversBoolAndPointer) {
  NLEParamValue out;
  uint32_t kind = 0;
  KAZHostValue b = HostValue(KAZHostValue::kBool);
  b.b = true;
  ASSERT_TRUE(vorta::ConvertHostValue(b, &out, &kind));
  EXPECT_EQ(kind, 1u);
  EXPECT_EQ(out.payload[0], 1);
  int object = 0;
  KAZHostValue p = HostValue(KAZHostValue::kPointer);
  p.ptr = &object;
  ASSERT_TRUE(vorta::ConvertHostValue(p, &out, &kind));
  EXPECT_EQ(kind, 7u);
  EXPECT_EQ(PayloadAs<void*>(out), &object);
  EXPECT_EQ(vorta::HostKindForParamKind(1), 7);
  EXPECT_EQ(vorta::HostKindForParamKind(7), 9);
  EXPECT_EQ(vorta::HostKindForParamKind(4), 4);
}

TEST(HostBridge, RenderHandsImagesAsSourceAuxiliaryDestination) {
  Bridge b("[]");
  TestImage a(4, 3, 20), dst(4, 3, 16), c(4, 3, 24);
  TestContext ctx;
  ctx.source = &a;
  ctx.images[0] = &dst;
  ctx.images[1] = &c;
  b.effect.Render(&ctx);
  ASSERT_EQ(b.filter->calls.size(), 1u);
  const auto& call = b.filter->calls[0];
  EXPECT_EQ(call.src, a.pixels.data());
  EXPECT_EQ(call.ss, 20);
  EXPECT_EQ(call.dst, dst.pixels.data());
  EXPECT_EQ(call.ds, 16);
  EXPECT_EQ(call.aux, c.pixels.data());
  EXPECT_EQ(call.as, 24);
  EXPECT_EQ(call.sw, 4);
  EXPECT_EQ(call.sh, 3);
}

TEST(HostBridge, WithoutASecondImageTheAuxiliaryIsNullWithZeroSizes) {
  Bridge b("[]");
  TestImage a(2, 2, 8), dst(2, 2, 8);
  TestContext ctx;
  ctx.source = &a;
  ctx.images[0] = &dst;
  b.effect.Render(&ctx);
  ASSERT_EQ(b.filter->calls.size(), 1u);
  const auto& call = b.filter->calls[0];
  EXPECT_EQ(call.aux, nullptr);
  EXPECT_EQ(call.aw + call.ah + call.as, 0);
}

TEST(HostBridge, RenderHandsTheTransferObjectOverAndClearsItWhenAbsent) {
  Bridge b("[]");
  TestImage a(2, 2, 8), dst(2, 2, 8);
  TestContext ctx;
  ctx.source = &a;
  ctx.images[0] = &dst;
  int object = 0;
  KAZHostValue p = HostValue(KAZHostValue::kPointer);
  p.ptr = &object;
  ctx.renderParams["ObjectAiDataTransferPtr"] = p;
  b.effect.Render(&ctx);
  EXPECT_EQ(b.filter->AiDataTransferPointer(), &object);
  EXPECT_EQ(ctx.askedKinds.back(), (std::pair<std::string, int32_t>{"ObjectAiDataTransferPtr", 9}));
  ctx.renderParams.clear();
  b.effect.Render(&ctx);
  EXPECT_EQ(b.filter->AiDataTransferPointer(), nullptr);
}

TEST(HostBridge, BadImagesNeverReachTheFilter) {
  Bridge b("[]");
  TestImage a(4, 4, 16), small(4, 3, 16), narrow(4, 4, 8);
  TestContext ctx;
  ctx.source = &a;
  ctx.images[0] = &small;
  b.effect.Render(&ctx);
  ctx.images[0] = &narrow;
  b.effect.Render(&ctx);
  ctx.images[0] = nullptr;
  b.effect.Render(&ctx);
  EXPECT_TRUE(b.filter->calls.empty());
}

TEST(HostBridge, WithoutAFilterTheEffectIsInert) {
  vorta::KAZAiFilterEffect effect(InfoWith("[]"));
  TestContext ctx;
  EXPECT_EQ(effect.Update(&ctx), 0);
  EXPECT_EQ(effect.Render(&ctx), 0);
  EXPECT_TRUE(ctx.askedKinds.empty());
}

}  // namespace
