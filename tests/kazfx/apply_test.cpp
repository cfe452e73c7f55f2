// SPDX-License-Identifier: MIT
// kazfx list and apply end to end: the built binary loads the plug-in, which runs the
// segmentation test double (its mask is chosen per run), so every output byte is known. The
// effects' own rules are proven in tests/effects: here Person Cut-Out stands for them all.
#include <gtest/gtest.h>

#include <signal.h>

#include <chrono>
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

// Person Cut-Out at its defaults: the source under the unrefined mask.
cv::Mat CutOut(const cv::Mat& src) { return ref::applyMask(ref::maskPixel, src, BlueOf(src), 4); }

// Random BGRA frames in which blue 0 and 255, the mask's two special values, occur often.
std::vector<cv::Mat> Frames(int count, cv::Size size) {
  std::vector<cv::Mat> frames;
  for (int i = 0; i < count; ++i) frames.push_back(ref::edgyImage(size.height, size.width, 7 + i));
  return frames;
}

class Apply : public InTempDir {
 protected:
  // A folder of PNG frames named so that name order is frame order.
  static std::string WriteFolder(const std::string& name, const std::vector<cv::Mat>& frames) {
    fs::create_directories(name);
    for (size_t i = 0; i < frames.size(); ++i) {
      cv::imwrite(name + "/in_" + std::to_string(100 + i) + ".png", frames[i]);
    }
    return name;
  }

  // A short MJPG clip at 30000/1001 and its frames as a decoder gives them back, in BGRA.
  static std::string WriteVideo(const std::string& name, int count,
                                std::vector<cv::Mat>* decoded = nullptr) {
    cv::VideoWriter writer(name, cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), 30000.0 / 1001,
                           {64, 48});
    EXPECT_TRUE(writer.isOpened());
    for (const cv::Mat& frame : Frames(count, {64, 48})) {
      cv::Mat bgr;
      cv::cvtColor(frame, bgr, cv::COLOR_BGRA2BGR);
      writer.write(bgr);
    }
    writer.release();
    if (decoded != nullptr) {
      cv::VideoCapture capture(name);
      for (cv::Mat f; capture.read(f);) {
        cv::Mat bgra;
        cv::cvtColor(f, bgra, cv::COLOR_BGR2BGRA);
        decoded->push_back(bgra);
      }
    }
    return name;
  }

  // Each expected frame against frame_NNNNNN.png in `folder`, numbered from `first`; and no
  // other file there.
  static void ExpectFolder(const std::string& folder, int first,
                           const std::vector<cv::Mat>& expected) {
    std::vector<std::string> names;
    for (size_t i = 0; i < expected.size(); ++i) {
      char name[32];
      std::snprintf(name, sizeof name, "frame_%06d.png", first + static_cast<int>(i));
      names.push_back(name);
      EXPECT_EQ(ref::differingBytes(expected[i], ReadUnchanged(fs::path(folder) / name)), 0)
          << name;
    }
    EXPECT_EQ(Entries(folder), names);
  }
};

