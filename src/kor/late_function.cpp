#include "kor/late_function.h"

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "kor/debug.h"

namespace {

// Links what is loaded late, so that packages and loaders know of it.
constexpr const char* kLibraryName = "libKorTransfer.so.0";

// From the folder that this very code was loaded from: what an ordinary search looks through
// depends on who has called the loader, which is not always we.
std::string LibraryPath() {
  Dl_info self = {};
  if (dladdr(kLibraryName, &self) == 0 || self.dli_fname == nullptr) return kLibraryName;
  const std::string path = self.dli_fname;
  return path.substr(0, path.rfind('/') + 1) + kLibraryName;
}

// Null when it cannot be loaded. Never unloaded: libcurl does not bear it.
void* TransferLibrary() {
  static void* const library = [] {
    void* loaded = dlopen(LibraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
    if (loaded == nullptr)
      KorFrameworkLog().ErrorWithNL("Nothing can be transferred: %s", dlerror());
    return loaded;
  }();
  return library;
}

}  // namespace

bool KorTransferLibrariesAreThere() {
  return TransferLibrary() != nullptr;
}

void* KorLateAddress(const char* functionName) {
  void* const library = TransferLibrary();
  void* const address = library == nullptr ? nullptr : dlsym(library, functionName);
  if (address == nullptr) throw std::runtime_error(std::string("there is no ") + functionName);
  return address;
}
