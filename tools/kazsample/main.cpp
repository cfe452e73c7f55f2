// SPDX-License-Identifier: MIT
// kazsample: writes the project's sample clip (a walking, waving figure in a room) to a video
// file, and optionally its ground-truth person masks as PNG files.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>
#include <string>
#include <utility>
#include <vector>

#include "kazsample/sample_clip.h"

#ifdef _WIN32
#include <io.h>
#define KAZ_ISATTY _isatty
#else
#include <unistd.h>
#define KAZ_ISATTY isatty
#endif

namespace {

const char kUsage[] =
    "usage: kazsample OUTPUT.mp4|OUTPUT.avi [--size WxH] [--frames N] [--fps F] [--masks DIR]\n"
    "                 [--noise SIGMA] [--seed N]\n"
    "  --size    frame size (default 1280x720)\n"
    "  --frames  number of frames (default: one pass of the 12-second script)\n"
    "  --fps     frame rate (default 30)\n"
    "  --masks   also write the figure's masks as DIR/mask_00000.png, ...\n"
    "  --noise   sensor noise, standard deviation in 8-bit levels (default 3)\n"
    "  --seed    picks the room's furnishing and the noise (default 1)\n";

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

}  // namespace

int main(int argc, char** argv) {
  std::string output, masks;
  kazsample::ClipSettings settings;
  int frames = -1;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "-h" || arg == "--help") {
      std::fputs(kUsage, stdout);
      return 0;
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
      settings.width = w;
      settings.height = h;
    } else if (arg == "--frames") {
      frames = static_cast<int>(Number(argv[++i], "--frames", 1, 1e6));
    } else if (arg == "--fps") {
      settings.fps = Number(argv[++i], "--fps", 1, 240);
    } else if (arg == "--masks") {
      masks = argv[++i];
    } else if (arg == "--noise") {
      settings.noise = Number(argv[++i], "--noise", 0, 64);
    } else if (arg == "--seed") {
      settings.seed = static_cast<uint32_t>(Number(argv[++i], "--seed", 0, 4294967295.0));
    } else if (!arg.empty() && arg[0] == '-') {
      Fail("unknown option '" + arg + "'\n" + kUsage);
    } else if (output.empty()) {
      output = arg;
    } else {
      Fail("only one output file, please\n" + std::string(kUsage));
    }
  }
  if (output.empty()) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  namespace fs = std::filesystem;
  const fs::path target(output);
  std::string extension = target.extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  // H.264 where FFmpeg has an encoder for it, else MPEG-4 part 2; Motion JPEG in AVI.
  std::vector<std::pair<int, const char*>> codecs;
  if (extension == ".mp4") {
    codecs = {{cv::VideoWriter::fourcc('a', 'v', 'c', '1'), "H.264 (avc1)"},
              {cv::VideoWriter::fourcc('m', 'p', '4', 'v'), "MPEG-4 (mp4v)"}};
  } else if (extension == ".avi") {
    codecs = {{cv::VideoWriter::fourcc('M', 'J', 'P', 'G'), "Motion JPEG (MJPG)"}};
  } else {
    Fail("the output must end in .mp4 or .avi");
  }
  if (frames < 0)
    frames = static_cast<int>(kazsample::SampleClip::ScriptSeconds() * settings.fps + 0.5);
  if (!masks.empty()) {
    std::error_code error;
    fs::create_directories(masks, error);
    if (error) Fail("cannot create '" + masks + "': " + error.message());
  }

  // Written under a temporary name and renamed at the end, so an interrupted run never leaves
  // a file that looks complete.
  const fs::path partial = target.parent_path() / (target.stem().string() + ".partial" + extension);
  cv::VideoWriter writer;
  const char* codecName = nullptr;
  for (const auto& [fourcc, name] : codecs) {
    if (writer.open(partial.string(), cv::CAP_FFMPEG, fourcc, settings.fps,
                    cv::Size(settings.width, settings.height))) {
      codecName = name;
      break;
    }
  }
  if (!writer.isOpened()) Fail("cannot open '" + partial.string() + "' for writing");

  const kazsample::SampleClip clip(settings);
  cv::Mat bgra, bgr, mask;
  const bool interactive = KAZ_ISATTY(2) == 1;
  for (int i = 0; i < frames; ++i) {
    clip.Render(i, bgra, masks.empty() ? nullptr : &mask);
    cv::cvtColor(bgra, bgr, cv::COLOR_BGRA2BGR);
    writer.write(bgr);
    if (!masks.empty()) {
      char name[32];
      std::snprintf(name, sizeof(name), "mask_%05d.png", i);
      if (!cv::imwrite((fs::path(masks) / name).string(), mask)) {
        writer.release();
        fs::remove(partial);
        Fail("cannot write masks into '" + masks + "'");
      }
    }
    // A progress line only where it can be redrawn; in a log it would run into the next line.
    if (interactive && (i + 1) % 100 == 0 && i + 1 < frames) {
      std::fprintf(stderr, "kazsample: %d/%d frames\r", i + 1, frames);
    }
  }
  writer.release();
  std::error_code error;
  fs::rename(partial, target, error);
  if (error) {
    fs::remove(partial);
    Fail("cannot move the clip to '" + output + "': " + error.message());
  }
  if (interactive) std::fprintf(stderr, "\r");
  std::fprintf(stderr, "kazsample: wrote %d frames, %dx%d at %g fps, %s, to %s\n", frames,
               settings.width, settings.height, settings.fps, codecName, output.c_str());
  return 0;
}