// A range of a folder in, frames and masks out under the clip's frame numbers, a parameter
// set by another spelling. On a 64-pixel long side a thickness of -20 is one pixel of erosion.
TEST_F(Apply, RangeOfAFolderGivesTheEffectsBytesAndItsMasks) {
  const std::vector<cv::Mat> frames = Frames(4, {64, 40});
  const RunResult run =
      RunKazfx({"apply", "--effect", "Person Cut-Out", "--param", "Edge_Thickness=-20", "--mask",
                "masks", "--start", "1", "--frames", "2", WriteFolder("in", frames), "out"},
               kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_NE(run.out.find("wrote 2 frames (64x40)"), std::string::npos) << run.out;
  std::vector<cv::Mat> masks, cutOuts;
  for (int i : {1, 2}) {
    cv::Mat mask;
    cv::erode(BlueOf(frames[i]), mask, cv::getStructuringElement(cv::MORPH_RECT, {3, 3}));
    masks.push_back(mask);
    cutOuts.push_back(ref::applyMask(ref::maskPixel, frames[i], mask, 4));
  }
  ExpectFolder("masks", 1, masks);
  ExpectFolder("out", 1, cutOuts);
}

TEST_F(Apply, SingleImageToImageWithTheEffectByGuid) {
  const cv::Mat frame = Frames(1, {40, 64})[0];
  ASSERT_TRUE(cv::imwrite("in.png", frame));
  const RunResult run = RunKazfx(
      {"apply", "--effect", "974a1c95-921e-4d28-89d5-23b7b249589a", "--quiet", "in.png", "out.png"},
      kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "");  // --quiet
  EXPECT_EQ(ref::differingBytes(CutOut(frame), ReadUnchanged("out.png")), 0);
  EXPECT_EQ(Entries(dir_.path()), (std::vector<std::string>{"in.png", "out.png"}));
}

class VideoOutput : public Apply, public ::testing::WithParamInterface<const char*> {};

TEST_P(VideoOutput, HasEveryFrameAtTheClipsSizeAndRate) {
  const std::string out = std::string("out") + GetParam();
  const RunResult run =
      RunKazfx({"apply", "--effect", "Background Blur", WriteVideo("clip.avi", 9), out}, kBlueMask);
  ASSERT_EQ(run.status, 0) << run.err;
  cv::VideoCapture capture(out);
  ASSERT_TRUE(capture.isOpened());
  EXPECT_NEAR(capture.get(cv::CAP_PROP_FPS), 30000.0 / 1001, 0.01);
  int count = 0;
  for (cv::Mat f; capture.read(f); ++count) EXPECT_EQ(f.size(), cv::Size(64, 48));
  EXPECT_EQ(count, 9);
  // Only the finished file is left: no partial beside it.
  EXPECT_EQ(Entries(dir_.path()), (std::vector<std::string>{"clip.avi", out}));
}

INSTANTIATE_TEST_SUITE_P(Kazfx, VideoOutput, ::testing::Values(".avi", ".mp4", ".mkv"));

// The parts of a split render, the last running past the end, join in one folder with the
// clip's frame numbers; each frame is the exact one.
TEST_F(Apply, RangesOfAVideoLandOnTheExactFramesAndJoin) {
  std::vector<cv::Mat> decoded;
  const std::string clip = WriteVideo("clip.avi", 9, &decoded);
  ASSERT_EQ(decoded.size(), 9u);
  for (const auto& range : {std::vector<std::string>{"--frames", "4"},
                            std::vector<std::string>{"--start", "4", "--frames", "3"},
                            std::vector<std::string>{"--start", "7", "--frames", "5"}}) {
    const RunResult run =
        RunKazfx(Concat(Concat({"apply", "--effect", "Person Cut-Out"}, range), {clip, "joined"}),
                 kBlueMask);
    ASSERT_EQ(run.status, 0) << run.err;
  }
  std::vector<cv::Mat> expected;
  for (const cv::Mat& f : decoded) expected.push_back(CutOut(f));
  ExpectFolder("joined", 0, expected);
}

TEST_F(Apply, UntouchedClipIsReportedButWritten) {
  // A full mask lets the cut-out copy every pixel, as when the AI runtime fails.
  const std::vector<cv::Mat> frames = Frames(2, {16, 16});
  const RunResult run =
      RunKazfx({"apply", "--effect", "Person Cut-Out", "--quiet", WriteFolder("in", frames), "out"},
               {{"KAZ_DOUBLE_HUMANSEG_MASK", "fill:255"}});
  ASSERT_EQ(run.status, 0) << run.err;
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_EQ(run.ErrLines()[0].rfind("kazfx: warning: Person Cut-Out changed no pixel", 0), 0u);
  ExpectFolder("out", 0, frames);
}

struct ErrorCase {
  const char* name;
  std::vector<std::string> args;
  int status;
};
void PrintTo(const ErrorCase& c, std::ostream* os) { *os << c.name; }

class ApplyErrors : public Apply, public ::testing::WithParamInterface<ErrorCase> {};

// clip.avi has 9 frames; outputs go to out/, which must stay empty.
TEST_P(ApplyErrors, OneLineNonZeroAndNoOutput) {
  WriteVideo("clip.avi", 9);
  dir_.Write("notes.avi", "not a video");
  dir_.Write("file", "x");
  fs::create_directory("out");
  ExpectError(RunKazfx(Concat({"apply"}, GetParam().args), kBlueMask), GetParam().status);
  EXPECT_EQ(Entries(dir_.path()),
            (std::vector<std::string>{"clip.avi", "file", "notes.avi", "out"}));
  EXPECT_TRUE(Entries("out").empty());
}

std::vector<std::string> Blur(const std::vector<std::string>& rest) {
  return Concat({"--effect", "Background Blur"}, rest);
}

INSTANTIATE_TEST_SUITE_P(
    Kazfx, ApplyErrors,
    ::testing::Values(
        ErrorCase{"UnknownEffect", {"--effect", "Sepia", "clip.avi", "out/o.avi"}, 2},
        ErrorCase{"UnknownParameter", Blur({"--param", "Radius=3", "clip.avi", "out/o.avi"}), 2},
        ErrorCase{"NoAssignment", Blur({"--param", "Back Blur", "clip.avi", "out/o.avi"}), 2},
        ErrorCase{"NoEffect", {"clip.avi", "out/o.avi"}, 2},
        ErrorCase{"MaskFromAnEffectWithout", Blur({"--mask", "out/m", "clip.avi", "out/o"}), 2},
        // The user turned the mask off: frame 0 comes without one.
        ErrorCase{"MaskNotSent",
                  {"--effect", "Person Cut-Out", "--param", "need_gray_image=0", "--mask", "out/m",
                   "clip.avi", "out/o"},
                  1},
        ErrorCase{"NoOutput", Blur({"clip.avi"}), 2},
        ErrorCase{"UnknownOutputKind", Blur({"clip.avi", "out/o.xyz"}), 2},
        ErrorCase{"OneImageForManyFrames", Blur({"clip.avi", "out/o.png"}), 2},
        ErrorCase{"StartPastTheEnd", Blur({"--start", "9", "clip.avi", "out/o.avi"}), 2},
        ErrorCase{"NoFrames", Blur({"--frames", "0", "clip.avi", "out/o.avi"}), 2},
        ErrorCase{"BadRate", Blur({"--fps", "0", "clip.avi", "out/o.avi"}), 2},
        ErrorCase{"InputMissing", Blur({"nowhere.avi", "out/o.avi"}), 1},
        ErrorCase{"InputNotAVideo", Blur({"notes.avi", "out/o.avi"}), 1},
        ErrorCase{"OutputUnderAFile", Blur({"clip.avi", "file/o.avi"}), 1},
        ErrorCase{"ResourcesMissing",
                  Blur({"--resources", "/nonexistent-kazfx", "clip.avi", "out/o.avi"}), 1},
        ErrorCase{"PluginMissing",
                  Blur({"--plugin", "/nonexistent-kazfx.kaz", "clip.avi", "out/o.avi"}), 1},
        ErrorCase{
            "NotAPlugin",
            Blur({"--plugin", kDoubles + "/kernel/libquorin_kernel.so", "clip.avi", "out/o.avi"}),
            1}),
    [](const ::testing::TestParamInfo<ErrorCase>& info) { return info.param.name; });

// A copy of the plug-in in a folder of its own finds no runtime beside it; with only the
// segmentation module on the search path, the kernel is missing.
TEST_F(Apply, WithoutAKernelTheFailureLeavesThePreviousOutputAlone) {
  fs::create_directories("plugin");
  fs::copy_file(fs::path(KAZFX_BINARY).parent_path() / "kazAiFilterPlugin.kaz",
                "plugin/kazAiFilterPlugin.kaz");
  dir_.Write("out.avi", "previous render");
  const RunResult run = RunKazfx({"apply", "--plugin", "plugin/kazAiFilterPlugin.kaz", "--effect",
                                  "Background Blur", WriteVideo("clip.avi", 3), "out.avi"},
                                 {{"LD_LIBRARY_PATH", kDoubles + "/humanseg"}});
  ExpectError(run, 1);
  EXPECT_NE(run.err.find("could not load libquorin_kernel.so"), std::string::npos) << run.err;
  EXPECT_EQ(Slurp("out.avi"), "previous render");
  EXPECT_EQ(Entries(dir_.path()), (std::vector<std::string>{"clip.avi", "out.avi", "plugin"}));
}

TEST_F(Apply, InterruptRemovesThePartialOutput) {
  // Each frame takes 0.2 s in the module, long enough to be caught mid-clip.
  KazfxProcess process({"apply", "--effect", "Person Cut-Out", WriteVideo("clip.avi", 9), "out"},
                       {{"KAZ_DOUBLE_DELAY_US", "200000"}});
  bool started = false;
  for (int i = 0; i < 300 && !started; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    for (const std::string& name : Entries(dir_.path())) {
      if (name.find("kazfx-partial") == std::string::npos) continue;
      started = !Entries(name).empty();  // a frame is written
    }
  }
  ASSERT_TRUE(started);
  kill(process.pid(), SIGINT);
  const RunResult run = process.Wait();
  EXPECT_EQ(run.status, 130) << run.err;
  ASSERT_EQ(run.ErrLines().size(), 1u) << run.err;
  EXPECT_EQ(Entries(dir_.path()), std::vector<std::string>{"clip.avi"});
}

// kazfx's view of what the plug-in declares: each kind of parameter and several controls
// (which registrar slot each takes is tests/host's), and a description without a filter class
// refused, quietly unless --verbose.
TEST(List, DeclarationsAndRefusals) {
  kaztest::TempDir resources;
  const std::string effects = "kaz_effect/plugin/AiEffect/";
  resources.Write(effects + "A_Unknown/effect.conf",
                  R"({"GUID": "00000000-0000-0000-0000-000000000000", "NAME": "Nothing"})");
  resources.Write(effects + "B_Blur/effect.conf", R"({
    "GUID": "1AEA14C6-59BC-491F-A1D1-EB02009706B7", "NAME": "Blur", "DYNAMIC": "1", "PARAMS": [
      {"NAME": "d", "TYPE": "double", "MIN": -1.5, "MAX": 2.5, "DEFAULT": 0.5},
      {"NAME": "f", "TYPE": "float", "MAX": 0.1, "DEFAULT": 0.1, "UIType": "Mult100"},
      {"NAME": "i", "TYPE": "int", "MIN": -3, "MAX": 3, "DEFAULT": 1, "UIType": "NoShow"},
      {"NAME": "c", "TYPE": "int", "UIType": "Color", "DEFAULT": 16711680},
      {"NAME": "p", "TYPE": "point", "UIType": "9Palaces", "MAX": 8, "DEFAULT": 4},
      {"NAME": "s", "TYPE": "string", "UIType": "ListMask"}]})");
  RunResult run = RunKazfx({"list", "--json", "--resources", resources.str()});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const nlohmann::json listed = nlohmann::json::parse(run.out);
  EXPECT_EQ(listed.at("plugin").at("name"), "Ai Filter");
  EXPECT_EQ(listed.at("refused"), nlohmann::json::array({0}));
  // Flags 0x800832: an ordinary effect, dynamic. Floats read back as the float they were.
  EXPECT_EQ(listed.at("effects"), nlohmann::json::parse(R"([{
    "name": "Blur", "guid": "1AEA14C6-59BC-491F-A1D1-EB02009706B7", "flags": 8390706,
    "transition": false, "dynamic": true, "analysis": false, "parameters": [
      {"index": 0, "name": "d", "kind": "double", "control": "plain", "visible": true,
       "min": -1.5, "max": 2.5, "default": 0.5},
      {"index": 1, "name": "f", "kind": "float", "control": "percent", "visible": true,
       "min": 0, "max": 0.1, "default": 0.1},
      {"index": 2, "name": "i", "kind": "int", "control": "plain", "visible": false,
       "min": -3, "max": 3, "default": 1},
      {"index": 3, "name": "c", "kind": "int", "control": "color", "visible": true,
       "min": 0, "max": 0, "default": 16711680},
      {"index": 4, "name": "p", "kind": "int", "control": "9palaces", "visible": true,
       "min": 0, "max": 8, "default": 4},
      {"index": 5, "name": "s", "kind": "string", "control": "listmask", "visible": true,
       "min": "", "max": "", "default": ""}]}])"));

  run = RunKazfx({"list", "--verbose", "--resources", resources.str()});
  ASSERT_EQ(run.status, 0) << run.err;
  for (const char* text :
       {"\nBlur\n  GUID 1AEA14C6-59BC-491F-A1D1-EB02009706B7, dynamic\n", "default 1  (hidden)\n",
        "default 0xFF0000\n", "1 description was refused"}) {
    EXPECT_NE(run.out.find(text), std::string::npos) << text << "\n" << run.out;
  }
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
