// kor-agent inventory --upload, from the machine to the folder that stands for the server.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "kor/file.h"
#include "korcore/obj_inv.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kSerial = "NG-4471-0093";

class UploadCommand : public testing::Test {
 protected:
  UploadCommand() {
    std::ifstream file(KOR_SOURCE_DIR "/tests/machines/classic_server.machine", std::ios::binary);
    machine = {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    EXPECT_NE(std::string::npos, machine.find(kSerial));
  }

  ProgramRun Upload(const std::string& serial, std::vector<std::string> more = {}) const {
    std::string changed = machine;
    size_t at = 0;
    while ((at = changed.find(kSerial, at)) != std::string::npos) {
      changed.replace(at, std::string(kSerial).size(), serial);
      at += serial.size();
    }
    std::vector<std::string> arguments = {"inventory", "--upload",
                                          "--replay",  folder.Write("m.machine", changed).Str(),
                                          "--home",    folder.Path("home").Str(),
                                          "--module",  KOR_MODULE_FILE};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ProgramRun::Of(folder, std::move(arguments));
  }

  // The contents delivered, in order.
  std::vector<KorString> Delivered() const {
    std::vector<std::string> paths;
    const fs::path upstream = folder.Path("home/data/upstream").Str();
    if (!fs::exists(upstream)) return {};
    for (const fs::directory_entry& entry : fs::directory_iterator(upstream)) {
      if (entry.path().extension() == ".data") paths.push_back(entry.path().string());
    }
    std::sort(paths.begin(), paths.end());
    return {paths.begin(), paths.end()};
  }

  KorString Stored(const std::string& name) const {
    return folder.Path("home/data/HardwareInventory/HardwareInventory" + name);
  }

  bool IsQueueEmpty() const { return fs::exists(Queue()) && CountFiles(Queue()) == 0; }
  fs::path Queue() const { return folder.Path("home/data/queue/files").Str(); }
  static size_t CountFiles(const fs::path& path) {
    size_t count = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) ++count;
    }
    return count;
  }

  const TemporaryFolder folder;
  std::string machine;
};

TEST_F(UploadCommand, FirstUploadIsWholeAndArrivesBeforeTheCommandEnds) {
  const ProgramRun run = Upload(kSerial, {"--format", "xml"});

  EXPECT_EQ(0, run.status);
  EXPECT_EQ("", run.errors);
  ASSERT_EQ(1U, Delivered().size());
  ObjInv sent(nullptr);
  ASSERT_TRUE(sent.Parse(Delivered()[0], nullptr));
  EXPECT_EQ(1U, sent.GetType());
  EXPECT_EQ(FileMd5(Stored("Sent.xml")), sent.GetChecksum());
  EXPECT_EQ("", sent.GetLastChecksum());
  EXPECT_TRUE(IsQueueEmpty());
  // What is printed is the run's document, which by then is the one last sent.
  EXPECT_EQ(folder.Read("home/data/HardwareInventory/HardwareInventorySent.xml"), run.output);
}

TEST_F(UploadCommand, SecondUploadIsADifferentialThatMakesTheNewInventory) {
  ASSERT_EQ(0, Upload(kSerial).status);
  ObjInv known(nullptr);
  ASSERT_TRUE(known.Parse(Stored("Sent.xml"), nullptr));
  const KorString before = FileMd5(Stored("Sent.xml"));

  const ProgramRun run = Upload("NG-0000-0001");

  EXPECT_EQ(0, run.status) << run.errors;
  ASSERT_EQ(2U, Delivered().size());
  ObjInv difference(nullptr);
  ASSERT_TRUE(difference.Parse(Delivered()[1], nullptr));
  EXPECT_EQ(2U, difference.GetType());
  EXPECT_EQ(before, difference.GetLastChecksum());
  EXPECT_EQ(FileMd5(Stored("Sent.xml")), difference.GetChecksum());
  ASSERT_TRUE(known.Apply(difference));
  ObjInv now(nullptr);
  ASSERT_TRUE(now.Parse(Stored("Sent.xml"), nullptr));
  EXPECT_TRUE(SameDocuments(known, now));
}

TEST_F(UploadCommand, UnchangedInventoryIsNotSentAgain) {
  ASSERT_EQ(0, Upload(kSerial).status);
  const ProgramRun run = Upload(kSerial);
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("", run.errors);
  EXPECT_NE(std::string::npos, run.output.find(kSerial));
  EXPECT_EQ(1U, Delivered().size());
}

TEST_F(UploadCommand, ForcedUploadOfAnUnchangedInventoryIsWhole) {
  ASSERT_EQ(0, Upload(kSerial).status);
  EXPECT_EQ(0, Upload(kSerial, {"--force"}).status);
  ASSERT_EQ(2U, Delivered().size());
  ObjInv sent(nullptr);
  ASSERT_TRUE(sent.Parse(Delivered()[1], nullptr));
  EXPECT_EQ(1U, sent.GetType());
}

