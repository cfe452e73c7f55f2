// SPDX-License-Identifier: MIT
// The host entry points driven by a test host, over a resources folder made from the bundled
// one plus descriptions the plug-in cannot serve. The human segmentation module is the test
// double, painting its mask from the source's alpha.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <tuple>

#include <dlfcn.h>

#include "framework/param_value.h"
#include "kaz/filter_api.h"
#include "kaz/host_framework.h"
#include "nlohmann/json.hpp"
#include "support/test_support.h"
#include "test_host.h"

using kaztest::Declaration;
using kaztest::RecordingRegistrar;
using kaztest::TempDir;
using kaztest::TestContext;
using kaztest::TestHost;
using kaztest::TestImage;

namespace fs = std::filesystem;

namespace {

constexpr char kBlur[] = "1AEA14C6-59BC-491F-A1D1-EB02009706B7";
constexpr char kUnsupported[] = "00000000-1111-2222-3333-444444444444";

// The bundled effects' GUIDs, in the order a scan of their folder names gives, and the flags
// each should be registered with (dynamic ones change with time), read from the descriptions
// with the JSON library rather than the plug-in's own reader.
std::vector<std::pair<std::string, int32_t>> BundledEffects() {
  std::vector<fs::path> files;
  for (const auto& e : fs::recursive_directory_iterator(fs::path(KAZ_RESOURCES_DIR) /
                                                        "kaz_effect/plugin/AiEffect")) {
    if (e.path().extension() == ".conf") files.push_back(e.path());
  }
  std::sort(files.begin(), files.end());
  std::vector<std::pair<std::string, int32_t>> effects;
  for (const auto& f : files) {
    std::ifstream in(f);
    const nlohmann::json d = nlohmann::json::parse(in);
    const bool dynamic = d.contains("DYNAMIC") && d["DYNAMIC"].get<std::string>() != "0";
    effects.emplace_back(d.at("GUID").get<std::string>(), dynamic ? 0x800832 : 0x832);
  }
  return effects;
}

const std::vector<std::pair<std::string, int32_t>> kBundled = BundledEffects();

class HostPlugin : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    resources_ = new TempDir();
    const fs::path effects = resources_->path() / "kaz_effect/plugin/AiEffect";
    fs::create_directories(effects);
    fs::copy(fs::path(KAZ_RESOURCES_DIR) / "kaz_effect/plugin/AiEffect", effects,
             fs::copy_options::recursive);
    resources_->Write(
        "kaz_effect/plugin/AiEffect/ZZ_Unknown/filter.xml",
        std::string("<Filter><GUID>") + kUnsupported + "</GUID><Name>Not here</Name></Filter>");
    host_ = new TestHost();
    host_->util.resources = resources_->str();
    info_ = KAZPluginInfo{};
    ASSERT_EQ(StartupKAZ(host_, &info_), 0);
  }
  static void TearDownTestSuite() {
    ShutdownKAZ();
    delete host_;
    delete resources_;
  }

  static TempDir* resources_;
  static TestHost* host_;
  static KAZPluginInfo info_;
};
TempDir* HostPlugin::resources_ = nullptr;
TestHost* HostPlugin::host_ = nullptr;
KAZPluginInfo HostPlugin::info_;

TEST_F(HostPlugin, StartupAcquiresTheSuitesAndFillsTheInformation) {
  const std::vector<std::pair<std::string, int32_t>> asked = {
      {"Memory Allocator Suite", 1}, {"Image Buffer ALlocator Suite", 1}, {"Host Util Suite", 1}};
  EXPECT_EQ(host_->asked, asked);
  EXPECT_EQ(std::make_tuple(info_.interfaceVersion, info_.pluginVersion, std::string(info_.name),
                            std::string(info_.identifier), std::string(info_.description),
                            std::string(info_.reserved)),
            std::make_tuple(1, 1, std::string("Ai Filter"), std::string("com.maplethorne"),
                            std::string("Ai Filter Desc"), std::string()));
  EXPECT_EQ(info_.effectCount, static_cast<int32_t>(kBundled.size() + 1));
}

