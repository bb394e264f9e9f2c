#include "agent/module_host.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "agent/exit_code.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "kor/thread.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"

namespace agent {
namespace {

enum Command : uint32_t {
  kRegister = 1,
  kUnregister = 2,
  kInitialise = 3,
  kActivate = 4,
  kCleanUp = 5,
  kVersion = 7,
};
constexpr uint64_t kDone = 1;

// Modules copy their version without looking at the room there is.
constexpr size_t kTextBufferSize = 4096;

// How long a thread of the module may still take after it was cancelled.
constexpr uint32_t kThreadEndMilliseconds = 10'000;

// Relative to the folder of the program; the second is the build tree's.
constexpr std::array<const char*, 2> kModuleFolders = {KOR_MODULE_FOLDER, "../lib"};
constexpr const char* kModuleFile = "HardwareInventory.so";

// What the loader says, without the path that it begins with.
KorString LoaderError(const KorString& path) {
  KorString reason = dlerror();
  if (reason.StartsWith(path + ": ", true)) {
    reason = KorString(reason.View().substr(path.GetLength() + 2));
  }
  return reason;
}

Failure NotLoaded(const KorString& path, const KorString& reason) {
  Failure failure;
  failure.reason.Printf("the module '%S' cannot be loaded: %S", path, reason);
  return failure;
}

Result<void> EnsureSettingsFile(const KorString& modulePath) {
  KorString drive, directory, name, extension, configDir;
  SplitPath(modulePath, drive, directory, name, extension);
  KorAgentGetConfigDir(configDir);
  const KorString file = configDir + name + ".ini";
  struct stat status;
  if (stat(file.CStr(), &status) == 0) return {};
  if (!MeansMissing(errno)) {
    return Failure{"the settings file '" + file + "' cannot be read: " + std::strerror(errno)};
  }
  if (SaveFileFromString(file, "; Settings of " + name + ". What is not set has its default.\n")) {
    return {};
  }
  return Failure{KorString("the settings file '") + file + "' cannot be created"};
}

}  // namespace

Result<std::unique_ptr<Module>> Module::Load(const KorString& givenPath) {
  // With a separator in it, or the loader would search its own folders.
  const KorString path = CompletePath(givenPath);
  void* library = dlopen(path.CStr(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return NotLoaded(path, LoaderError(path));
  const auto entryPoint = reinterpret_cast<EntryPoint>(dlsym(library, "ModuleMain"));
  if (entryPoint == nullptr) {
    dlclose(library);
    return NotLoaded(path, "it is not a module (it has no ModuleMain)");
  }
  const Result<void> settings = EnsureSettingsFile(path);
  if (!settings.IsOk()) {
    dlclose(library);
    return Failure{settings.Reason()};
  }
  std::unique_ptr<Module> module(new Module(path, library, entryPoint));
  const Result<void> initialised = module->Initialise();
  if (!initialised.IsOk()) return Failure{initialised.Reason()};
  return module;
}

Result<void> Module::Initialise() {
  entryPoint(kRegister, 0, reinterpret_cast<char*>(this));
  ReadVersion();
  const uint64_t result = entryPoint(kInitialise, 0, nullptr);
  if (result == kDone) return {};
  KorString reason;
  reason.Printf("its initialisation failed (result %gu)", result);
  return NotLoaded(path, reason);
}

void Module::ReadVersion() {
  std::array<char, kTextBufferSize> text = {};
  entryPoint(kVersion, 0, text.data());
  version = text.data();
  KorFrameworkLog().DetailWithNL("Loaded the module '%S', version '%S'", path, version);
}

void Module::Activate() {
  entryPoint(kActivate, 0, nullptr);
}

void Module::Cancel() {
  entryPoint(kCleanUp, 0, nullptr);
}

Module::~Module() {
  Cancel();
  entryPoint(kUnregister, 0, nullptr);
  ActionDbDropModule(this);
  EndWithoutThreads(kExitFailed);
  dlclose(library);
}

void EndWithoutThreads(int exitCode) {
  if (KorThread::WaitUntilNoneRuns(kThreadEndMilliseconds)) return;
  KorFrameworkLog().ErrorWithNL("A thread does not end; the process ends without it");
  _exit(exitCode);
}

Result<KorString> DefaultModulePath() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  KorString tried;
  for (const char* folder : kModuleFolders) {
    const auto file = (program.parent_path() / folder / kModuleFile).lexically_normal();
    const KorString path(file.string());
    if (FileExists(path)) return path;
    tried += (tried.IsEmpty() ? "" : ", ") + path;
  }
  return Failure{KorString("the inventory module is not there (tried ") + tried +
                 "); name it with --module"};
}

}  // namespace agent
