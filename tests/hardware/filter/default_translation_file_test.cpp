#include "hardware/filter/default_translation_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "hardware/filter/hw_filter.h"
#include "hardware/module/globals.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using HardwareInventory::debugInv;
using HardwareInventory::DEFAULT_TRANSLATION_FILE;
using HardwareInventory::HwFilter;

TEST(DefaultTranslationFile, HasItsLength) {
  EXPECT_EQ(DEFAULT_TRANSLATION_FILE.size(), 3672U);
}

TEST(DefaultTranslationFile, BeginsAndEndsAsLaidOut) {
  EXPECT_TRUE(
      DEFAULT_TRANSLATION_FILE.starts_with("<HWINVCONFIG> \n"
                                           "   <HWINVWMILIST> \n"
                                           "      <HWWMICLASS> \n"
                                           "         <CLASSNAME>Keyboard</CLASSNAME> \n"
                                           "         <CLASSID>Win32_Keyboard</CLASSID> \n"
                                           "         <ACTION>Accept</ACTION> \n"
                                           "      </HWWMICLASS> \n"
                                           "      <HWWMICLASS> \n"));
  EXPECT_TRUE(
      DEFAULT_TRANSLATION_FILE.ends_with("      </HWWMICLASS> \n"
                                         "   </HWINVWMILIST> \n"
                                         "</HWINVCONFIG>"));
}

TEST(DefaultTranslationFile, EveryLineButTheLastEndsInOneBlank) {
  std::string_view rest = DEFAULT_TRANSLATION_FILE;
  size_t lines = 0;
  for (size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
    EXPECT_TRUE(rest.substr(0, end).ends_with("> "));
    rest.remove_prefix(end + 1);
    ++lines;
  }
  EXPECT_EQ(lines, 2U + 21U * 5U + 1U);
  EXPECT_EQ(rest, "</HWINVCONFIG>");
}

TEST(DefaultTranslationFile, AcceptsTheseClassesInThisOrder) {
  const std::pair<const char*, const char*> expected[] = {
      {"Keyboard", "Win32_Keyboard"},
      {"Pointing Device", "Win32_PointingDevice"},
      {"BIOS", "Win32_BIOS"},
      {"CDROM Drive", "Win32_CDROMDrive"},
      {"Disk Drive", "Win32_DiskDrive"},
      {"Floppy Drive", "Win32_FloppyDrive"},
      {"Logical Disk", "Win32_LogicalDisk"},
      {"Cache Memory", "Win32_CacheMemory"},
      {"Motherboard Device", "Win32_MotherboardDevice"},
      {"Parallel Port", "Win32_ParallelPort"},
      {"Physical Memory", "Win32_PhysicalMemory"},
      {"Processor", "Win32_Processor"},
      {"Sound Device", "Win32_SoundDevice"},
      {"Network Adapter", "Win32_NetworkAdapter"},
      {"Printer", "Win32_Printer"},
      {"Desktop Monitor", "Win32_DesktopMonitor"},
      {"Display Configuration", "Win32_DisplayConfiguration"},
      {"Video Configuration", "Win32_VideoConfiguration"},
      {"Computer System", "Win32_ComputerSystem"},
      {"Computer System Product", "Win32_ComputerSystemProduct"},
      {"Computer System Product", "Win32_ComputerSystemProduct"},
  };
  const TemporaryFolder folder;
  const CapturedLog log(debugInv);
  HwFilter filter;
  ASSERT_TRUE(filter.Load(folder.Write("default.xml", DEFAULT_TRANSLATION_FILE)));
  ASSERT_EQ(filter.WmiClassCount(), std::size(expected));
  for (uint32_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(filter.WmiClassGet(i)->GetName(), KorString(expected[i].first));
    EXPECT_EQ(filter.WmiClassGet(i)->GetId(), KorString(expected[i].second));
    EXPECT_EQ(filter.WmiClassGet(i)->GetAction(), 1U);
  }
}

TEST(DefaultTranslationFile, LoadsAsTwentyOneClassesWithTheLastOneRepeated) {
  TemporaryFolder folder;
  CapturedLog log(debugInv);
  HwFilter filter;
  const KorString path = folder.Write("default.xml", DEFAULT_TRANSLATION_FILE);
  ASSERT_TRUE(filter.Load(path));
  EXPECT_EQ(filter.WmiClassCount(), 21U);
  EXPECT_EQ(filter.AttrCount(), 0U);
  EXPECT_EQ(filter.GetHwListMaxPass(), 0U);
  EXPECT_EQ(filter.WmiClassGet(0)->GetName(), KorString("Keyboard"));
  EXPECT_EQ(filter.WmiClassGet(17)->GetId(), KorString("Win32_VideoConfiguration"));
  for (const uint32_t last : {19U, 20U}) {
    EXPECT_EQ(filter.WmiClassGet(last)->GetName(), KorString("Computer System Product"));
    EXPECT_EQ(filter.WmiClassGet(last)->GetId(), KorString("Win32_ComputerSystemProduct"));
  }
  EXPECT_EQ(log.Text(),
            "trace: Processing xml '" + path.Str() +
                "'\n"
                "trace: Filter entries have been loaded (21 WMI classes, 0 attributes)\n");
}

}  // namespace
