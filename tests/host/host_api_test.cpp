// SPDX-License-Identifier: MIT
// The host entry points driven by a test host, over a resources folder made from the bundled
// one plus descriptions the plug-in cannot serve. The human segmentation module is the test
// double, painting its mask from the source's alpha.
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include <dlfcn.h>

#include "ai/doubles/double_probe.h"
#include "framework/param_value.h"
#include "kaz/filter_api.h"
#include "kaz/host_framework.h"
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

constexpr char kCutOut[] = "974A1C95-921E-4D28-89D5-23B7B249589A";

// The two bundled descriptions the suite's resources hold, in the order a scan of their folder
// names gives (HumanSegmentation, then HumanSegmentationCaptureBlur); neither is dynamic.
const std::pair<std::string, std::string> kBundled[] = {{"HumanSegmentation", kCutOut},
                                                        {"HumanSegmentationCaptureBlur", kBlur}};
const int kBundledCount = static_cast<int>(std::size(kBundled));

class HostPlugin : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    resources_ = new TempDir();
    const fs::path effects = resources_->path() / "kaz_effect/plugin/AiEffect";
    for (const auto& effect : kBundled) {
      fs::create_directories(effects / effect.first);
      fs::copy(fs::path(KAZ_RESOURCES_DIR) / "kaz_effect/plugin/AiEffect" / effect.first,
               effects / effect.first, fs::copy_options::recursive);
    }
    resources_->Write(
        "kaz_effect/plugin/AiEffect/ZZ_Unknown/filter.xml",
        std::string("<Filter><GUID>") + kUnsupported + "</GUID><Name>Not here</Name></Filter>");
    host_ = new TestHost();
    host_->util.resources = resources_->str();
    ASSERT_EQ(StartupKAZ(host_, &info_), 0);
  }
  static void TearDownTestSuite() {
    ShutdownKAZ();
    delete host_;
    delete resources_;
  }

  static inline TempDir* resources_ = nullptr;
  static inline TestHost* host_ = nullptr;
  static inline KAZPluginInfo info_;
};

TEST_F(HostPlugin, StartupAcquiresTheSuitesAndFillsTheInformation) {
  const std::vector<std::pair<std::string, int32_t>> asked = {
      {"Memory Allocator Suite", 1}, {"Image Buffer ALlocator Suite", 1}, {"Host Util Suite", 1}};
  EXPECT_EQ(host_->asked, asked);
  EXPECT_EQ(std::make_tuple(info_.interfaceVersion, info_.pluginVersion, std::string(info_.name),
                            std::string(info_.identifier), std::string(info_.description),
                            std::string(info_.reserved)),
            std::make_tuple(1, 1, std::string("Ai Filter"), std::string("com.maplethorne"),
                            std::string("Ai Filter Desc"), std::string()));
  EXPECT_EQ(info_.effectCount, kBundledCount + 1);
}

TEST_F(HostPlugin, EffectsAreRegisteredInScanOrder) {
  for (int i = 0; i < kBundledCount; ++i) {
    RecordingRegistrar r;
    ASSERT_EQ(RegisterKAZEffect(i, &r), 0) << i;
    EXPECT_EQ(std::make_tuple(r.guid, r.flags, r.reserved),
              std::make_tuple(kBundled[i].second, 0x832, 0));
    EXPECT_EQ(host_->util.Count("2:Register AI Effect Success: " + r.guid + " " + r.name), 1);
  }
}