TEST_F(HostPlugin, EffectsAreRegisteredInScanOrder) {
  for (size_t i = 0; i < kBundled.size(); ++i) {
    RecordingRegistrar r;
    ASSERT_EQ(RegisterKAZEffect(static_cast<int32_t>(i), &r), 0) << i;
    EXPECT_EQ(r.guid, kBundled[i].first);
    EXPECT_EQ(r.flags, kBundled[i].second) << r.guid;
    EXPECT_EQ(r.reserved, 0);
    EXPECT_EQ(host_->util.Count("2:Register AI Effect Success: " + r.guid + " " + r.name), 1);
  }
}

// An unsupported GUID, an index out of range, a missing registrar, a path without a usable
// description, another mode or an unknown GUID: each refused, with its log line.
TEST_F(HostPlugin, RegistrationAndCreationRefusals) {
  RecordingRegistrar r;
  EXPECT_EQ(RegisterKAZEffect(static_cast<int32_t>(kBundled.size()), &r), 2);
  EXPECT_EQ(host_->util.Count(std::string("4:Register AI Effect Failed: ") + kUnsupported), 1);
  EXPECT_TRUE(r.guid.empty()) << "nothing is declared for it";
  EXPECT_EQ(std::vector<int32_t>({RegisterKAZEffect(-1, &r), RegisterKAZEffect(0, nullptr),
                                  RegisterKAZEffect(1000, &r)}),
            std::vector<int32_t>(3, 2));
  TempDir dir;
  EXPECT_EQ(RegisterKAZEffectFromConfPath(dir.str().c_str(), &r), 2);
  dir.Write("fx/e.conf", std::string(R"({"GUID": ")") + kUnsupported + "\"}");
  EXPECT_EQ(RegisterKAZEffectFromConfPath(dir.str().c_str(), &r), 2);
  EXPECT_EQ(host_->util.Count("4:Register AI Effect Failed: " + dir.str()), 1);
  KAZEffect* effect = nullptr;
  EXPECT_EQ(CreateKAZEffect(kBlur, 1, &effect), 2);
  EXPECT_EQ(CreateKAZEffect("not-a-guid", 0, &effect), 2);
  EXPECT_EQ(effect, nullptr);
  EXPECT_EQ(host_->util.Count("4:Create AI Effect Failed: not-a-guid"), 1);
}

TEST_F(HostPlugin, ParametersAreDeclaredThroughTheirSlots) {
  TempDir dir;
  dir.Write("fx/e.conf", std::string(R"({"GUID": ")") + kBlur + R"(", "NAME": "All kinds",
    "PARAMS": [
      {"NAME": "d", "TYPE": "double", "MIN": -1.5, "MAX": 2.5, "DEFAULT": 0.5},
      {"NAME": "f", "TYPE": "float", "MIN": 0, "MAX": 1, "DEFAULT": 0.25},
      {"NAME": "pct", "TYPE": "float", "MAX": 1, "DEFAULT": 0.5, "UIType": "Mult100"},
      {"NAME": "s", "TYPE": "string", "DEFAULT": "ignored"},
      {"NAME": "lm", "TYPE": "string", "UIType": "ListMask"},
      {"NAME": "i", "TYPE": "int", "MIN": -3, "MAX": 3, "DEFAULT": 1},
      {"NAME": "hidden", "TYPE": "int", "UIType": "NoShow", "DEFAULT": 7},
      {"NAME": "c", "TYPE": "int", "UIType": "Color", "DEFAULT": 16711680},
      {"NAME": "cb", "TYPE": "int", "UIType": "CheckBox", "MAX": 1},
      {"NAME": "p9", "TYPE": "point", "UIType": "9Palaces", "MAX": 8, "DEFAULT": 4},
      {"NAME": "mo", "TYPE": "int", "UIType": "ListMosaic"},
      {"NAME": "c0", "TYPE": "int", "UIType": "ColorStart"},
      {"NAME": "c1", "TYPE": "int", "UIType": "ColorEnd"},
      {"NAME": "b", "TYPE": "bool"}
    ]})");
  RecordingRegistrar r;
  ASSERT_EQ(RegisterKAZEffectFromConfPath(dir.str().c_str(), &r), 0);
  EXPECT_EQ(r.name, "All kinds");
  using Want = std::tuple<int, int32_t, int32_t, std::string, double, double, double, int32_t>;
  const std::vector<Want> want = {
      {16, -1, 0, "d", -1.5, 2.5, 0.5, 2}, {5, -1, 1, "f", 0, 1, 0.25, 2},
      {22, -1, 2, "pct", 0, 1, 0.5, 2},    {14, -1, 3, "s", 0, 0, 0, 2},
      {18, -1, 4, "lm", 0, 0, 0, 2},       {6, -1, 5, "i", -3, 3, 1, 2},
      {6, -1, 6, "hidden", 0, 0, 7, 1},    {7, -1, 7, "c", 0, 0, 16711680, 2},
      {9, -1, 8, "cb", 0, 1, 0, 2},        {17, -1, 9, "p9", 0, 8, 4, 2},
      {19, -1, 10, "mo", 0, 0, 0, 2},      {20, -1, 11, "c0", 0, 0, 0, 2},
      {21, -1, 12, "c1", 0, 0, 0, 2}};  // the bool entry is dropped when read
  std::vector<Want> got;
  for (const Declaration& d : r.declarations)
    got.emplace_back(d.slot, d.group, d.index, d.name, d.min, d.max, d.def, d.visibility);
  EXPECT_EQ(got, want);
  EXPECT_EQ(r.declarations[3].textDef, "") << "text parameters start empty";
}

