#include "agent/last_words.h"

#include <unistd.h>

#include <exception>
#include <new>
#include <string_view>

#include "agent/exit_code.h"

namespace agent {
namespace {

std::terminate_handler previousHandler = nullptr;

bool IsForWantOfMemory() {
  try {
    if (const std::exception_ptr thrown = std::current_exception()) std::rethrow_exception(thrown);
  } catch (const std::bad_alloc&) {
    return true;
  } catch (...) {
    return false;
  }
  return false;
}

[[noreturn]] void EndNow() {
  if (!IsForWantOfMemory()) {
    previousHandler();
    _exit(kExitFailed);
  }
  constexpr std::string_view kLine = "kor-agent: not enough memory; the process ends at once\n";
  // There is nobody left to tell of a failure.
  static_cast<void>(write(STDERR_FILENO, kLine.data(), kLine.size()) == 0);
  _exit(kExitFailed);
}

}  // namespace

void EndQuietlyWithoutMemory() {
  previousHandler = std::set_terminate(EndNow);
}

}  // namespace agent
