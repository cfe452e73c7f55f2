// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include <nlohmann/json.hpp>

#include "framework/registry.h"
#include "test_filter.h"

using kaztest::InvertTestFilter;
using vorta::FilterInfoPtr;
using vorta::PayloadAs;

namespace {

FilterInfoPtr InfoWithParams(const std::string& guid, const std::string& params) {
  auto info = std::make_shared<vorta::NLEFilterInfo>();
  info->guid = guid;
  vorta::ReadParams(nlohmann::json::parse(params), *info);
  return info;
}

const char kTwoParams[] = R"([{"NAME": "Edge Thickness", "TYPE": "float", "DEFAULT": 2},
                              {"NAME": "Path", "TYPE": "string"}])";

TEST(FilterBase, ParameterSetsArePrivateCopies) {
  FilterInfoPtr info = InfoWithParams("G", kTwoParams);
  InvertTestFilter a(info), b(info);
  ASSERT_EQ(a.SetParameter("Edge Thickness", 3, vorta::MakeFloatValue(-4.0f)), 0);
  NLEParamValue va, vb;
  uint32_t kind = 0;
  ASSERT_TRUE(a.GetParameterValue("Edge Thickness", va));
  ASSERT_EQ(b.GetParameter("Edge Thickness", &kind, &vb), 0);
  // b still holds the description's default, in the description's kind.
  EXPECT_EQ(std::make_tuple(PayloadAs<float>(va), PayloadAs<float>(vb), kind,
                            PayloadAs<float>(info->ParamAt(0)->Value())),
            std::make_tuple(-4.0f, 2.0f, 3u, 2.0f));
  EXPECT_STREQ(InvertTestFilter(nullptr).GetGUID(), "");
}

TEST(FilterBase, NewNamesTakeTheGivenKindExistingNamesKeepTheirs) {
  InvertTestFilter f(InfoWithParams("G", "[]"));
  uint32_t kind = 0;
  NLEParamValue value;
  EXPECT_EQ(f.GetParameter("Speed", &kind, &value), 1);
  ASSERT_EQ(f.SetParameter("Speed", 5, vorta::MakeIntValue(7)), 0);
  ASSERT_EQ(f.GetParameter("Speed", &kind, &value), 0);
  EXPECT_EQ(std::make_tuple(kind, PayloadAs<int32_t>(value)), std::make_tuple(5u, 7));
  // The stored kind stays; the value is stored as given, tag included.
  ASSERT_EQ(f.SetParameter("Speed", 3, vorta::MakeFloatValue(1.5f)), 0);
  ASSERT_EQ(f.GetParameter("Speed", &kind, &value), 0);
  EXPECT_EQ(std::make_tuple(kind, value.type, PayloadAs<float>(value)),
            std::make_tuple(5u, 3u, 1.5f));
}

TEST(FilterBase, SpacedNameFirstThenUnderscoreSpelling) {
  InvertTestFilter f(InfoWithParams("G", "[]"));
  NLEParamValue value;
  f.SetParameter("Edge_Feather", 3, vorta::MakeFloatValue(1.0f));
  ASSERT_TRUE(f.GetParameterValueSpacedOrUnderscore("Edge Feather", value));
  EXPECT_EQ(PayloadAs<float>(value), 1.0f);
  f.SetParameter("Edge Feather", 3, vorta::MakeFloatValue(2.0f));
  ASSERT_TRUE(f.GetParameterValueSpacedOrUnderscore("Edge Feather", value));
  EXPECT_EQ(PayloadAs<float>(value), 2.0f) << "the spaced name wins when both are set";
  EXPECT_FALSE(f.GetParameterValueSpacedOrUnderscore("Back Blur", value));
}

TEST(FilterBase, TransformChannelsServesOnlyFourChannels) {
  InvertTestFilter f(nullptr);
  unsigned char src[4] = {10, 20, 30, 40}, dst[4] = {1, 2, 3, 4};
  EXPECT_EQ(f.TransformChannels(dst, 1, 1, 4, nullptr, 0, 0, 0, src, 1, 1, 4, 4, 4, 1), 1);
  EXPECT_EQ(dst[0], 1) << "a refused call leaves the destination";
  EXPECT_EQ(f.TransformChannels(dst, 1, 1, 4, nullptr, 0, 0, 0, src, 1, 1, 4, 4, 4, 4), 0);
  EXPECT_EQ(std::vector<int>(dst, dst + 4), std::vector<int>({245, 235, 225, 40}));
}

