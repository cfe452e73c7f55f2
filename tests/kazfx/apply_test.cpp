// SPDX-License-Identifier: MIT
// kazfx list and apply end to end: the built binary loads the plug-in, which runs the
// segmentation test double (its mask is chosen per run), so every output byte is known.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <thread>
#include <tuple>

#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

#include "imaging/reference.h"
#include "kazfx_run.h"

namespace fs = std::filesystem;

namespace kazfxtest {
namespace {

const std::string kDoubles = KAZ_DOUBLES_DIR;
// The mask is the source's byte 0 (blue), so every mask value from 0 to 255 occurs.
const std::map<std::string, std::string> kBlueMask = {{"KAZ_DOUBLE_HUMANSEG_MASK", "channel:0"}};

cv::Mat BlueOf(const cv::Mat& bgra) {
  cv::Mat blue;
  cv::extractChannel(bgra, blue, 0);
  return blue;
}

cv::Mat PersonCutOut(const cv::Mat& src, int morph) {
  cv::Mat mask = BlueOf(src);
  const cv::Mat element =
      cv::getStructuringElement(cv::MORPH_RECT, {2 * std::abs(morph) + 1, 2 * std::abs(morph) + 1});
  if (morph < 0) cv::erode(mask, mask, element);
  if (morph > 0) cv::dilate(mask, mask, element);
  return ref::applyMask(ref::maskPixel, src, mask, 4);
}

cv::Mat PersonOnWhite(const cv::Mat& src) {
  return ref::applyMask(ref::whitePixel, src, BlueOf(src), 4);
}

cv::Mat BackgroundBlur(const cv::Mat& src, int backBlur, int morph) {
  const double scale = std::max(src.cols, src.rows) / 640.0;
  const int kernel = 2 * static_cast<int>(backBlur * scale * 0.5) + 1;
  cv::Mat blurred;
  cv::GaussianBlur(src, blurred, {kernel, kernel}, kernel, kernel, cv::BORDER_REFLECT_101);
  return ref::blendImage(PersonCutOut(src, morph), blurred, 0, 255, true);
}

// Random BGRA frames; a row of blue 0 and a row of blue 255 give the mask's two special values.
std::vector<cv::Mat> RandomFrames(int count, cv::Size size) {
  std::vector<cv::Mat> frames;
  cv::RNG rng(7);
  for (int i = 0; i < count; ++i) {
    cv::Mat f(size, CV_8UC4);
    rng.fill(f, cv::RNG::UNIFORM, 0, 256);
    for (int x = 0; x < size.width; ++x) {
      f.at<cv::Vec4b>(3, x)[0] = 0;
      f.at<cv::Vec4b>(4, x)[0] = 255;
    }
    frames.push_back(f);
  }
  return frames;
}

class Apply : public ::testing::Test {
 protected:
  fs::path Path(const std::string& name) const { return dir_.path() / name; }
  std::string P(const std::string& name) const { return Path(name).string(); }

  // A folder of PNG frames named so that name order is frame order.
  std::string WriteFolder(const std::string& name, const std::vector<cv::Mat>& frames) const {
    fs::create_directories(Path(name));
    for (size_t i = 0; i < frames.size(); ++i) {
      cv::imwrite((Path(name) / ("in_" + std::to_string(100 + i) + ".png")).string(), frames[i]);
    }
    return P(name);
  }

  // A short MJPG clip at 30000/1001 and its frames as a decoder gives them back, in BGRA.
  std::string WriteVideo(const std::string& name, int count, std::vector<cv::Mat>* decoded) const {
    cv::VideoWriter writer(P(name), cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 30000.0 / 1001,
                           {64, 48});
    EXPECT_TRUE(writer.isOpened());
    for (int i = 0; i < count; ++i) {
      cv::Mat f(48, 64, CV_8UC3);
      for (int y = 0; y < 48; ++y) {
        for (int x = 0; x < 64; ++x) {
          f.at<cv::Vec3b>(y, x) = cv::Vec3b(static_cast<uchar>(x * 4 + i * 20),
                                            static_cast<uchar>(y * 5), static_cast<uchar>(i * 25));
        }
      }
      writer.write(f);
    }
    writer.release();
    if (decoded != nullptr) {
      cv::VideoCapture capture(P(name));
      for (cv::Mat f; capture.read(f);) {
        cv::Mat bgra;
        cv::cvtColor(f, bgra, cv::COLOR_BGR2BGRA);
        decoded->push_back(bgra);
      }
    }
    return P(name);
  }

