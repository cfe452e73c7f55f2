// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>

#include <opencv2/core.hpp>

#include "analysis_data.h"
#include "commands.h"
#include "console.h"
#include "failure.h"
#include "media.h"
#include "platform.h"
#include "render_context.h"
#include "values.h"

namespace kazfx {
namespace {

const char* const kMaskSwitch = kKAZNeedGrayImageName;

const char kUsage[] =
    "usage: kazfx apply --effect NAME|GUID [--param NAME=VALUE]... [--resources DIR]\n"
    "                   [--start N] [--frames N] [--fps F] [--mask PATH]\n"
    "                   [--data FILE.jsonl [--draw]] [--quiet]\n"
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
    "  --data FILE.jsonl   with an analysis effect (kazfx list marks them): one JSON line\n"
    "                      per frame with the faces or people it found (docs/kazfx.md)\n"
    "  --draw              also draw those points and boxes over OUTPUT's frames\n"
    "  --quiet             no progress bar and no summary line\n"
    "  --resources DIR     resources folder (default: $KAZFX_RESOURCES, installed, project's)\n"
    "  --plugin PATH       plug-in file (default: $KAZFX_PLUGIN, installed, beside kazfx)\n"
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

// What the command line asks for, checked before the plug-in is loaded.
struct Request {
  std::string input, output, maskOutput, dataOutput;
  MediaKind outputKind = MediaKind::kFolder, maskKind = MediaKind::kFolder;
  bool mask = false, quiet = false, data = false, draw = false;
  int64_t start = 0, frames = -1;  // -1: to the end
  double fps = 0;                  // 0: the clip's own, else 25
};

Request ParseRequest(const Options& options) {
  if (options.Positionals().size() != 2) {
    UsageError("apply needs INPUT and OUTPUT (see kazfx apply --help)");
  }
  if (!options.Has("effect")) UsageError("apply needs --effect NAME (kazfx list shows them)");
  Request r;
  r.input = options.Positionals()[0];
  r.output = options.Positionals()[1];
  r.quiet = options.Has("quiet");
  r.start = ParseInteger(options.Value("start", "0"), "--start");
  if (r.start < 0 || r.start > INT32_MAX) UsageError("--start must be 0 or more");
  if (options.Has("frames")) {
    r.frames = ParseInteger(options.Value("frames"), "--frames");
    if (r.frames < 1 || r.frames > INT32_MAX) UsageError("--frames must be 1 or more");
  }
  if (options.Has("fps")) {
    r.fps = ParseReal(options.Value("fps"), "--fps");
    if (r.fps <= 0 || r.fps > 1e6) UsageError("--fps must be above 0");
  }
  r.outputKind = OutputKind(r.output);
  if (SamePath(r.input, r.output)) UsageError("OUTPUT is INPUT: write the result somewhere else");
  r.mask = options.Has("mask");
  if (r.mask) {
    r.maskOutput = options.Value("mask");
    r.maskKind = OutputKind(r.maskOutput);
    if (SamePath(r.input, r.maskOutput) || r.maskOutput == r.output) {
      UsageError("--mask needs a path of its own");
    }
  }
  r.data = options.Has("data");
  r.draw = options.Has("draw");
  if (r.draw && !r.data) UsageError("--draw needs --data FILE.jsonl");
  if (r.data) {
    r.dataOutput = options.Value("data");
    if (SamePath(r.input, r.dataOutput) || r.dataOutput == r.output ||
        (r.mask && r.dataOutput == r.maskOutput)) {
      UsageError("--data needs a path of its own");
    }
  }
  return r;
}

// The user's values by declared name, converted by the declared kind.
std::map<std::string, ParamSetting> ResolveParams(const EffectDecl& effect, const Options& options,
                                                  bool mask) {
  std::map<std::string, ParamSetting> params;
  for (const std::string& assignment : options.Values("param")) {
    const auto [name, text] = SplitAssignment(assignment);
    const ParamDecl* decl = FindParam(effect, name);
    if (decl == nullptr) {
      UsageError("unknown parameter \"" + name + "\" for " + effect.name + " (" +
                 ParamNames(effect) + ")");
    }
    params[decl->name] = ParseParamValue(*decl, text);
  }
  if (mask) {
    // Segmentation effects send their mask only while this parameter is on.
    const auto gray = std::find_if(effect.params.begin(), effect.params.end(),
                                   [](const ParamDecl& d) { return d.name == kMaskSwitch; });
    if (gray == effect.params.end()) {
      UsageError(effect.name + " sends no mask: --mask needs an effect with a \"" + kMaskSwitch +
                 "\" parameter");
    }
    if (params.count(kMaskSwitch) == 0) params[kMaskSwitch] = ParseParamValue(*gray, "1");
  }
  return params;
}

// What a render will do, settled from the source before anything is written.
struct ClipPlan {
  std::unique_ptr<FrameSource> source;
  int count = -1;     // frames in the source, -1 when unknown
  int64_t total = 0;  // frames to render, -1: to the end
  double fps = 25.0;
};

ClipPlan PlanClip(const Request& request) {
  ClipPlan plan;
  plan.source = OpenSource(request.input);
  const int count = plan.count = plan.source->FrameCount();
  if (count >= 0 && request.start >= count) {
    UsageError("--start " + std::to_string(request.start) + " is past the end of " + request.input +
               " (" + std::to_string(count) + " frame" + (count == 1 ? "" : "s") + ")");
  }
  // A range that runs past the end is cut there, so a render farm may split by fixed chunks.
  plan.total = count >= 0 ? count - request.start : -1;
  if (request.frames > 0 && (plan.total < 0 || request.frames < plan.total))
    plan.total = request.frames;
  const double own = plan.source->Fps();
  plan.fps = request.fps > 0 ? request.fps : own > 0 ? own : 25.0;
  for (const auto& [path, kind] : {std::make_pair(request.output, request.outputKind),
                                   std::make_pair(request.maskOutput, request.maskKind)}) {
    if (kind == MediaKind::kImage && plan.total != 1) {
      UsageError(path + " is one image but " +
                 (plan.total < 0 ? std::string("the whole clip")
                                 : std::to_string(plan.total) + " frames") +
                 " would be written: give a folder or a video, or --frames 1");
    }
  }
  return plan;
}

// Renders frame `number` into `destination`; a run Failure when the plug-in reports an error.
// True when the effect changed a pixel.
bool RenderFrame(KAZEffect& effect, const EffectDecl& decl, HostUtil& util, RenderContext& context,
                 int number, cv::Mat& frame, cv::Mat& destination, double* effectSeconds) {
  // An editor hands over a cleared buffer; a frame the effect leaves alone shows as empty.
  destination.create(frame.size(), CV_8UC4);
  destination.setTo(cv::Scalar::all(0));
  context.SetFrame(number, &frame, &destination);
  const int errorsBefore = util.ErrorCount();
  util.Hold(true);
  const auto start = std::chrono::steady_clock::now();
  effect.Update(&context);
  effect.Render(&context);
  *effectSeconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  util.Hold(false);
  // The plug-in hands back a frame whatever happens; an error line is the only sign that it is
  // not the effect's work.
  if (util.ErrorCount() != errorsBefore) {
    RunError(decl.name + " failed on frame " + std::to_string(number) + ": " +
             FailureReason(util, errorsBefore) + "; nothing was written");
  }
  return cv::norm(frame, destination, cv::NORM_INF) != 0;
}

// Runs the effect over the frames of `request` and puts the outputs in place.
void RenderClip(PluginHost& host, const EffectDecl& effect,
                const std::map<std::string, ParamSetting>& params, const Request& request) {
  ClipPlan plan = PlanClip(request);
  plan.source->Seek(static_cast<int>(request.start));
  cv::Mat frame;
  if (!plan.source->Read(&frame))
    RunError(request.input + " has no frame " + std::to_string(request.start));
  std::unique_ptr<FrameSink> sink =
      OpenSink(request.output, request.outputKind, plan.fps, frame.size());
  std::unique_ptr<FrameSink> maskSink;
  if (request.mask)
    maskSink = OpenSink(request.maskOutput, request.maskKind, plan.fps, frame.size());
  InstallInterruptHandler();

  std::unique_ptr<DataWriter> data;
  if (request.data) {
    if (!IsAnalysisEffect(effect.guid)) {
      UsageError(effect.name +
                 " is not an analysis effect: --data needs one (kazfx list marks "
                 "them)");
    }
    data = std::make_unique<DataWriter>(request.dataOutput, effect.guid == kKAZFaceInfoEffectGUID,
                                        effect.guid == kKAZPoseEffectGUID);
  }
  DataReceiver receiver;
  RenderContext context;
  context.SetTiming(plan.count >= 0 ? plan.count : 0, FrameRateRational(plan.fps));
  context.SetParams(&params);
  if (maskSink || data) context.SetReceiver(&receiver);
  EffectHandle handle = host.Create(effect.guid);
  const int total = plan.total > 0 ? static_cast<int>(plan.total) : 0;
  Progress progress(total, !request.quiet && StderrIsTerminal());
  cv::Mat destination;
  int done = 0;
  bool changed = false;
  double effectSeconds = 0;  // in Update and Render, apart from decoding and encoding
  for (;;) {
    if (Interrupted()) throw Failure(kExitInterrupted, "interrupted; nothing was written");
    const int number = static_cast<int>(request.start) + done;
    receiver.Clear();
    changed |= RenderFrame(*handle, effect, host.Util(), context, number, frame, destination,
                           &effectSeconds);
    if (data) {
      if (receiver.Malformed() > 0) {
        RunError(effect.name + " sent data kazfx cannot read for frame " + std::to_string(number) +
                 "; nothing was written");
      }
      data->Write(number, receiver);
      if (request.draw) DrawData(destination, receiver);
    }
    sink->Write(destination, number);
    if (maskSink) {
      if (!receiver.Mask().Received()) {
        RunError(effect.name + " sent no mask for frame " + std::to_string(number) +
                 "; nothing was written");
      }
      maskSink->Write(receiver.Mask().Mask(), number);
    }
    progress.Update(++done);
    if (done == plan.total || !plan.source->Read(&frame)) break;
  }
  handle.reset();
  if (maskSink) maskSink->Commit();
  if (data) data->Commit();
  sink->Commit();
  progress.Finish();
  // The plug-in passes frames through when its AI runtime fails and may say so only in
  // progress lines; a clip that came out untouched is worth a word.
  if (!changed && !data) {
    Console::Get().Line("kazfx: warning: " + effect.name +
                        " changed no pixel of any frame; if that is unexpected, --verbose shows "
                        "what the plug-in said");
  }
  if (!request.quiet) {
    std::printf("wrote %d frame%s (%s) to %s in %.1f s, %.1f fps (the effect alone %.1f fps)\n",
                done, done == 1 ? "" : "s", SizeText(destination).c_str(), request.output.c_str(),
                progress.Seconds(), progress.Rate(done),
                effectSeconds > 0 ? done / effectSeconds : 0.0);
  }
}

}  // namespace

int RunApply(const std::vector<std::string>& args) {
  std::vector<OptionRule> rules = kHostOptions;
  for (const char* name : {"effect", "param", "start", "frames", "fps", "mask", "data"}) {
    rules.push_back({name, true});
  }
  rules.push_back({"quiet", false});
  rules.push_back({"draw", false});
  const Options options("apply", rules, args);
  if (options.Help()) {
    std::fputs(kUsage, stdout);
    return kExitOk;
  }
  const Request request = ParseRequest(options);
  PluginHost host(HostSettingsFrom(options));
  host.Start();
  const EffectDecl* effect = FindEffect(host.Effects(), options.Value("effect"));
  if (effect == nullptr) {
    UsageError("unknown effect \"" + options.Value("effect") + "\" (kazfx list shows the " +
               std::to_string(host.Effects().size()) + " effects)");
  }
  RenderClip(host, *effect, ResolveParams(*effect, options, request.mask), request);
  return kExitOk;
}

}  // namespace kazfx