TEST_F(HostPlugin, FlagsForOrdinaryTransitionAndDynamicDescriptions) {
  const struct {
    const char* extra;
    int32_t flags;
  } cases[] = {{"", 0x832},
               {R"(, "TRANSITION": 1)", 0x834},
               {R"(, "TRANSITION": 1, "DYNAMIC": "1")", 0x800834},
               {R"(, "DYNAMIC": "2")", 0x800832}};
  for (const auto& c : cases) {
    TempDir dir;
    dir.Write("fx/e.conf", std::string(R"({"GUID": ")") + kBlur + "\"" + c.extra + "}");
    RecordingRegistrar r;
    ASSERT_EQ(RegisterKAZEffectFromConfPath(dir.str().c_str(), &r), 0) << c.extra;
    EXPECT_EQ(r.flags, c.flags) << c.extra;
  }
}

TEST_F(HostPlugin, ReleaseIgnoresEffectsItDidNotMake) {
  struct Foreign : KAZEffect {
    bool* destroyed;
    explicit Foreign(bool* d) : destroyed(d) {}
    ~Foreign() override { *destroyed = true; }
    int32_t Update(KAZRenderContext*) override { return 0; }
    int32_t Render(KAZRenderContext*) override { return 0; }
  };
  bool destroyed = false;
  Foreign foreign(&destroyed);
  EXPECT_EQ(ReleaseKAZEffect(&foreign), 0);
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(ReleaseKAZEffect(nullptr), 0);
}

// A frame whose alpha (the double's mask) runs through every value.
TestImage SourceFrame(int w, int h) {
  TestImage img(w, h, w * 4 + 8);
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      unsigned char* p = &img.pixels[y * img.stride + x * 4];
      p[0] = static_cast<unsigned char>(x * 7 + y);
      p[1] = static_cast<unsigned char>(x * 3 + y * 5);
      p[2] = static_cast<unsigned char>(200 - x);
      p[3] = static_cast<unsigned char>((x * 11 + y * 17) % 256);
    }
  }
  return img;
}