// An unsupported GUID, an index out of range, a missing registrar, a path without a usable
// description, another mode or an unknown GUID: each refused, with its log line.
TEST_F(HostPlugin, RegistrationAndCreationRefusals) {
  RecordingRegistrar r;
  EXPECT_EQ(RegisterKAZEffect(kBundledCount, &r), 2);
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
      {"NAME": "c1", "TYPE": "int", "UIType": "ColorEnd"}
    ]})");
  RecordingRegistrar r;
  ASSERT_EQ(RegisterKAZEffectFromConfPath(dir.str().c_str(), &r), 0);
  EXPECT_EQ(r.name, "All kinds");
  const std::vector<Declaration> want = {
      {16, -1, 0, "d", -1.5, 2.5, 0.5, 2}, {5, -1, 1, "f", 0, 1, 0.25, 2},
      {22, -1, 2, "pct", 0, 1, 0.5, 2},    {14, -1, 3, "s", 0, 0, 0, 2},
      {18, -1, 4, "lm", 0, 0, 0, 2},       {6, -1, 5, "i", -3, 3, 1, 2},
      {6, -1, 6, "hidden", 0, 0, 7, 1},    {7, -1, 7, "c", 0, 0, 16711680, 2},
      {9, -1, 8, "cb", 0, 1, 0, 2},        {17, -1, 9, "p9", 0, 8, 4, 2},
      {19, -1, 10, "mo", 0, 0, 0, 2},      {20, -1, 11, "c0", 0, 0, 0, 2},
      {21, -1, 12, "c1", 0, 0, 0, 2}};
  EXPECT_EQ(r.declarations, want);
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
  TestImage img(w, h, w * 4);
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

// The bridge's own wiring is proven with a recording filter in bridge_test.cpp; here a made
// effect must reach the real filter with the description's parameters.
TEST_F(HostPlugin, AnEffectRendersTheBytesTheFilterApiGives) {
  const int w = 96, h = 54;
  TestImage src = SourceFrame(w, h), viaHost(w, h, w * 4), viaApi(w, h, w * 4);
  KAZEffect* effect = nullptr;
  ASSERT_EQ(CreateKAZEffect(kBlur, 0, &effect), 0);
  EXPECT_EQ(host_->util.Count(std::string("2:Create AI Effect Success: ") + kBlur), 1);
  TestContext ctx;
  KAZHostValue blur{};
  blur.kind = KAZHostValue::kInt32;
  blur.i32 = 100;  // a 15-pixel kernel at this size; the default 10 gives none
  ctx.params = {{"Back Blur", blur}};
  ctx.source = &src;
  ctx.images[0] = &viaHost;
  ASSERT_EQ(effect->Update(&ctx), 0);
  ASSERT_EQ(effect->Render(&ctx), 0);
  ReleaseKAZEffect(effect);

  vorta::NLEEffectFilter* f = CreateNLEAIEffectFilterFromGUID(kBlur, resources_->str().c_str());
  ASSERT_NE(f, nullptr);
  NLEEffectFilterSetParameter(f, "Back Blur", 5, vorta::MakeIntValue(100));
  ASSERT_EQ(NLEEffectFilterTransform(f, viaApi.pixels.data(), w, h, viaApi.stride, nullptr, 0, 0, 0,
                                     src.pixels.data(), w, h, src.stride),
            0);
  DeleteNLEAIEffectFilter(&f);
  EXPECT_EQ(viaHost.pixels, viaApi.pixels);
  EXPECT_NE(viaHost.pixels, src.pixels) << "the effect did something";
}

// What the test-double module says about its instances.
int LiveModuleInstances() {
  void* lib = dlopen("libquorin_module_human_segment.so", RTLD_NOW | RTLD_NOLOAD);
  if (lib == nullptr) return -1;
  KazModuleDoubleStats stats{};
  auto get =
      reinterpret_cast<void (*)(KazModuleDoubleStats*)>(dlsym(lib, "KazModuleDoubleStatsGet"));
  if (get) get(&stats);
  dlclose(lib);
  return get ? stats.liveInstances : -1;
}

// Runs last: it shuts the plug-in down and starts it again.
TEST_F(HostPlugin, ShutdownReleasesSharedModelsAndStartupWorksAgain) {
  // An effect that loads the segmentation model (not every bundled effect does).
  KAZEffect* effect = nullptr;
  ASSERT_EQ(CreateKAZEffect(kCutOut, 0, &effect), 0);
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
  ASSERT_EQ(CreateKAZEffect(kCutOut, 0, &effect), 0);
  effect->Render(&ctx);
  ReleaseKAZEffect(effect);
  EXPECT_EQ(LiveModuleInstances(), before) << "a fresh model is loaded on demand";
}

}  // namespace
