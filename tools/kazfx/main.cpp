// SPDX-License-Identifier: MIT
// kazfx: runs kazAiFilterPlugin's effects the way an editor does, from the command line.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include "commands.h"
#include "console.h"
#include "failure.h"

namespace {

const char kUsage[] =
    "usage: kazfx COMMAND [OPTIONS] ARGUMENTS\n"
    "\n"
    "Loads kazAiFilterPlugin.kaz as an editor does and runs its effects over videos, images\n"
    "and folders of images.\n"
    "\n"
    "commands:\n"
    "  list    the effects the plug-in registers, with their parameters\n"
    "  apply   run one effect over a video, an image or a folder of images\n"
    "  blend   composite two images, or a colour with an image, in one of 24 blend modes\n"
    "\n"
    "'kazfx COMMAND --help' tells more. Exit status: 0 done, 1 failed, 2 bad command line.\n";

// The user sees one line per failure, whatever the text it came with.
std::string OneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

int Run(int argc, char** argv) {
  if (argc < 2) {
    std::fputs(kUsage, stderr);
    return kazfx::kExitUsage;
  }
  const std::string command = argv[1];
  const std::vector<std::string> args(argv + 2, argv + argc);
  if (command == "-h" || command == "--help" || command == "help") {
    std::fputs(kUsage, stdout);
    return kazfx::kExitOk;
  }
  bool verbose = false;
  for (const std::string& arg : args) verbose = verbose || arg == "--verbose";
  // Decoder chatter would break the one-line error contract and the progress bar.
  if (!verbose) cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);

  if (command == "list") return kazfx::RunList(args);
  if (command == "apply") return kazfx::RunApply(args);
  if (command == "blend") return kazfx::RunBlend(args);
  kazfx::UsageError("unknown command \"" + command + "\" (see kazfx --help)");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const kazfx::Failure& failure) {
    kazfx::Console::Get().EndProgress();
    kazfx::Console::Get().Line("kazfx: error: " + OneLine(failure.what()));
    return failure.status();
  } catch (const cv::Exception& e) {
    kazfx::Console::Get().EndProgress();
    kazfx::Console::Get().Line("kazfx: error: OpenCV: " + OneLine(e.err));
    return kazfx::kExitFailed;
  } catch (const std::exception& e) {
    kazfx::Console::Get().EndProgress();
    kazfx::Console::Get().Line("kazfx: error: " + OneLine(e.what()));
    return kazfx::kExitFailed;
  }
}
