// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

#include <nlohmann/json.hpp>

#include "framework/filter_info.h"
#include "framework/filter_params.h"

using nlohmann::json;
using vorta::NLEFilterInfo;
using vorta::NLEFilterParams;
using vorta::PayloadAs;

namespace {

std::shared_ptr<NLEFilterParams> ReadOne(const std::string& entry) {
  NLEFilterInfo info;
  vorta::ReadParams(json::parse("[" + entry + "]"), info);
  return info.ParamAt(0);
}

TEST(ReadParams, NumericKindsAndTheirPayloads) {
  auto f = ReadOne(R"({"NAME": "Edge Feather", "TYPE": "float", "MIN": -2.5, "MAX": 10,
                       "DEFAULT": 0.75})");
  ASSERT_TRUE(f);
  // The value starts as the default, every payload tagged with the kind.
  EXPECT_EQ(std::make_tuple(f->Kind(), PayloadAs<float>(f->Min()), PayloadAs<float>(f->Max()),
                            PayloadAs<float>(f->Default()), PayloadAs<float>(f->Value()),
                            f->Min().type, f->Value().type),
            std::make_tuple(3u, -2.5f, 10.0f, 0.75f, 0.75f, 3u, 3u));
  // Doubles keep full precision.
  auto d = ReadOne(R"({"NAME": "d", "TYPE": "double", "DEFAULT": 0.1})");
  EXPECT_EQ(std::make_tuple(d->Kind(), PayloadAs<double>(d->Value())), std::make_tuple(2u, 0.1));
  auto p = ReadOne(R"({"NAME": "p", "TYPE": "point", "DEFAULT": 3})");
  EXPECT_EQ(std::make_tuple(p->Kind(), PayloadAs<int32_t>(p->Value())), std::make_tuple(5u, 3));
  // Absent bounds and default are zero.
  auto i = ReadOne(R"({"NAME": "i", "TYPE": "int", "MIN": -7})");
  EXPECT_EQ(std::vector<int32_t>({PayloadAs<int32_t>(i->Min()), PayloadAs<int32_t>(i->Max()),
                                  PayloadAs<int32_t>(i->Default())}),
            std::vector<int32_t>({-7, 0, 0}));
}

TEST(ReadParams, StringParametersStartEmptyWhateverTheDefault) {
  auto s = ReadOne(R"({"NAME": "Path", "TYPE": "string", "DEFAULT": "x.png", "MIN": 1})");
  ASSERT_TRUE(s);
  EXPECT_EQ(std::make_tuple(s->Kind(), s->Value().text, s->Value().payload[0], s->Default().text),
            std::make_tuple(6u, "", 0, ""));
}

TEST(ReadParams, UnknownTypesAreDroppedAndReadingGoesOn) {
  NLEFilterInfo info;
  vorta::ReadParams(json::parse(R"([
      {"NAME": "a", "TYPE": "bool"}, {"NAME": "b", "TYPE": "Float"},
      {"NAME": "c", "TYPE": "int"}, {"NAME": "d", "TYPE": ""}])"),
                    info);
  ASSERT_EQ(info.ParamCount(), 1);
  EXPECT_EQ(info.ParamAt(0)->Name(), "c");
}

TEST(ReadParams, AliasDefaultsToTheName) {
  auto plain = ReadOne(R"({"NAME": "Back Blur", "TYPE": "int"})");
  EXPECT_EQ(plain->Alias(), "Back Blur");
  auto aliased = ReadOne(R"({"NAME": "Back Blur", "ALIAS": "Blur", "TYPE": "int"})");
  EXPECT_EQ(std::make_tuple(aliased->Alias(), aliased->Name()),
            std::make_tuple("Blur", "Back Blur"));
}

TEST(ReadParams, TypeErrorsPropagateWithTheLibraryMessage) {
  NLEFilterInfo info;
  try {
    vorta::ReadParams(json::parse(R"([{"NAME": 5, "TYPE": "int"}])"), info);
    FAIL() << "a non-string name must throw";
  } catch (const json::type_error& e) {
    EXPECT_NE(std::string(e.what()).find("type must be string, but is number"), std::string::npos);
  }
  EXPECT_THROW(vorta::ReadParams(json::parse(R"([{"NAME": "n"}])"), info), json::type_error)
      << "a missing TYPE reads as null";
  EXPECT_THROW(
      vorta::ReadParams(json::parse(R"([{"NAME": "n", "TYPE": "int", "MIN": "1"}])"), info),
      json::type_error);
  EXPECT_EQ(info.ParamCount(), 0);
}

// Text values lose one file URL prefix (also when only the payload holds them) and are cut in
// the payload, kept whole in the text; other kinds store the value as it is, tag included.
TEST(ParamStore, TextValuesAreCleanedAndCutOtherKindsKeptAsGiven) {
  NLEParamValue payloadOnly;
  std::strcpy(reinterpret_cast<char*>(payloadOnly.payload), "file:/x/y.png");
  payloadOnly.type = vorta::kKindString;
  const std::string longText(700, 'q');
  const struct {
    uint32_t kind;
    NLEParamValue value;
    std::string text, payload;
    uint32_t type;
  } cases[] = {
      {vorta::kKindString, vorta::MakeTextValue("file:/C:/clips/file:/a.png"),
       "C:/clips/file:/a.png", "C:/clips/file:/a.png", 6},
      {vorta::kKindString, payloadOnly, "x/y.png", "x/y.png", 6},
      {vorta::kKindString, vorta::MakeTextValue(longText), longText, longText.substr(0, 511), 6},
      {vorta::kKindFloat, vorta::MakeTextValue("file:/kept"), "file:/kept", "file:/kept", 6}};
  for (const auto& c : cases) {
    NLEFilterParams set;
    set.SetKind(c.kind);
    set.SetValue(c.value);
    EXPECT_EQ(std::make_tuple(set.Value().text,
                              std::string(reinterpret_cast<const char*>(set.Value().payload)),
                              set.Value().type),
              std::make_tuple(c.text, c.payload, c.type));
  }
}

TEST(ParamCopy, IsDeep) {
  auto original = ReadOne(R"({"NAME": "n", "ALIAS": "a", "TYPE": "float", "DEFAULT": 1,
                               "UIType": "Mult100"})");
  auto copy = original->Copy();
  copy->SetValue(vorta::MakeFloatValue(9.0f));
  copy->SetName("changed");
  EXPECT_EQ(std::make_tuple(PayloadAs<float>(original->Value()), original->Name(), copy->Alias(),
                            copy->UiType(), PayloadAs<float>(copy->Default())),
            std::make_tuple(1.0f, "n", "a", 25, 1.0f));
}

}  // namespace
