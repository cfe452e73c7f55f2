// SPDX-License-Identifier: MIT
// The command-line values kazfx turns into what the plug-in receives.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>
#include <tuple>

#include "failure.h"
#include "options.h"
#include "values.h"

namespace kazfx {
namespace {

ParamDecl Decl(const char* name, ParamKind kind, ParamControl control = ParamControl::kPlain,
               double min = 0, double max = 0) {
  ParamDecl d;
  d.name = name;
  d.kind = kind;
  d.control = control;
  d.min = min;
  d.max = max;
  return d;
}

int UsageStatus(const std::function<void()>& body) {
  try {
    body();
  } catch (const Failure& f) {
    return f.status();
  }
  return 0;
}

TEST(ColorText, TakesHexWithEitherPrefixOrDecimal) {
  EXPECT_EQ(ParseColor("0xFF8000", "c"), 0xFF8000u);
  EXPECT_EQ(ParseColor("#ff8000", "c"), 0xFF8000u);
  EXPECT_EQ(ParseColor("#80FF8000", "c"), 0x80FF8000u);
  EXPECT_EQ(ParseColor("255", "c"), 255u);
  for (const char* bad : {"#", "0x", "#GG0000", "0x123456789", "red", "-1", "4294967296"}) {
    EXPECT_EQ(UsageStatus([&] { ParseColor(bad, "c"); }), kExitUsage) << bad;
  }
}

TEST(ParamValue, NumbersTakeTheDeclaredRepresentation) {
  const ParamSetting f = ParseParamValue(Decl("F", ParamKind::kFloat), "0.1");
  const ParamSetting d = ParseParamValue(Decl("D", ParamKind::kDouble), "0.1");
  const ParamSetting i = ParseParamValue(Decl("I", ParamKind::kInt), "-20");
  EXPECT_EQ(
      std::make_tuple(f.kind, f.f32, d.kind, d.f64, i.kind, i.i32),
      std::make_tuple(ParamKind::kFloat, 0.1f, ParamKind::kDouble, 0.1, ParamKind::kInt, -20));
  EXPECT_EQ(UsageStatus([] { ParseParamValue(Decl("I", ParamKind::kInt), "1.5"); }), kExitUsage);
  EXPECT_EQ(UsageStatus([] { ParseParamValue(Decl("I", ParamKind::kInt), "2147483648"); }),
            kExitUsage);
  EXPECT_EQ(ParseParamValue(Decl("I", ParamKind::kInt), "-2147483648").i32, INT32_MIN);
  EXPECT_EQ(UsageStatus([] { ParseParamValue(Decl("F", ParamKind::kFloat), "1e39"); }), kExitUsage);
}

TEST(ParamValue, DeclaredRangeIsEnforcedOnlyWhenItIsARange) {
  const ParamDecl ranged = Decl("Back Blur", ParamKind::kInt, ParamControl::kPlain, 0, 100);
  EXPECT_EQ(ParseParamValue(ranged, "0").i32, 0);
  EXPECT_EQ(ParseParamValue(ranged, "100").i32, 100);
  EXPECT_EQ(UsageStatus([&] { ParseParamValue(ranged, "101"); }), kExitUsage);
  EXPECT_EQ(UsageStatus([&] { ParseParamValue(ranged, "-1"); }), kExitUsage);
  // A description without MIN and MAX declares 0 .. 0: no limit to enforce.
  const ParamDecl open = Decl("Free", ParamKind::kDouble);
  EXPECT_EQ(ParseParamValue(open, "-1234.5").f64, -1234.5);
  // Float ranges are compared after narrowing, as the plug-in will hold the value.
  const ParamDecl unit = Decl("Unit", ParamKind::kFloat, ParamControl::kPlain, 0.0, 0.1f);
  EXPECT_EQ(ParseParamValue(unit, "0.1000000015").f32, 0.1f);
}

TEST(ParamValue, ControlsChooseTheTextForm) {
  const ParamDecl percent = Decl("Opacity", ParamKind::kFloat, ParamControl::kPercent, 0, 1);
  EXPECT_EQ(ParseParamValue(percent, "50%").f32, 0.5f);
  EXPECT_EQ(ParseParamValue(percent, "0.25").f32, 0.25f);
  EXPECT_EQ(UsageStatus([&] { ParseParamValue(percent, "150%"); }), kExitUsage);
  // Only percent floats take '%'.
  EXPECT_EQ(UsageStatus([] { ParseParamValue(Decl("F", ParamKind::kFloat), "50%"); }), kExitUsage);

  const ParamDecl color = Decl("Edge Color", ParamKind::kInt, ParamControl::kColor);
  EXPECT_EQ(ParseParamValue(color, "#00FF80").i32, 0x00FF80);
  // All 32 bits travel, as an editor's colour well hands them over.
  EXPECT_EQ(static_cast<uint32_t>(ParseParamValue(color, "#FF000000").i32), 0xFF000000u);
  const ParamDecl start = Decl("Start", ParamKind::kInt, ParamControl::kColorStart);
  EXPECT_EQ(ParseParamValue(start, "#0000ff").i32, 0xFF);

  const ParamDecl box = Decl("Enabled", ParamKind::kInt, ParamControl::kCheckBox);
  EXPECT_EQ(ParseParamValue(box, "on").i32, 1);
  EXPECT_EQ(ParseParamValue(box, "0").i32, 0);
  EXPECT_EQ(UsageStatus([&] { ParseParamValue(box, "#FF"); }), kExitUsage);

  // Text is kept exactly, spaces, '=' and all.
  const ParamDecl text = Decl("Mask", ParamKind::kString, ParamControl::kListMask);
  EXPECT_EQ(ParseParamValue(text, " a=b c ").text, " a=b c ");
}

TEST(Lookup, ParametersByDeclaredNameThenUnderscoreThenCase) {
  EffectDecl effect;
  effect.name = "Test";
  effect.params = {Decl("Edge Thickness", ParamKind::kDouble),
                   Decl("Edge_Thickness", ParamKind::kFloat), Decl("Back Blur", ParamKind::kInt)};
  EXPECT_EQ(FindParam(effect, "Edge Thickness"), &effect.params[0]);
  EXPECT_EQ(FindParam(effect, "Edge_Thickness"), &effect.params[1]);
  EXPECT_EQ(FindParam(effect, "Back_Blur"), &effect.params[2]);
  EXPECT_EQ(FindParam(effect, "back blur"), &effect.params[2]);
  EXPECT_EQ(FindParam(effect, "BACK_BLUR"), &effect.params[2]);
  EXPECT_EQ(FindParam(effect, "Back"), nullptr);
  EXPECT_EQ(FindParam(effect, "BackBlur"), nullptr);
  // Both declared names fold to the same text; with no exact hit the user must choose.
  EXPECT_EQ(UsageStatus([&] { FindParam(effect, "edge thickness"); }), kExitUsage);
}

TEST(Lookup, EffectsByGuidOrName) {
  std::vector<EffectDecl> effects(2);
  effects[0].guid = "1AEA14C6-59BC-491F-A1D1-EB02009706B7";
  effects[0].name = "Background Blur";
  effects[1].guid = "974A1C95-921E-4D28-89D5-23B7B249589A";
  effects[1].name = "Human Segmentation";
  EXPECT_EQ(FindEffect(effects, "1aea14c6-59bc-491f-a1d1-eb02009706b7"), &effects[0]);
  EXPECT_EQ(FindEffect(effects, "{974A1C95-921E-4D28-89D5-23B7B249589A}"), &effects[1]);
  EXPECT_EQ(FindEffect(effects, "Background Blur"), &effects[0]);
  EXPECT_EQ(FindEffect(effects, "background_blur"), &effects[0]);
  EXPECT_EQ(FindEffect(effects, "Background"), nullptr);
  EXPECT_EQ(FindEffect(effects, "1AEA14C6"), nullptr);
}

TEST(FrameRates, BecomeTheRationalAnEditorWouldSend) {
  const struct {
    double fps;
    int64_t numerator, denominator;
  } cases[] = {{25, 25, 1},
               {30000.0 / 1001, 30000, 1001},
               {29.97, 30000, 1001},
               {12.5, 25, 2},
               {10.1234, 10123, 1000},
               {0.0001, 1, 1000},
               // Not a rate at all: the default.
               {0, 25, 1},
               {-30, 25, 1},
               {std::numeric_limits<double>::quiet_NaN(), 25, 1}};
  for (const auto& c : cases) {
    const Rational r = FrameRateRational(c.fps);
    EXPECT_EQ(std::make_pair(r.numerator, r.denominator),
              std::make_pair(c.numerator, c.denominator))
        << c.fps;
  }
}

TEST(CommandLine, OptionsMixWithPositionals) {
  const std::vector<OptionRule> rules = {{"effect", true}, {"param", true}, {"quiet", false}};
  const Options o("apply", rules,
                  {"in.avi", "--effect", "Blur", "--param=A=1", "--quiet", "--param", "B=2",
                   "out.avi", "--", "--not-an-option"});
  EXPECT_EQ(o.Positionals(), (std::vector<std::string>{"in.avi", "out.avi", "--not-an-option"}));
  EXPECT_EQ(o.Value("effect"), "Blur");
  EXPECT_EQ(o.Values("param"), (std::vector<std::string>{"A=1", "B=2"}));
  EXPECT_TRUE(o.Has("quiet"));
  EXPECT_FALSE(o.Help());
  EXPECT_EQ(o.Value("frames", "all"), "all");
  // A value may start with '-': it is the option's, not a new option.
  const Options negative("blend", {{"opacity", true}}, {"--opacity", "-0.5"});
  EXPECT_EQ(negative.Value("opacity"), "-0.5");
  EXPECT_TRUE(Options("list", {}, {"-h"}).Help());
}

TEST(CommandLine, MistakesAreUsageErrors) {
  const std::vector<OptionRule> rules = {{"effect", true}, {"quiet", false}};
  EXPECT_EQ(UsageStatus([&] { Options("apply", rules, {"--bogus"}); }), kExitUsage);
  EXPECT_EQ(UsageStatus([&] { Options("apply", rules, {"-q"}); }), kExitUsage);
  EXPECT_EQ(UsageStatus([&] { Options("apply", rules, {"a", "--effect"}); }), kExitUsage);
  EXPECT_EQ(UsageStatus([&] { Options("apply", rules, {"--quiet=yes"}); }), kExitUsage);
}

}  // namespace
}  // namespace kazfx