  // Each expected frame against frame_NNNNNN.png in `folder`, numbered from `first`; and no
  // other file there.
  void ExpectFolder(const std::string& folder, int first, const std::vector<cv::Mat>& expected) {
    std::vector<std::string> names;
    for (size_t i = 0; i < expected.size(); ++i) {
      char name[32];
      std::snprintf(name, sizeof name, "frame_%06d.png", first + static_cast<int>(i));
      names.push_back(name);
      EXPECT_TRUE(SameBytes(expected[i], ReadUnchanged(fs::path(folder) / name))) << name;
    }
    EXPECT_EQ(Entries(folder), names);
  }

  kaztest::TempDir dir_;
};

struct EffectCase {
  const char* name;
  std::vector<std::string> options;
  std::function<cv::Mat(const cv::Mat&)> expected;
};
void PrintTo(const EffectCase& c, std::ostream* os) { *os << c.name; }

class Effects : public Apply, public ::testing::WithParamInterface<EffectCase> {};

TEST_P(Effects, FolderOfFramesGivesTheEffectsExactBytes) {
  const std::vector<cv::Mat> frames = RandomFrames(3, {64, 40});
  std::vector<std::string> args = {"apply"};
  args.insert(args.end(), GetParam().options.begin(), GetParam().options.end());
  args.insert(args.end(), {WriteFolder("in", frames), P("out")});
  const RunResult run = RunKazfx(args, kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_NE(run.out.find("wrote 3 frames (64x40)"), std::string::npos) << run.out;
  std::vector<cv::Mat> expected;
  for (const cv::Mat& f : frames) expected.push_back(GetParam().expected(f));
  ExpectFolder(P("out"), 0, expected);
}

// On a 64-pixel long side the scale is 0.1: a thickness of 20 is one pixel of morphology, and
// the defaults' feathers round down to no blur.
INSTANTIATE_TEST_SUITE_P(
    Kazfx, Effects,
    ::testing::Values(EffectCase{"CutOutByName",
                                 {"--effect", "Person Cut-Out"},
                                 [](const cv::Mat& f) { return PersonCutOut(f, 0); }},
                      EffectCase{"OnWhiteByGuid",
                                 {"--effect", "7208b311-d2f9-456d-b556-cfa222b130b7"},
                                 [](const cv::Mat& f) { return PersonOnWhite(f); }},
                      EffectCase{"BackgroundBlurDefaults",
                                 {"--effect", "Background Blur"},
                                 [](const cv::Mat& f) { return BackgroundBlur(f, 10, 0); }},
                      EffectCase{"BackgroundBlurIntAndDouble",
                                 {"--effect", "Background Blur", "--param", "Back_Blur=90",
                                  "--param", "Edge Thickness=20", "--param", "Edge Feather=0"},
                                 [](const cv::Mat& f) { return BackgroundBlur(f, 90, 1); }}),
    [](const ::testing::TestParamInfo<EffectCase>& info) { return info.param.name; });

TEST_F(Apply, MaskOutputHoldsWhatTheEffectSendsTheHost) {
  const std::vector<cv::Mat> frames = RandomFrames(2, {64, 40});
  const RunResult run =
      RunKazfx({"apply", "--effect", "Person Cut-Out", "--param", "Edge_Thickness=-20", "--mask",
                P("masks"), WriteFolder("in", frames), P("out")},
               kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  std::vector<cv::Mat> masks, cutOuts;
  for (const cv::Mat& f : frames) {
    // The refined mask: eroded by one pixel, as the picture's.
    cv::Mat mask;
    cv::erode(BlueOf(f), mask, cv::getStructuringElement(cv::MORPH_RECT, {3, 3}));
    masks.push_back(mask);
    cutOuts.push_back(PersonCutOut(f, -1));
  }
  ExpectFolder(P("masks"), 0, masks);
  ExpectFolder(P("out"), 0, cutOuts);
}

TEST_F(Apply, SingleImageToImage) {
  const std::vector<cv::Mat> frames = RandomFrames(1, {40, 64});
  ASSERT_TRUE(cv::imwrite(P("in.png"), frames[0]));
  const RunResult run = RunKazfx(
      {"apply", "--effect", "Person Cut-Out", "--quiet", P("in.png"), P("out.png")}, kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");  // --quiet
  EXPECT_TRUE(SameBytes(PersonCutOut(frames[0], 0), ReadUnchanged(Path("out.png"))));
  EXPECT_EQ(Entries(dir_.path()), (std::vector<std::string>{"in.png", "out.png"}));
}

class VideoOutput : public Apply, public ::testing::WithParamInterface<const char*> {};

TEST_P(VideoOutput, HasEveryFrameAtTheClipsSizeAndRate) {
  const std::string clip = WriteVideo("clip.avi", 9, nullptr);
  const std::string out = P(std::string("out") + GetParam());
  const RunResult run = RunKazfx({"apply", "--effect", "Background Blur", clip, out}, kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  cv::VideoCapture capture(out);
  ASSERT_TRUE(capture.isOpened());
  EXPECT_NEAR(capture.get(cv::CAP_PROP_FPS), 30000.0 / 1001, 0.01);
  int count = 0;
  for (cv::Mat f; capture.read(f); ++count) EXPECT_EQ(f.size(), cv::Size(64, 48));
  EXPECT_EQ(count, 9);
  // Only the finished file is left: no partial beside it.
  EXPECT_EQ(Entries(dir_.path()),
            (std::vector<std::string>{"clip.avi", std::string("out") + GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(Kazfx, VideoOutput, ::testing::Values(".avi", ".mp4", ".mkv"));

TEST_F(Apply, RangeOfAFolderKeepsTheClipsFrameNumbers) {
  const std::vector<cv::Mat> frames = RandomFrames(6, {32, 24});
  const RunResult run = RunKazfx({"apply", "--effect", "Person on White", "--start", "2",
                                  "--frames", "3", WriteFolder("in", frames), P("out")},
                                 kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  ExpectFolder(P("out"), 2,
               {PersonOnWhite(frames[2]), PersonOnWhite(frames[3]), PersonOnWhite(frames[4])});
}

// The parts of a split render, the last running past the end, join in one folder with the
// clip's frame numbers; each frame is the exact one.
TEST_F(Apply, RangesOfAVideoLandOnTheExactFramesAndJoin) {
  std::vector<cv::Mat> decoded;
  const std::string clip = WriteVideo("clip.avi", 9, &decoded);
  ASSERT_EQ(decoded.size(), 9u);
  for (const auto& range : {std::vector<std::string>{"--frames", "4"},
                            std::vector<std::string>{"--start", "4", "--frames", "3"},
                            std::vector<std::string>{"--start", "7", "--frames", "5"}}) {
    std::vector<std::string> args = {"apply", "--effect", "Person Cut-Out"};
    args.insert(args.end(), range.begin(), range.end());
    args.insert(args.end(), {clip, P("joined")});
    const RunResult run = RunKazfx(args, kBlueMask);
    ASSERT_EQ(run.status, 0) << run.err;
  }
  std::vector<cv::Mat> expected;
  for (const cv::Mat& f : decoded) expected.push_back(PersonCutOut(f, 0));
  ExpectFolder(P("joined"), 0, expected);
}

TEST_F(Apply, UntouchedClipIsReportedButWritten) {
  // A full mask lets the cut-out copy every pixel, as when the AI runtime fails.
  const std::vector<cv::Mat> frames = RandomFrames(2, {16, 16});
  const RunResult run = RunKazfx(
      {"apply", "--effect", "Person Cut-Out", "--quiet", WriteFolder("in", frames), P("out")},
      {{"KAZ_DOUBLE_HUMANSEG_MASK", "fill:255"}});
  ASSERT_EQ(run.status, 0) << run.err;
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_EQ(run.ErrLines()[0].rfind("kazfx: warning: Person Cut-Out changed no pixel", 0), 0u);
  ExpectFolder(P("out"), 0, frames);
}

struct ErrorCase {
  const char* name;
  std::vector<std::string> args;  // @IN a 9-frame clip, @OUT the output in its own folder
  int status;
};
void PrintTo(const ErrorCase& c, std::ostream* os) { *os << c.name; }

class ApplyErrors : public Apply, public ::testing::WithParamInterface<ErrorCase> {};

TEST_P(ApplyErrors, OneLineNonZeroAndNoOutput) {
  const std::string clip = WriteVideo("clip.avi", 9, nullptr);
  const std::string text = dir_.Write("notes.avi", "not a video");
  const std::string file = dir_.Write("file", "x");
  kaztest::TempDir outDir;
  std::vector<std::string> args = {"apply"};
  for (const std::string& a : GetParam().args) {
    if (a == "@IN") {
      args.push_back(clip);
    } else if (a == "@TEXT") {
      args.push_back(text);
    } else if (a == "@UNDERFILE") {
      args.push_back(file + "/out.avi");
    } else if (a.rfind("@OUT", 0) == 0) {
      args.push_back((outDir.path() / ("out" + a.substr(4))).string());
    } else {
      args.push_back(a);
    }
  }
  const RunResult run = RunKazfx(args, kBlueMask);
  EXPECT_EQ(run.status, GetParam().status) << run.err;
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_EQ(run.ErrLines()[0].rfind("kazfx: error: ", 0), 0u) << run.err;
  EXPECT_EQ(run.out, "");
  EXPECT_TRUE(Entries(outDir.path()).empty());
  EXPECT_EQ(Entries(dir_.path()), (std::vector<std::string>{"clip.avi", "file", "notes.avi"}));
}

const std::vector<std::string> kBlur = {"--effect", "Background Blur"};

std::vector<std::string> With(std::vector<std::string> a, const std::vector<std::string>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

INSTANTIATE_TEST_SUITE_P(
    Kazfx, ApplyErrors,
    ::testing::Values(
        ErrorCase{"UnknownEffect", {"--effect", "Sepia", "@IN", "@OUT.avi"}, 2},
        ErrorCase{"UnknownParameter", With(kBlur, {"--param", "Radius=3", "@IN", "@OUT.avi"}), 2},
        ErrorCase{"NoAssignment", With(kBlur, {"--param", "Back Blur", "@IN", "@OUT.avi"}), 2},
        ErrorCase{"NoEffect", {"@IN", "@OUT.avi"}, 2},
        ErrorCase{"MaskFromAnEffectWithout", With(kBlur, {"--mask", "@OUTmask", "@IN", "@OUT"}), 2},
        // The user turned the mask off: frame 0 comes without one.
        ErrorCase{"MaskNotSent",
                  {"--effect", "Person Cut-Out", "--param", "need_gray_image=0", "--mask",
                   "@OUTmask", "@IN", "@OUT"},
                  1},
        ErrorCase{"NoOutput", With(kBlur, {"@IN"}), 2},
        ErrorCase{"UnknownOutputKind", With(kBlur, {"@IN", "@OUT.xyz"}), 2},
        ErrorCase{"OneImageForManyFrames", With(kBlur, {"@IN", "@OUT.png"}), 2},
        ErrorCase{"StartPastTheEnd", With(kBlur, {"--start", "9", "@IN", "@OUT.avi"}), 2},
        ErrorCase{"NoFrames", With(kBlur, {"--frames", "0", "@IN", "@OUT.avi"}), 2},
        ErrorCase{"BadRate", With(kBlur, {"--fps", "0", "@IN", "@OUT.avi"}), 2},
        ErrorCase{"InputMissing", With(kBlur, {"nowhere.avi", "@OUT.avi"}), 1},
        ErrorCase{"InputNotAVideo", With(kBlur, {"@TEXT", "@OUT.avi"}), 1},
        ErrorCase{"OutputUnderAFile", With(kBlur, {"@IN", "@UNDERFILE"}), 1},
        ErrorCase{"ResourcesMissing",
                  With(kBlur, {"--resources", "/nonexistent-kazfx", "@IN", "@OUT.avi"}), 1},
        ErrorCase{"PluginMissing",
                  With(kBlur, {"--plugin", "/nonexistent-kazfx.kaz", "@IN", "@OUT.avi"}), 1},
        ErrorCase{
            "NotAPlugin",
            With(kBlur, {"--plugin", kDoubles + "/kernel/libquorin_kernel.so", "@IN", "@OUT.avi"}),
            1}),
    [](const ::testing::TestParamInfo<ErrorCase>& info) { return info.param.name; });

// A copy of the plug-in in a folder of its own finds no runtime beside it; with only the
// segmentation module on the search path, the kernel is missing.
TEST_F(Apply, WithoutAKernelTheFailureLeavesThePreviousOutputAlone) {
  const fs::path plugin = Path("plugin") / "kazAiFilterPlugin.kaz";
  fs::create_directories(plugin.parent_path());
  fs::copy_file(fs::path(KAZFX_BINARY).parent_path() / "kazAiFilterPlugin.kaz", plugin);
  const std::string clip = WriteVideo("clip.avi", 3, nullptr);
  const std::string old = dir_.Write("out.avi", "previous render");
  const RunResult run =
      RunKazfx({"apply", "--plugin", plugin.string(), "--effect", "Background Blur", clip, old},
               {{"LD_LIBRARY_PATH", kDoubles + "/humanseg"}});
  EXPECT_EQ(run.status, 1);
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_NE(run.ErrLines()[0].find("could not load libquorin_kernel.so"), std::string::npos)
      << run.err;
  EXPECT_EQ(Slurp(old), "previous render");
  EXPECT_EQ(Entries(dir_.path()), (std::vector<std::string>{"clip.avi", "out.avi", "plugin"}));
}

TEST_F(Apply, InterruptRemovesThePartialOutput) {
  const std::string clip = WriteVideo("clip.avi", 9, nullptr);
  // Each frame takes 0.2 s in the module, long enough to be caught mid-clip.
  KazfxProcess process({"apply", "--effect", "Person Cut-Out", clip, P("out")},
                       {{"KAZ_DOUBLE_DELAY_US", "200000"}});
  bool started = false;
  for (int i = 0; i < 300 && !started; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    for (const std::string& name : Entries(dir_.path())) {
      if (name.find("kazfx-partial") == std::string::npos) continue;
      started = !Entries(Path(name)).empty();  // a frame is written
    }
  }
  ASSERT_TRUE(started);
  kill(process.pid(), SIGINT);
  const RunResult run = process.Wait();
  EXPECT_EQ(run.status, 130) << run.err;
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_EQ(Entries(dir_.path()), std::vector<std::string>{"clip.avi"});
}

// Every .conf description under the bundled resources, read here on its own.
nlohmann::json BundledEffects() {
  nlohmann::json effects = nlohmann::json::object();
  for (const auto& entry : fs::recursive_directory_iterator(KAZ_RESOURCES_DIR)) {
    EXPECT_NE(entry.path().filename(), "filter.xml") << "extend this test to XML descriptions";
    if (entry.path().extension() != ".conf") continue;
    const nlohmann::json conf = nlohmann::json::parse(Slurp(entry.path()));
    effects[conf.at("GUID").get<std::string>()] = conf;
  }
  return effects;
}

TEST(List, FindsEveryBundledEffectWithItsDeclaredParameters) {
  const RunResult run = RunKazfx({"list", "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const nlohmann::json listed = nlohmann::json::parse(run.out);
  EXPECT_EQ(listed.at("refused"), nlohmann::json::array());
  EXPECT_EQ(listed.at("plugin").at("name"), "Ai Filter");

  const nlohmann::json bundled = BundledEffects();
  ASSERT_FALSE(bundled.empty());
  ASSERT_EQ(listed.at("effects").size(), bundled.size());
  const std::map<std::string, std::string> kinds = {{"float", "float"},
                                                    {"double", "double"},
                                                    {"int", "int"},
                                                    {"point", "int"},
                                                    {"string", "string"}};
  for (const nlohmann::json& effect : listed.at("effects")) {
    const std::string guid = effect.at("guid");
    ASSERT_TRUE(bundled.contains(guid)) << guid;
    const nlohmann::json& conf = bundled.at(guid);
    EXPECT_EQ(effect.at("name"), conf.at("NAME"));
    const nlohmann::json& params = effect.at("parameters");
    ASSERT_EQ(params.size(), conf.value("PARAMS", nlohmann::json::array()).size()) << guid;
    for (size_t i = 0; i < params.size(); ++i) {
      const nlohmann::json& p = params[i];
      const nlohmann::json& c = conf.at("PARAMS")[i];
      EXPECT_EQ(p.at("index"), i);
      EXPECT_EQ(p.at("name"), c.at("NAME"));
      EXPECT_EQ(p.at("kind"), kinds.at(c.at("TYPE")));
      EXPECT_EQ(p.at("visible"), c.value("UIType", "") != "NoShow") << p;
      if (p.at("kind") != "string") {
        EXPECT_EQ(p.at("min").get<double>(), c.value("MIN", 0.0)) << p;
        EXPECT_EQ(p.at("max").get<double>(), c.value("MAX", 0.0)) << p;
        EXPECT_EQ(p.at("default").get<double>(), c.value("DEFAULT", 0.0)) << p;
      }
    }
  }
  // The text form names every effect too.
  const RunResult text = RunKazfx({"list"});
  ASSERT_EQ(text.status, 0) << text.err;
  for (const auto& [guid, conf] : bundled.items()) {
    EXPECT_NE(text.out.find("\n" + conf.at("NAME").get<std::string>() + "\n  GUID " + guid),
              std::string::npos)
        << guid;
  }
}

TEST(List, DescriptionWithoutAFilterClassIsRefusedQuietly) {
  kaztest::TempDir resources;
  const std::string effects = "kaz_effect/plugin/AiEffect/";
  resources.Write(effects + "A_Unknown/effect.conf",
                  R"({"GUID": "00000000-0000-0000-0000-000000000000", "NAME": "Nothing"})");
  resources.Write(
      effects + "B_Blur/effect.conf",
      Slurp(fs::path(KAZ_RESOURCES_DIR) / effects / "HumanSegmentationCaptureBlur/effect.conf"));
  RunResult run = RunKazfx({"list", "--json", "--resources", resources.str()});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const nlohmann::json listed = nlohmann::json::parse(run.out);
  EXPECT_EQ(listed.at("refused"), nlohmann::json::array({0}));
  ASSERT_EQ(listed.at("effects").size(), 1u);
  EXPECT_EQ(listed.at("effects")[0].at("name"), "Background Blur");

  run = RunKazfx({"list", "--verbose", "--resources", resources.str()});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_NE(run.out.find("1 description was refused"), std::string::npos) << run.out;
  EXPECT_NE(run.err.find("Register AI Effect Failed: 00000000-0000-0000-0000-000000000000\n"),
            std::string::npos)
      << run.err;
}

TEST(Help, EveryCommandExplainsItselfOnStdout) {
  for (const char* command : {"list", "apply", "blend", ""}) {
    const RunResult run = RunKazfx(*command ? std::vector<std::string>{command, "--help"}
                                            : std::vector<std::string>{"--help"});
    EXPECT_EQ(run.status, 0) << command;
    EXPECT_EQ(run.out.rfind(std::string("usage: kazfx ") + (*command ? command : "COMMAND"), 0), 0u)
        << run.out;
    EXPECT_EQ(run.err, "");
  }
  const RunResult none = RunKazfx({}), unknown = RunKazfx({"render"});
  EXPECT_EQ(std::make_tuple(none.status, none.out, unknown.status, unknown.ErrLines().size()),
            std::make_tuple(2, std::string(), 2, size_t{1}));
}

}  // namespace
}  // namespace kazfxtest
