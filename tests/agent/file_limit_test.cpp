// A host that may only write small files.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <string>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

// Handed on to what is started meanwhile.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit limited = before;
    limited.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before = {};
};

TEST(FileLimit, InventoryThatCannotBeStoredIsAnErrorWithAReason) {
  const TemporaryFolder folder;
  const FileSizeLimit limit(4096);

  const ProgramRun run = ProgramRun::Of(
      folder, {"--home", folder.Path("home").Str(), "--module", KOR_MODULE_FILE, "inventory",
               "--replay", KOR_SOURCE_DIR "/tests/machines/classic_server.machine"});

  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.errors.find("File too large")) << run.errors;
  EXPECT_NE(std::string::npos, run.errors.find("Failed to write inventory")) << run.errors;
  EXPECT_EQ("", run.output);
}

}  // namespace
