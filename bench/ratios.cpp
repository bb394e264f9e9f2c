#include "ratios.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

struct Part {
  const char* name;
  void (*print)();
};
constexpr Part kParts[] = {{"filter", bench::FilterRows},
                           {"document", bench::DocumentRows},
                           {"framework", bench::FrameworkRows},
                           {"console", bench::ConsoleRows}};

}  // namespace

// All parts, or those that are named.
int main(int argc, char** argv) {
  const std::vector<std::string> wanted(argv + 1, argv + argc);
  try {
    for (const Part& part : kParts) {
      if (wanted.empty() || std::ranges::find(wanted, part.name) != wanted.end()) part.print();
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ratios: %s\n", error.what());
    return 1;
  }
}
