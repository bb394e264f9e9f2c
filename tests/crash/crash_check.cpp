// Looks at a home after its agent came to a sudden end, and says what is not as it must be.
//
// usage: crash_check [--clean] HOME
//   --clean  after a run that ended well: nothing waits and nothing is half-written
//
// Ends with 0 when all is well, 1 with a line on standard output for each complaint.

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "home_check.h"

int main(int argc, char** argv) {
  const bool isClean = argc == 3 && std::string_view(argv[1]) == "--clean";
  if (argc != 2 && !isClean) {
    std::fprintf(stderr, "usage: crash_check [--clean] HOME\n");
    return 2;
  }
  bool isWell = true;
  const auto complain = [&isWell](const std::string& text) {
    std::printf("%s\n", text.c_str());
    isWell = false;
  };
  try {
    CheckHome(argv[argc - 1], isClean, complain);
  } catch (const std::exception& error) {
    complain(error.what());
  }
  return isWell ? 0 : 1;
}
