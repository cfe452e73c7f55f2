// SPDX-License-Identifier: MIT
#include "plugin_host.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "console.h"
#include "failure.h"
#include "kaz/filter_api.h"

namespace kazfx {

int32_t HostUtil::GetPath(int code, char* buffer, int bufferSize) {
  if (buffer == nullptr || bufferSize < 1) return 1;
  // Cloud resources are not offered: the plug-in keeps its default for code 3.
  if (code != kResources || resourcesDir_.size() >= static_cast<size_t>(bufferSize)) return 1;
  std::memcpy(buffer, resourcesDir_.c_str(), resourcesDir_.size() + 1);
  return 0;
}

void HostUtil::Log(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  LogV(level, format, args);
  va_end(args);
}

void HostUtil::LogV(int level, const char* format, va_list args) {
  if (format == nullptr) return;
  // A library the plug-in could not load is named alone; the same format after a model's
  // creation carries the model's path, which always has a folder in it.
  if (std::strcmp(format, kKAZLogLoadLib) == 0) {
    va_list copy;
    va_copy(copy, args);
    const char* name = va_arg(copy, const char*);
    va_end(copy);
    if (name != nullptr && std::strpbrk(name, "/\\") == nullptr) NoteLibraryFailure(name);
  }
  char line[2048];
  std::vsnprintf(line, sizeof line, format, args);
  std::string text = line;
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  if (verbose_) Console::Get().Line(text);

  std::lock_guard<std::mutex> lock(mutex_);
  if (level >= 4) {
    // A failing effect may say the same on every frame; the count is what matters then.
    if (errors_.size() < 1000) errors_.push_back(text);
    if (!verbose_ && !hold_) Console::Get().Line(text);
  }
}

void HostUtil::NoteLibraryFailure(const std::string& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (std::find(libraryFailures_.begin(), libraryFailures_.end(), name) == libraryFailures_.end())
    libraryFailures_.push_back(name);
}

int HostUtil::ErrorCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<int>(errors_.size());
}

std::vector<std::string> HostUtil::ErrorsFrom(int first) const {
  std::lock_guard<std::mutex> lock(mutex_);
  if (first < 0 || static_cast<size_t>(first) >= errors_.size()) return {};
  return std::vector<std::string>(errors_.begin() + first, errors_.end());
}

std::vector<std::string> HostUtil::LibraryFailures() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return libraryFailures_;
}

int32_t Registrar::SetIdentity(const char* guid, const char* name) {
  effect_.guid = guid != nullptr ? guid : "";
  effect_.name = name != nullptr ? name : "";
  return 0;
}

int32_t Registrar::SetFlags(int32_t flags) {
  effect_.flags = flags;
  return 0;
}

int32_t Registrar::SetReserved(int32_t) { return 0; }

int32_t Registrar::Number(ParamKind kind, ParamControl control, int32_t index, const char* name,
                          double min, double max, double def, int32_t visibility) {
  ParamDecl decl;
  decl.index = index;
  decl.name = name != nullptr ? name : "";
  decl.kind = kind;
  decl.control = control;
  decl.min = min;
  decl.max = max;
  decl.def = def;
  decl.visible = visibility != kKAZParamHidden;
  effect_.params.push_back(std::move(decl));
  return 0;
}

int32_t Registrar::Text(ParamControl control, int32_t index, const char* name, const char* min,
                        const char* max, const char* def, int32_t visibility) {
  ParamDecl decl;
  decl.index = index;
  decl.name = name != nullptr ? name : "";
  decl.kind = ParamKind::kString;
  decl.control = control;
  decl.minText = min != nullptr ? min : "";
  decl.maxText = max != nullptr ? max : "";
  decl.defText = def != nullptr ? def : "";
  decl.visible = visibility != kKAZParamHidden;
  effect_.params.push_back(std::move(decl));
  return 0;
}

