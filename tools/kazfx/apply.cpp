// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>

#include <opencv2/core.hpp>

#include "commands.h"
#include "console.h"
#include "failure.h"
#include "media.h"
#include "platform.h"
#include "render_context.h"
#include "values.h"

namespace kazfx {
namespace {

const char kMaskSwitch[] = "need gray Image";

const char kUsage[] =
    "usage: kazfx apply --effect NAME|GUID [--param NAME=VALUE]... [--resources DIR]\n"
    "                   [--start N] [--frames N] [--fps F] [--mask PATH] [--quiet]\n"
    "                   INPUT OUTPUT\n"
    "\n"
    "Runs one effect over every frame of INPUT and writes OUTPUT.\n"
    "  INPUT   a video file, an image, or a folder of images (taken in name order)\n"
    "  OUTPUT  a video (.avi, .mp4, .mkv, .mov; no alpha), an image (.png keeps alpha), or a\n"
    "          folder that receives frame_NNNNNN.png per frame; written under a temporary name\n"
    "          and put in place only when every frame is done\n"
    "\n"
    "  --effect NAME|GUID  the effect, by name (any case) or GUID; kazfx list shows them\n"
    "  --param NAME=VALUE  a parameter by its declared name (or with '_' for ' '); numbers,\n"
    "                      colours as 0xRRGGBB or #RRGGBB, on/off switches, text; repeatable\n"
    "  --start N           the first frame to render (default 0); frame numbers stay those of\n"
    "                      INPUT, so parts of a clip rendered apart join up\n"
    "  --frames N          how many frames to render (default: to the end)\n"
    "  --fps F             frame rate for images and folders (default 25), or to override\n"
    "                      the video's own\n"
    "  --mask PATH         also write the person mask a segmentation effect sends to the\n"
    "                      host (a folder, a video or an image, as OUTPUT); turns the\n"
    "                      effect's \"need gray Image\" on unless --param sets it\n"
    "  --quiet             no progress bar and no summary line\n"
    "  --resources DIR     the resources folder the plug-in scans (default: the project's)\n"
    "  --plugin PATH       the plug-in file (default: kazAiFilterPlugin.kaz beside kazfx)\n"
    "  --verbose           also the plug-in's progress lines\n";

std::string SizeText(const cv::Mat& m) {
  return std::to_string(m.cols) + "x" + std::to_string(m.rows);
}

std::string ParamNames(const EffectDecl& effect) {
  if (effect.params.empty()) return "it has none";
  std::string names = "it has";
  for (size_t i = 0; i < effect.params.size(); ++i) {
    names += (i == 0 ? " \"" : ", \"") + effect.params[i].name + "\"";
  }
  return names;
}

// The plug-in's first complaint, or the runtime libraries it could not load, which explain the
// terse "API is null" that follows them.
std::string FailureReason(const HostUtil& util, int firstError) {
  const std::vector<std::string> libraries = util.LibraryFailures();
  if (!libraries.empty()) {
    std::string names;
    for (const std::string& name : libraries) names += (names.empty() ? "" : ", ") + name;
    return "the plug-in could not load " + names +
           " (the AI runtime belongs beside the plug-in or on LD_LIBRARY_PATH)";
  }
  const std::vector<std::string> errors = util.ErrorsFrom(firstError);
  std::string reason = errors.empty() ? "the plug-in reported an error" : errors.front();
  if (errors.size() > 1) reason += " (and " + std::to_string(errors.size() - 1) + " more)";
  return reason;
}

bool SamePath(const std::string& a, const std::string& b) {
  std::error_code ec;
  return std::filesystem::equivalent(a, b, ec) && !ec;
}

}  // namespace

int RunApply(const std::vector<std::string>& args) {
  std::vector<OptionSpec> specs = kHostOptions;
  for (const char* name : {"effect", "param", "start", "frames", "fps", "mask"}) {
    specs.push_back({name, true});
  }
  specs.push_back({"quiet", false});
  const Options options("apply", specs, args);
  if (options.Help()) {
    std::fputs(kUsage, stdout);
    return kExitOk;
  }
  if (options.Positionals().size() != 2) {
    UsageError("apply needs INPUT and OUTPUT (see kazfx apply --help)");
  }
  if (!options.Has("effect")) UsageError("apply needs --effect NAME (kazfx list shows them)");
  const std::string input = options.Positionals()[0];
  const std::string output = options.Positionals()[1];

  const int64_t start = ParseInteger(options.Value("start", "0"), "--start");
  if (start < 0 || start > INT32_MAX) UsageError("--start must be 0 or more");
  int64_t frames = -1;
  if (options.Has("frames")) {
    frames = ParseInteger(options.Value("frames"), "--frames");
    if (frames < 1 || frames > INT32_MAX) UsageError("--frames must be 1 or more");
  }
  double fps = 0;
  if (options.Has("fps")) {
    fps = ParseReal(options.Value("fps"), "--fps");
    if (fps <= 0 || fps > 1e6) UsageError("--fps must be above 0");
  }
  const MediaKind outputKind = OutputKind(output);
  if (SamePath(input, output)) UsageError("OUTPUT is INPUT: write the result somewhere else");
  const std::string maskOutput = options.Value("mask");
  const MediaKind maskKind = options.Has("mask") ? OutputKind(maskOutput) : MediaKind::kFolder;
  if (options.Has("mask") && (SamePath(input, maskOutput) || maskOutput == output)) {
    UsageError("--mask needs a path of its own");
  }

  const HostSettings settings = HostSettingsFrom(options);
  PluginHost host(settings);
  host.Start();

  const EffectDecl* effect = FindEffect(host.Effects(), options.Value("effect"));
  if (effect == nullptr) {
    UsageError("unknown effect \"" + options.Value("effect") + "\" (kazfx list shows the " +
               std::to_string(host.Effects().size()) + " effects)");
  }
  std::map<std::string, ParamSetting> params;
  for (const std::string& assignment : options.Values("param")) {
    const auto [name, text] = SplitAssignment(assignment);
    const ParamDecl* decl = FindParam(*effect, name);
    if (decl == nullptr) {
      UsageError("unknown parameter \"" + name + "\" for " + effect->name + " (" +
                 ParamNames(*effect) + ")");
    }
    params[decl->name] = ParseParamValue(*decl, text);
  }
  if (options.Has("mask")) {
    // Segmentation effects send their mask only while this parameter is on.
    const auto gray = std::find_if(effect->params.begin(), effect->params.end(),
                                   [](const ParamDecl& d) { return d.name == kMaskSwitch; });
    if (gray == effect->params.end()) {
      UsageError(effect->name + " sends no mask: --mask needs an effect with a \"" + kMaskSwitch +
                 "\" parameter");
    }
    if (params.count(kMaskSwitch) == 0) params[kMaskSwitch] = ParseParamValue(*gray, "1");
  }

  std::unique_ptr<FrameSource> source = OpenSource(input);
  const int count = source->FrameCount();
  if (count >= 0 && start >= count) {
    UsageError("--start " + std::to_string(start) + " is past the end of " + input + " (" +
               std::to_string(count) + " frame" + (count == 1 ? "" : "s") + ")");
  }
  // A range that runs past the end is cut there, so a render farm may split by fixed chunks.
  int64_t total = count >= 0 ? count - start : -1;
  if (frames > 0 && (total < 0 || frames < total)) total = frames;
  if (fps <= 0) fps = source->Fps() > 0 ? source->Fps() : 25.0;
  for (const auto& [path, kind] :
       {std::make_pair(output, outputKind), std::make_pair(maskOutput, maskKind)}) {
    if (kind == MediaKind::kImage && total != 1) {
      UsageError(path + " is one image but " +
                 (total < 0 ? std::string("the whole clip") : std::to_string(total) + " frames") +
                 " would be written: give a folder or a video, or --frames 1");
    }
  }

  source->Seek(static_cast<int>(start));
  cv::Mat frame;
  if (!source->Read(&frame)) {
    RunError(input + " has no frame " + std::to_string(start));
  }
  std::unique_ptr<FrameSink> sink = OpenSink(output, outputKind, fps, frame.size());
  std::unique_ptr<FrameSink> maskSink;
  MaskReceiver receiver;
  if (options.Has("mask")) maskSink = OpenSink(maskOutput, maskKind, fps, frame.size());
  InstallInterruptHandler();

  RenderContext context;
  context.SetTiming(count >= 0 ? count : 0, FrameRateRational(fps));
  context.SetParams(&params);
  if (maskSink) context.SetReceiver(&receiver);
  EffectHandle handle = host.Create(effect->guid);
  const bool quiet = options.Has("quiet");
  Progress progress(total > 0 ? static_cast<int>(total) : 0, !quiet && StderrIsTerminal());
  cv::Mat destination;
  int done = 0;
  bool changed = false;
  for (;;) {
    if (Interrupted()) throw Failure(kExitInterrupted, "interrupted; nothing was written");
    const int number = static_cast<int>(start) + done;
    // An editor hands over a cleared buffer; a frame the effect leaves alone shows as empty.
    destination.create(frame.size(), CV_8UC4);
    destination.setTo(cv::Scalar::all(0));
    context.SetFrame(number, &frame, &destination);
    HostUtil& util = host.Util();
    const int errorsBefore = util.ErrorCount();
    receiver.Clear();
    util.Hold(true);
    handle->Update(&context);
    handle->Render(&context);
    util.Hold(false);
    // The plug-in hands back a frame whatever happens; an error line is the only sign that
    // it is not the effect's work.
    if (util.ErrorCount() != errorsBefore) {
      RunError(effect->name + " failed on frame " + std::to_string(number) + ": " +
               FailureReason(util, errorsBefore) + "; nothing was written");
    }
    changed = changed || cv::norm(frame, destination, cv::NORM_INF) != 0;
    sink->Write(destination, number);
    if (maskSink) {
      if (!receiver.Received()) {
        RunError(effect->name + " sent no mask for frame " + std::to_string(number) +
                 "; nothing was written");
      }
      maskSink->Write(receiver.Mask(), number);
    }
    progress.Update(++done);
    if (done == total || !source->Read(&frame)) break;
  }
  handle.reset();
  if (maskSink) maskSink->Commit();
  sink->Commit();
  progress.Finish();
  // The plug-in passes frames through when its AI runtime fails and may say so only in
  // progress lines; a clip that came out untouched is worth a word.
  if (!changed) {
    Console::Get().Line("kazfx: warning: " + effect->name +
                        " changed no pixel of any frame; if that is unexpected, --verbose shows "
                        "what the plug-in said");
  }
  if (!quiet) {
    std::printf("wrote %d frame%s (%s) to %s in %.1f s, %.1f fps\n", done, done == 1 ? "" : "s",
                SizeText(destination).c_str(), output.c_str(), progress.Seconds(),
                progress.Rate(done));
  }
  return kExitOk;
}

}  // namespace kazfx