TEST_F(HostPlugin, AnEffectRendersTheBytesTheFilterApiGives) {
  const int w = 96, h = 54;
  TestImage src = SourceFrame(w, h);

  KAZEffect* effect = nullptr;
  ASSERT_EQ(CreateKAZEffect(kBlur, 0, &effect), 0);
  ASSERT_NE(effect, nullptr);
  EXPECT_EQ(host_->util.Count(std::string("2:Create AI Effect Success: ") + kBlur), 1);
  TestImage viaHost(w, h, w * 4, 9);
  TestContext ctx;
  ctx.current = 3;
  ctx.total = 10;
  KAZHostValue thickness{}, feather{}, blur{};
  thickness.kind = feather.kind = KAZHostValue::kDouble;
  thickness.f64 = -1.0;
  feather.f64 = 3.0;
  blur.kind = KAZHostValue::kInt32;
  blur.i32 = 12;
  ctx.params = {{"Edge Thickness", thickness}, {"Edge Feather", feather}, {"Back Blur", blur}};
  ctx.source = &src;
  ctx.images[0] = &viaHost;
  ASSERT_EQ(effect->Update(&ctx), 0);
  ASSERT_EQ(effect->Render(&ctx), 0);
  ReleaseKAZEffect(effect);

  vorta::NLEEffectFilter* f = CreateNLEAIEffectFilterFromGUID(kBlur, resources_->str().c_str());
  ASSERT_NE(f, nullptr);
  NLEEffectFilterSetParameter(f, "Edge Thickness", 2, vorta::MakeDoubleValue(-1.0));
  NLEEffectFilterSetParameter(f, "Edge Feather", 2, vorta::MakeDoubleValue(3.0));
  NLEEffectFilterSetParameter(f, "Back Blur", 5, vorta::MakeIntValue(12));
  TestImage viaApi(w, h, w * 4, 9);
  ASSERT_EQ(NLEEffectFilterTransform(f, viaApi.pixels.data(), w, h, viaApi.stride, nullptr, 0, 0, 0,
                                     src.pixels.data(), w, h, src.stride),
            0);
  DeleteNLEAIEffectFilter(&f);

  EXPECT_EQ(viaHost.pixels, viaApi.pixels);
  int changed = 0;
  for (int y = 0; y < h; ++y) {
    changed +=
        std::memcmp(&viaHost.pixels[y * viaHost.stride], &src.pixels[y * src.stride], w * 4) != 0;
  }
  EXPECT_GT(changed, 0) << "the effect did something";
}

// What the test-double module says about its instances.
int LiveModuleInstances() {
  void* lib = dlopen("libquorin_module_human_segment.so", RTLD_NOW | RTLD_NOLOAD);
  if (lib == nullptr) return -1;
  struct Stats {
    int32_t createCalls, destroyCalls, destroyNullCalls, liveInstances;
    char rest[4096];
  } stats{};
  auto get = reinterpret_cast<void (*)(Stats*)>(dlsym(lib, "KazModuleDoubleStatsGet"));
  if (get) get(&stats);
  dlclose(lib);
  return get ? stats.liveInstances : -1;
}

// Runs last: it shuts the plug-in down and starts it again.
TEST_F(HostPlugin, ShutdownReleasesSharedModelsAndStartupWorksAgain) {
  // An effect that loads the segmentation model (not every bundled effect does).
  const std::string cutOut = "974A1C95-921E-4D28-89D5-23B7B249589A";
  KAZEffect* effect = nullptr;
  ASSERT_EQ(CreateKAZEffect(cutOut.c_str(), 0, &effect), 0);
  TestImage src = SourceFrame(16, 8), dst(16, 8, 64);
  TestContext ctx;
  ctx.source = &src;
  ctx.images[0] = &dst;
  effect->Render(&ctx);
  ReleaseKAZEffect(effect);
  const int before = LiveModuleInstances();
  ASSERT_GE(before, 1) << "the class keeps its model loaded between effects";

  EXPECT_EQ(ShutdownKAZ(), 0);
  EXPECT_EQ(LiveModuleInstances(), before - 1);

  KAZPluginInfo again{};
  ASSERT_EQ(StartupKAZ(host_, &again), 0);
  EXPECT_EQ(again.effectCount, info_.effectCount) << "nothing is registered twice";
  RecordingRegistrar r;
  EXPECT_EQ(RegisterKAZEffect(0, &r), 0);
  ASSERT_EQ(CreateKAZEffect(cutOut.c_str(), 0, &effect), 0);
  effect->Render(&ctx);
  ReleaseKAZEffect(effect);
  EXPECT_EQ(LiveModuleInstances(), before) << "a fresh model is loaded on demand";
}

}  // namespace