int32_t Registrar::DeclareFloat(int32_t, int32_t index, const char* name, float min, float max,
                                float def, int32_t visibility) {
  return Number(ParamKind::kFloat, ParamControl::kPlain, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareMult100Float(int32_t, int32_t index, const char* name, float min,
                                       float max, float def, int32_t visibility) {
  return Number(ParamKind::kFloat, ParamControl::kPercent, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareDouble(int32_t, int32_t index, const char* name, double min, double max,
                                 double def, int32_t visibility) {
  return Number(ParamKind::kDouble, ParamControl::kPlain, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareInt(int32_t, int32_t index, const char* name, int32_t min, int32_t max,
                              int32_t def, int32_t visibility) {
  return Number(ParamKind::kInt, ParamControl::kPlain, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareColor(int32_t, int32_t index, const char* name, int32_t min, int32_t max,
                                int32_t def, int32_t visibility) {
  return Number(ParamKind::kInt, ParamControl::kColor, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareCheckBox(int32_t, int32_t index, const char* name, int32_t min,
                                   int32_t max, int32_t def, int32_t visibility) {
  return Number(ParamKind::kInt, ParamControl::kCheckBox, index, name, min, max, def, visibility);
}
int32_t Registrar::Declare9Palaces(int32_t, int32_t index, const char* name, int32_t min,
                                   int32_t max, int32_t def, int32_t visibility) {
  return Number(ParamKind::kInt, ParamControl::kNinePalaces, index, name, min, max, def,
                visibility);
}
int32_t Registrar::DeclareListMosaic(int32_t, int32_t index, const char* name, int32_t min,
                                     int32_t max, int32_t def, int32_t visibility) {
  return Number(ParamKind::kInt, ParamControl::kListMosaic, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareColorStart(int32_t, int32_t index, const char* name, int32_t min,
                                     int32_t max, int32_t def, int32_t visibility) {
  return Number(ParamKind::kInt, ParamControl::kColorStart, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareColorEnd(int32_t, int32_t index, const char* name, int32_t min,
                                   int32_t max, int32_t def, int32_t visibility) {
  return Number(ParamKind::kInt, ParamControl::kColorEnd, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareString(int32_t, int32_t index, const char* name, const char* min,
                                 const char* max, const char* def, int32_t visibility) {
  return Text(ParamControl::kPlain, index, name, min, max, def, visibility);
}
int32_t Registrar::DeclareListMask(int32_t, int32_t index, const char* name, const char* min,
                                   const char* max, const char* def, int32_t visibility) {
  return Text(ParamControl::kListMask, index, name, min, max, def, visibility);
}

namespace {

// The plug-in's log callback has no context argument; one plug-in is hosted per process.
std::atomic<HostUtil*> g_logTarget{nullptr};

void LogCallback(int level, const char* format, va_list args) {
  if (HostUtil* util = g_logTarget.load()) util->LogV(level, format, args);
}

template <typename Fn>
Fn Bind(const Library& library, const char* name, const std::string& path) {
  void* symbol = library.Symbol(name);
  if (symbol == nullptr) RunError(path + " is not a kazAiFilterPlugin plug-in: no " + name);
  return reinterpret_cast<Fn>(symbol);
}

}  // namespace

PluginHost::PluginHost(const HostSettings& settings)
    : util_(settings.resourcesDir, settings.verbose) {
  std::error_code ec;
  if (!std::filesystem::is_directory(settings.resourcesDir, ec)) {
    RunError("resources folder " + settings.resourcesDir + " does not exist (see --resources)");
  }
  // The plug-in reads the folder into a 512-byte buffer.
  if (settings.resourcesDir.size() >= 512) {
    RunError("resources folder path is too long (at most 511 bytes)");
  }
  if (!std::filesystem::exists(settings.pluginPath, ec)) {
    RunError("plug-in " + settings.pluginPath + " not found (see --plugin)");
  }
  std::string why;
  library_ = Library::Open(settings.pluginPath, &why);
  if (!library_) RunError("cannot load plug-in " + settings.pluginPath + ": " + why);
  const std::string& path = settings.pluginPath;
  startup_ = Bind<decltype(startup_)>(*library_, "StartupKAZ", path);
  register_ = Bind<decltype(register_)>(*library_, "RegisterKAZEffect", path);
  create_ = Bind<decltype(create_)>(*library_, "CreateKAZEffect", path);
  release_ = Bind<decltype(release_)>(*library_, "ReleaseKAZEffect", path);
  shutdown_ = Bind<decltype(shutdown_)>(*library_, "ShutdownKAZ", path);
  // Through the callback every line arrives with its format and arguments, not only its text.
  setLogCallback_ =
      Bind<decltype(setLogCallback_)>(*library_, "SetNLEAIEffectFilterLogCallback", path);
  g_logTarget.store(&util_);
  setLogCallback_(&LogCallback);
}

PluginHost::~PluginHost() {
  if (started_) shutdown_();
  setLogCallback_(nullptr);
  g_logTarget.store(nullptr);
}

int32_t PluginHost::AcquireSuite(const char* name, int32_t version, void** suite) {
  if (suite == nullptr) return 1;
  *suite = nullptr;
  if (name == nullptr || version != 1) return 1;
  if (std::strcmp(name, "Host Util Suite") == 0) {
    *suite = static_cast<KAZHostUtilSuite*>(&util_);
    return 0;
  }
  // The allocator suites are never called by this plug-in, so kazfx offers none.
  return 1;
}

void PluginHost::Start() {
  util_.Hold(true);
  started_ = true;
  if (startup_(this, &info_) != 0) RunError("the plug-in failed to start");
  Registrar registrar;
  for (int32_t i = 0; i < info_.effectCount; ++i) {
    registrar.Begin();
    if (register_(i, &registrar) == 0) {
      effects_.push_back(registrar.Take());
    } else {
      refused_.push_back(i);
    }
  }
  util_.Hold(false);
}

EffectHandle PluginHost::Create(const std::string& guid) {
  KAZEffect* effect = nullptr;
  const int errorsBefore = util_.ErrorCount();
  util_.Hold(true);
  const int32_t status = create_(guid.c_str(), 0, &effect);
  util_.Hold(false);
  if (status != 0 || effect == nullptr) {
    const std::vector<std::string> errors = util_.ErrorsFrom(errorsBefore);
    RunError("the plug-in could not create effect " + guid +
             (errors.empty() ? std::string() : ": " + errors.front()));
  }
  return EffectHandle(effect, EffectReleaser{release_});
}

namespace {

// `relative` to the kazfx binary, when it exists: an installed kazfx finds its own installation,
// wherever its prefix was moved.
std::string BesideExecutable(const std::string& relative) {
  const std::string dir = ExecutableDir();
  if (dir.empty()) return std::string();
  std::error_code ec;
  const auto path = (std::filesystem::path(dir) / relative).lexically_normal();
  return std::filesystem::exists(path, ec) ? path.string() : std::string();
}

std::string FromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

std::string DefaultPluginPath() {
  std::string path = FromEnvironment("KAZFX_PLUGIN");
  if (path.empty()) {
    path = BesideExecutable(KAZFX_INSTALLED_PLUGIN_DIR "/" + std::string(PluginFileName()));
  }
  if (path.empty()) {
    const std::string dir = ExecutableDir();
    path = dir.empty() ? PluginFileName() : dir + "/" + PluginFileName();
  }
  return path;
}

std::string DefaultResourcesDir() {
  std::string dir = FromEnvironment("KAZFX_RESOURCES");
  if (dir.empty()) dir = BesideExecutable(KAZFX_INSTALLED_RESOURCES_DIR);
  return dir.empty() ? KAZFX_RESOURCES_DIR : dir;
}

}  // namespace kazfx
