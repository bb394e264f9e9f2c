// Loading a module and driving it through its life.

#pragma once

#include <cstdint>
#include <memory>

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// A module that has been loaded, registered and initialised. The folders and the logging context
// (korcore/agent_context.h) must have been set before. Lifecycle commands are given by one thread.
class Module {
 public:
  // Creates the module's settings file in the configuration folder when it is missing.
  static Result<std::unique_ptr<Module>> Load(const KorString& path);

  // Cleans up, unregisters, waits for actions and threads in progress and unloads.
  ~Module();
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  // Begins its service: the first run and the timers.
  void Activate();

  // Ends the module's run in progress, by force if it does not end in time.
  void Cancel();

  const KorString& Path() const { return path; }
  const KorString& Version() const { return version; }

 private:
  using EntryPoint = uint64_t (*)(uint32_t command, uint64_t argument, char* buffer);

  Module(const KorString& modulePath, void* loadedLibrary, EntryPoint modulesEntryPoint)
      : path(modulePath), library(loadedLibrary), entryPoint(modulesEntryPoint) {}

  Result<void> Initialise();
  void ReadVersion();

  KorString path;
  KorString version;
  void* library;
  EntryPoint entryPoint;
};

// Returns when no thread of a module runs. One that does not end for a long time, as when it hangs
// in the kernel, ends the process with that status: the module, the log and all else that the
// thread uses cannot be taken away beneath it.
void EndWithoutThreads(int exitCode);

// The inventory module that belongs to this program: installed, or beside it in the build tree.
Result<KorString> DefaultModulePath();

}  // namespace agent
