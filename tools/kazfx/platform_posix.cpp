// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>

#include "platform.h"

namespace kazfx {

std::unique_ptr<Library> Library::Open(const std::string& path, std::string* error) {
  // RTLD_LOCAL: the plug-in's symbols stay its own, as in an editor hosting several plug-ins.
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* why = dlerror();
    if (error != nullptr) *error = why != nullptr ? why : "unknown loader error";
    return nullptr;
  }
  return std::unique_ptr<Library>(new Library(handle));
}

Library::~Library() { dlclose(handle_); }

void* Library::Symbol(const char* name) const { return dlsym(handle_, name); }

std::string ExecutableDir() {
  std::error_code ec;
  const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  return ec ? std::string() : exe.parent_path().string();
}

const char* PluginFileName() { return "kazAiFilterPlugin.kaz"; }

bool StderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }

int ProcessId() { return static_cast<int>(getpid()); }

namespace {
volatile sig_atomic_t g_interrupted = 0;

void OnInterrupt(int) { g_interrupted = 1; }
}  // namespace

void InstallInterruptHandler() {
  struct sigaction action = {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  // One-shot: a second Ctrl-C gets the default action and ends kazfx at once.
  action.sa_flags = SA_RESETHAND;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool Interrupted() { return g_interrupted != 0; }

}  // namespace kazfx
