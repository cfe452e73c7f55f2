// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include <cstdarg>
#include "declarations.h"

#include "kaz/filter_api.h"
#include "kaz/host_framework.h"
#include "platform.h"

namespace kazfx {

struct HostSettings {
  std::string pluginPath;    // the plug-in file
  std::string resourcesDir;  // answered for GetPath(1)
  bool verbose = false;      // the plug-in's progress lines too, and registration failures
};

// The plug-in's log lines. With --verbose every line goes to stderr as it comes. Otherwise
// progress lines (level 2) are dropped and errors (level 4) go to stderr, except while held:
// during registration (descriptions this build has no filter for are not the user's problem
// unless asked) and while a frame renders (the command folds them into its own one line).
class HostUtil final : public KAZHostUtilSuite {
 public:
  HostUtil(std::string resourcesDir, bool verbose)
      : resourcesDir_(std::move(resourcesDir)), verbose_(verbose) {}

  int32_t GetPath(int code, char* buffer, int bufferSize) override;
  void Log(int level, const char* format, ...) override;
  // The plug-in's own log callback lands here too.
  void LogV(int level, const char* format, va_list args);

  void Hold(bool hold) { hold_ = hold; }
  // Level-4 lines so far, and their texts from index `first` on.
  int ErrorCount() const;
  std::vector<std::string> ErrorsFrom(int first) const;
  // Runtime libraries the plug-in reported it could not load.
  std::vector<std::string> LibraryFailures() const;

 private:
  void NoteLibraryFailure(const std::string& name);

  std::string resourcesDir_;
  bool verbose_;
  std::atomic<bool> hold_{false};
  mutable std::mutex mutex_;
  std::vector<std::string> errors_;
  std::vector<std::string> libraryFailures_;
};

// Receives the declarations of one effect at a time.
class Registrar final : public KAZEffectRegistrar {
 public:
  void Begin() { effect_ = EffectDecl(); }
  EffectDecl Take() { return std::move(effect_); }

  int32_t SetIdentity(const char* guid, const char* name) override;
  int32_t SetFlags(int32_t flags) override;
  int32_t SetReserved(int32_t value) override;
  int32_t DeclareFloat(int32_t group, int32_t index, const char* name, float min, float max,
                       float def, int32_t visibility) override;
  int32_t DeclareInt(int32_t group, int32_t index, const char* name, int32_t min, int32_t max,
                     int32_t def, int32_t visibility) override;
  int32_t DeclareColor(int32_t group, int32_t index, const char* name, int32_t min, int32_t max,
                       int32_t def, int32_t visibility) override;
  int32_t DeclareCheckBox(int32_t group, int32_t index, const char* name, int32_t min, int32_t max,
                          int32_t def, int32_t visibility) override;
  int32_t DeclareString(int32_t group, int32_t index, const char* name, const char* min,
                        const char* max, const char* def, int32_t visibility) override;
  int32_t DeclareDouble(int32_t group, int32_t index, const char* name, double min, double max,
                        double def, int32_t visibility) override;
  int32_t Declare9Palaces(int32_t group, int32_t index, const char* name, int32_t min, int32_t max,
                          int32_t def, int32_t visibility) override;
  int32_t DeclareListMask(int32_t group, int32_t index, const char* name, const char* min,
                          const char* max, const char* def, int32_t visibility) override;
  int32_t DeclareListMosaic(int32_t group, int32_t index, const char* name, int32_t min,
                            int32_t max, int32_t def, int32_t visibility) override;
  int32_t DeclareColorStart(int32_t group, int32_t index, const char* name, int32_t min,
                            int32_t max, int32_t def, int32_t visibility) override;
  int32_t DeclareColorEnd(int32_t group, int32_t index, const char* name, int32_t min, int32_t max,
                          int32_t def, int32_t visibility) override;
  int32_t DeclareMult100Float(int32_t group, int32_t index, const char* name, float min, float max,
                              float def, int32_t visibility) override;

 private:
  int32_t Number(ParamKind kind, ParamControl control, int32_t index, const char* name, double min,
                 double max, double def, int32_t visibility);
  int32_t Text(ParamControl control, int32_t index, const char* name, const char* min,
               const char* max, const char* def, int32_t visibility);
  EffectDecl effect_;
};

// Releases a framework effect through the plug-in.
struct EffectReleaser {
  int32_t (*release)(KAZEffect*) = nullptr;
  void operator()(KAZEffect* effect) const {
    if (effect != nullptr && release != nullptr) release(effect);
  }
};
using EffectHandle = std::unique_ptr<KAZEffect, EffectReleaser>;

// The plug-in as an editor sees it: loaded from its file, started with this host's suites,
// every effect registered, framework effects made and released, shut down at the end.
class PluginHost final : public KAZHost {
 public:
  // Loads the plug-in and binds its host entry points; a run Failure when it cannot.
  explicit PluginHost(const HostSettings& settings);
  ~PluginHost();
  PluginHost(const PluginHost&) = delete;
  PluginHost& operator=(const PluginHost&) = delete;

  // StartupKAZ, then RegisterKAZEffect for every effect it reported.
  void Start();

  int32_t AcquireSuite(const char* name, int32_t version, void** suite) override;

  const KAZPluginInfo& Info() const { return info_; }
  // The effects that registered, in the plug-in's order.
  const std::vector<EffectDecl>& Effects() const { return effects_; }
  // Indices whose registration failed, and the plug-in's reasons.
  const std::vector<int32_t>& Refused() const { return refused_; }

  // A run Failure when the plug-in refuses.
  EffectHandle Create(const std::string& guid);
  HostUtil& Util() { return util_; }

 private:
  HostUtil util_;
  std::unique_ptr<Library> library_;
  decltype(&StartupKAZ) startup_ = nullptr;
  decltype(&RegisterKAZEffect) register_ = nullptr;
  decltype(&CreateKAZEffect) create_ = nullptr;
  decltype(&ReleaseKAZEffect) release_ = nullptr;
  decltype(&ShutdownKAZ) shutdown_ = nullptr;
  decltype(&SetNLEAIEffectFilterLogCallback) setLogCallback_ = nullptr;
  bool started_ = false;
  KAZPluginInfo info_ = {};
  std::vector<EffectDecl> effects_;
  std::vector<int32_t> refused_;
};

// Where the plug-in and the resources are unless the command line says otherwise.
std::string DefaultPluginPath();
std::string DefaultResourcesDir();

}  // namespace kazfx