TEST_F(UploadCommand, WholeUploadCarriesTheChangesAsMarks) {
  ASSERT_EQ(0, Upload(kSerial).status);
  EXPECT_EQ(0, Upload("NG-0000-0001", {"--whole"}).status);
  ASSERT_EQ(2U, Delivered().size());
  ObjInv sent(nullptr);
  ASSERT_TRUE(sent.Parse(Delivered()[1], nullptr));
  EXPECT_EQ(3U, sent.GetType());
}

TEST_F(UploadCommand, UploadBeforeTheGapIsOverIsSaid) {
  fs::create_directories(folder.Path("home/config").Str());
  fs::permissions(folder.Path("home").Str(), fs::perms::owner_all);
  fs::permissions(folder.Path("home/config").Str(), fs::perms::owner_all);
  folder.Write("home/config/HardwareInventory.ini", "[HardwareInventory]\nUploadGap=86400\n");
  ASSERT_EQ(0, Upload(kSerial).status);
  const ProgramRun run = Upload("NG-0000-0001");
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("kor-agent: it is too early for the next upload (UploadGap); --force uploads now\n",
            run.errors);
  EXPECT_EQ(1U, Delivered().size());
  EXPECT_EQ(0, Upload("NG-0000-0001", {"--force"}).status);
  EXPECT_EQ(2U, Delivered().size());
}

TEST_F(UploadCommand, WhatWaitsForItsTransferWindowIsSaid) {
  ASSERT_EQ(0, Upload(kSerial).status);
  // Two windows of a minute, far from each other: one of them is not now.
  std::time_t now = std::time(nullptr);
  std::tm local = {};
  localtime_r(&now, &local);
  folder.Write("home/config/kor-agent.ini", local.tm_hour < 12
                                                ? "[Agent]\nTransferWindows=20:00-20:01\n"
                                                : "[Agent]\nTransferWindows=04:00-04:01\n");
  const ProgramRun run = Upload("NG-0000-0001");
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("kor-agent: 1 delivery item waits in '" + folder.Path("home/data/queue").Str() +
                "' for the service or the next upload\n",
            run.errors);
  EXPECT_EQ(1U, Delivered().size());
  EXPECT_EQ(0, Upload("NG-0000-0002", {"--bypass-windows"}).status);
  EXPECT_EQ(2U, Delivered().size());
}

// The inventory is printed all the same, and the next run works.
TEST_F(UploadCommand, UploadThatIsNotAcceptedIsAFailure) {
  ASSERT_EQ(0, Upload(kSerial).status);
  fs::remove_all(Queue());
  folder.Write("home/data/queue/files", "not a folder");

  const ProgramRun run = Upload("NG-0000-0001");

  EXPECT_EQ(4, run.status);
  EXPECT_NE(std::string::npos, run.output.find("NG-0000-0001"));
  EXPECT_NE(std::string::npos,
            run.errors.find("kor-agent: the inventory was not accepted for delivery\n"))
      << run.errors;
  fs::remove(Queue());
  EXPECT_EQ(0, Upload("NG-0000-0001").status);
  EXPECT_EQ(2U, Delivered().size());
}

TEST_F(UploadCommand, UploadWhoseRecordCannotBeLookedAtEnds) {
  ASSERT_EQ(0, Upload(kSerial).status);
  fs::remove_all(Queue());
  folder.Write("home/data/queue/files", "not a folder");
  fs::remove(Stored("Sent.xml").Str());
  fs::create_symlink("HardwareInventorySent.xml", Stored("Sent.xml").Str());

  const ProgramRun run = Upload("NG-0000-0001");

  EXPECT_EQ(4, run.status);
  EXPECT_NE(std::string::npos, run.errors.find("Too many levels of symbolic links")) << run.errors;
  EXPECT_NE(std::string::npos, run.errors.find("was not accepted for delivery")) << run.errors;
}

TEST_F(UploadCommand, UploadThatCannotBeRecordedIsSaid) {
  fs::create_directories(Stored("Sent.xml").Str() + "/in the way");
  fs::permissions(folder.Path("home").Str(), fs::perms::owner_all);

  const ProgramRun run = Upload(kSerial);

  EXPECT_EQ(4, run.status);
  EXPECT_NE(std::string::npos, run.errors.find("could not be recorded")) << run.errors;
  EXPECT_EQ(1U, Delivered().size());
}

TEST_F(UploadCommand, UploadOptionsNeedTheUpload) {
  for (const char* option : {"--force", "--bypass-windows", "--whole"}) {
    EXPECT_EQ(2, ProgramRun::Of(folder, {"inventory", option}).status);
  }
}

}  // namespace
