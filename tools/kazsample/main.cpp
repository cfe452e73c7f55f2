// SPDX-License-Identifier: MIT
// kazsample: writes the project's sample clip (a walking, waving figure in a room) to a video
// file, and optionally its ground-truth person masks as PNG files.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <opencv2/imgcodecs.hpp>

#include "failure.h"
#include "kazsample/sample_clip.h"
#include "kazsample/sequences.h"
#include "media.h"

#ifdef _WIN32
#include <io.h>
#define KAZ_ISATTY _isatty
#else
#include <unistd.h>
#define KAZ_ISATTY isatty
#endif

namespace {

namespace fs = std::filesystem;

const char kUsage[] =
    "usage: kazsample OUTPUT.mp4|OUTPUT.avi [--size WxH] [--frames N] [--fps F] [--masks DIR]\n"
    "                 [--noise SIGMA] [--seed N]\n"
    "  --size    frame size (default 1280x720)\n"
    "  --frames  number of frames (default: one pass of the 12-second script)\n"
    "  --fps     frame rate (default 30)\n"
    "  --masks   also write the figure's masks as DIR/mask_00000.png, ...\n"
    "  --noise   sensor noise, standard deviation in 8-bit levels (default 3)\n"
    "  --seed    picks the room's furnishing and the noise (default 1)\n"
    "   or: kazsample --sequences DIR   the bundled picture sequences (snow, bokeh, sky)\n";

[[noreturn]] void Fail(const std::string& message) {
  std::fprintf(stderr, "kazsample: %s\n", message.c_str());
  std::exit(1);
}

double Number(const char* text, const char* option, double lowest, double highest) {
  char* end = nullptr;
  const double value = std::strtod(text, &end);
  if (end == text || *end != '\0' || !(value >= lowest && value <= highest)) {
    Fail(std::string(option) + " wants a number from " + std::to_string(lowest) + " to " +
         std::to_string(highest) + ", not '" + text + "'");
  }
  return value;
}

struct Args {
  std::string output, masks;
  kazsample::ClipSettings settings;
  int frames = -1;
};

Args ParseArgs(int argc, char** argv) {
  Args a;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "-h" || arg == "--help") {
      std::fputs(kUsage, stdout);
      std::exit(0);
    }
    const bool valued = arg == "--size" || arg == "--frames" || arg == "--fps" ||
                        arg == "--masks" || arg == "--noise" || arg == "--seed";
    if (valued && i + 1 >= argc) Fail(arg + " needs a value");
    if (arg == "--size") {
      int w = 0, h = 0;
      char tail = 0;
      if (std::sscanf(argv[++i], "%dx%d%c", &w, &h, &tail) != 2 || w < 32 || h < 32 || w > 8192 ||
          h > 8192 || w % 2 || h % 2) {
        Fail("--size wants WxH with even sides from 32 to 8192, not '" + std::string(argv[i]) +
             "'");
      }
      a.settings.width = w;
      a.settings.height = h;
    } else if (arg == "--frames") {
      a.frames = static_cast<int>(Number(argv[++i], "--frames", 1, 1e6));
    } else if (arg == "--fps") {
      a.settings.fps = Number(argv[++i], "--fps", 1, 240);
    } else if (arg == "--masks") {
      a.masks = argv[++i];
    } else if (arg == "--noise") {
      a.settings.noise = Number(argv[++i], "--noise", 0, 64);
    } else if (arg == "--seed") {
      a.settings.seed = static_cast<uint32_t>(Number(argv[++i], "--seed", 0, 4294967295.0));
    } else if (!arg.empty() && arg[0] == '-') {
      Fail("unknown option '" + arg + "'\n" + kUsage);
    } else if (a.output.empty()) {
      a.output = arg;
    } else {
      Fail("only one output file, please\n" + std::string(kUsage));
    }
  }
  if (a.output.empty()) {
    std::fputs(kUsage, stderr);
    std::exit(2);
  }
  const std::string extension = fs::path(a.output).extension().string();
  if (kazfx::OutputKind(a.output) != kazfx::MediaKind::kVideo ||
      (extension != ".mp4" && extension != ".avi")) {
    Fail("the output must end in .mp4 or .avi");
  }
  if (a.frames < 0)
    a.frames = static_cast<int>(kazsample::SampleClip::ScriptSeconds() * a.settings.fps + 0.5);
  return a;
}

// The clip through kazfx's own video sink, which writes under a temporary name and puts the
// file in place only when every frame is done.
void WriteClip(const Args& a) {
  const cv::Size size(a.settings.width, a.settings.height);
  std::unique_ptr<kazfx::FrameSink> sink =
      kazfx::OpenSink(a.output, kazfx::MediaKind::kVideo, a.settings.fps, size);
  if (!a.masks.empty()) {
    std::error_code error;
    fs::create_directories(a.masks, error);
    if (error) kazfx::RunError("cannot create '" + a.masks + "': " + error.message());
  }
  const kazsample::SampleClip clip(a.settings);
  cv::Mat bgra, mask;
  const bool interactive = KAZ_ISATTY(2) == 1;
  for (int i = 0; i < a.frames; ++i) {
    clip.Render(i, bgra, a.masks.empty() ? nullptr : &mask);
    sink->Write(bgra, i);
    if (!a.masks.empty()) {
      char name[32];
      std::snprintf(name, sizeof(name), "mask_%05d.png", i);
      if (!cv::imwrite((fs::path(a.masks) / name).string(), mask))
        kazfx::RunError("cannot write masks into '" + a.masks + "'");
    }
    // A progress line only where it can be redrawn; in a log it would run into the next line.
    if (interactive && (i + 1) % 100 == 0 && i + 1 < a.frames) {
      std::fprintf(stderr, "kazsample: %d/%d frames\r", i + 1, a.frames);
    }
  }
  sink->Commit();
  if (interactive) std::fprintf(stderr, "\r");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--sequences") {
    try {
      kazsample::WriteSequences(argv[2]);
    } catch (const std::exception& e) {
      Fail(e.what());
    }
    return 0;
  }
  const Args args = ParseArgs(argc, argv);
  try {
    WriteClip(args);
  } catch (const kazfx::Failure& failure) {
    Fail(failure.what());
  }
  std::fprintf(stderr, "kazsample: wrote %d frames, %dx%d at %g fps, to %s\n", args.frames,
               args.settings.width, args.settings.height, args.settings.fps, args.output.c_str());
  return 0;
}
