// Looks at a home after its agent came to a sudden end, and says what is not as it must be.
//
// usage: crash_check [--clean] HOME
//   --clean  after a run that ended well: nothing waits and nothing is half-written
//
// Ends with 0 when all is well, 1 with a line on standard output for each complaint.

#include <sqlite3.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <string_view>

#include "accepted_items.h"
#include "delivered_documents.h"
#include "kor/string.h"
#include "korcore/obj_inv.h"

namespace {

namespace fs = std::filesystem;

// More than a single end can leave: the run after it takes them away.
constexpr size_t kMostTemporaryFiles = 3;

std::string IntegrityOf(const fs::path& path) {
  sqlite3* database = nullptr;
  std::string answer = "cannot be opened";
  const auto take = [](void* out, int, char** values, char**) {
    *static_cast<std::string*>(out) = values[0];
    return 0;
  };
  if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_exec(database, "pragma integrity_check", take, &answer, nullptr);
  }
  sqlite3_close(database);
  return answer;
}

void CheckInventoryFiles(const fs::path& folder, const Complain& complain) {
  if (!fs::exists(folder)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const fs::path& path = entry.path();
    const std::string name = path.filename().string();
    if (name.starts_with("HardwareInventory") && path.extension() == ".xml") {
      ObjInv document(nullptr);
      if (!document.Parse(KorString(path.string()), nullptr)) complain(name + ": is not whole");
    } else if (path.extension() == ".sqlite3" && !name.starts_with('.')) {
      const std::string integrity = IntegrityOf(path);
      if (integrity != "ok") complain(name + ": " + integrity);
    }
  }
}

void CheckTemporaryFiles(const fs::path& home, size_t most, const Complain& complain) {
  size_t count = 0;
  std::string names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(home)) {
    const std::string name = entry.path().filename().string();
    if (name.find(".tmp") == std::string::npos || !name.starts_with('.')) continue;
    ++count;
    names += " " + name;
  }
  if (count > most) complain(std::to_string(count) + " temporary files:" + names);
}

int Check(const fs::path& home, bool isClean) {
  bool isWell = true;
  const Complain complain = [&isWell](const std::string& text) {
    std::printf("%s\n", text.c_str());
    isWell = false;
  };
  const fs::path data = home / "data";
  // The end may have come before there was anything.
  if (!fs::exists(data)) return 0;
  CheckInventoryFiles(data / "HardwareInventory", complain);
  CheckTemporaryFiles(home, isClean ? 0 : kMostTemporaryFiles, complain);
  const AcceptedItems items(data, complain);
  if (isClean) items.ExpectAllDelivered();
  CheckDocuments(items, data, complain);
  return isWell ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const bool isClean = argc == 3 && std::string_view(argv[1]) == "--clean";
  if (argc != 2 && !isClean) {
    std::fprintf(stderr, "usage: crash_check [--clean] HOME\n");
    return 2;
  }
  try {
    return Check(argv[argc - 1], isClean);
  } catch (const std::exception& error) {
    std::printf("%s\n", error.what());
    return 1;
  }
}