TEST(AiFilter, TransferPointerTravelsOnlyAsKindSeven) {
  InvertTestFilter f(nullptr);
  int object = 0;
  uint32_t kind = 0;
  NLEParamValue value;

  // Fresh: none held, yet the kind and a null pointer answer.
  EXPECT_EQ(f.GetParameter(vorta::kAiDataTransferName, &kind, &value), 1);
  EXPECT_EQ(std::make_tuple(kind, PayloadAs<void*>(value)), std::make_tuple(7u, nullptr));

  f.SetParameter(vorta::kAiDataTransferName, 5, vorta::MakePointerValue(&object));
  EXPECT_EQ(f.AiDataTransferPointer(), nullptr) << "another kind is dropped";
  EXPECT_EQ(f.GetParameter(vorta::kAiDataTransferName, &kind, &value), 1)
      << "and nothing was stored under the name";

  f.SetParameter(vorta::kAiDataTransferName, 7, vorta::MakePointerValue(&object));
  EXPECT_EQ(f.AiDataTransferPointer(), &object);
  value = NLEParamValue();
  EXPECT_EQ(f.GetParameter(vorta::kAiDataTransferName, &kind, &value), 0);
  EXPECT_EQ(PayloadAs<void*>(value), &object);

  // A null pointer clears the transfer and is stored like any parameter.
  f.SetParameter(vorta::kAiDataTransferName, 7, vorta::MakePointerValue(nullptr));
  EXPECT_EQ(f.AiDataTransferPointer(), nullptr);
  EXPECT_EQ(f.GetParameter(vorta::kAiDataTransferName, &kind, &value), 0);
  EXPECT_EQ(std::make_tuple(kind, PayloadAs<void*>(value)), std::make_tuple(7u, nullptr));
}

class Registry : public ::testing::Test {
 protected:
  const std::vector<vorta::FilterClassRow> table_ = {
      {"11111111-2222-3333-4444-555555555555", &vorta::MakeFilter<InvertTestFilter>},
      {"AAAAAAAA-2222-3333-4444-555555555555", &vorta::MakeFilter<InvertTestFilter>},
  };
  FilterInfoPtr Info(const std::string& guid) { return InfoWithParams(guid, kTwoParams); }
};

// Creating builds the class of an exact GUID; asking answers the marker and builds nothing.
TEST_F(Registry, CreatesTheClassOfAnExactGuidAndAskingBuildsNothing) {
  const int before = InvertTestFilter::constructed;
  EXPECT_EQ(
      vorta::CreateFilterFromTable(table_, Info("11111111-2222-3333-4444-555555555555"), false),
      reinterpret_cast<vorta::NLEEffectFilter*>(1));
  EXPECT_EQ(InvertTestFilter::constructed, before);
  vorta::NLEEffectFilter* f =
      vorta::CreateFilterFromTable(table_, Info("AAAAAAAA-2222-3333-4444-555555555555"), true);
  ASSERT_NE(dynamic_cast<InvertTestFilter*>(f), nullptr);
  EXPECT_STREQ(f->GetGUID(), "AAAAAAAA-2222-3333-4444-555555555555");
  EXPECT_EQ(InvertTestFilter::constructed, before + 1);
  delete f;
}

TEST_F(Registry, CaseBracesAndPrefixesDoNotMatch) {
  for (const char* guid :
       {"aaaaaaaa-2222-3333-4444-555555555555", "{AAAAAAAA-2222-3333-4444-555555555555}",
        "AAAAAAAA-2222-3333-4444-55555555555", "AAAAAAAA-2222-3333-4444-555555555555 ", ""}) {
    EXPECT_EQ(vorta::CreateFilterFromTable(table_, Info(guid), true), nullptr) << guid;
    EXPECT_EQ(vorta::CreateFilterFromTable(table_, Info(guid), false), nullptr) << guid;
  }
  EXPECT_EQ(vorta::CreateFilterFromTable(table_, nullptr, true), nullptr);
}

}  // namespace
