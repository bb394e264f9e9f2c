#include "agent/report/glance.h"

#include <gtest/gtest.h>

#include <string>

namespace {

void Set(ObjInv& document, const char* type, const char* instance, const char* attribute,
         const char* value) {
  document.Ensure(type)->Ensure(instance)->Ensure(attribute)->SetValue(value);
}

// "value; detail; detail" of the item, empty where there is none.
std::string Item(const ObjInv& document, const std::string& label) {
  for (const agent::GlanceItem& item : agent::Glance(document)) {
    if (item.label != label) continue;
    std::string text = item.value;
    for (const std::string& detail : item.details) text += "; " + detail;
    return text;
  }
  return {};
}

TEST(ReportGlance, UnknownClassesGiveNoItem) {
  ObjInv document(nullptr);
  document.SetName("HWINVENTORY");
  Set(document, "Coffee Machine", "0", "Name", "Brewer");
  EXPECT_TRUE(agent::Glance(document).empty());
  EXPECT_EQ("HWINVENTORY", agent::MachineName(document));
}

TEST(ReportGlance, NameIsThatOfTheMachine) {
  ObjInv document(nullptr);
  document.SetName("HWINVENTORY");
  Set(document, "Computer System", "0", "Name", "db01");
  EXPECT_EQ("db01", agent::MachineName(document));
}

TEST(ReportGlance, ItemWithoutItsMainValueBeginsWithWhatThereIs) {
  ObjInv document(nullptr);
  Set(document, "BIOS", "0", "ReleaseDate", "09/23/2011 00:00:00");
  Set(document, "BIOS", "0", "SerialNumber", " NG-1 ");
  EXPECT_EQ("Released 09/23/2011; Serial number NG-1", Item(document, "Firmware"));
}

TEST(ReportGlance, ProcessorsAreCountedByModelAndPackage) {
  ObjInv document(nullptr);
  for (const char* number : {"0", "1", "2"}) {
    Set(document, "Processor", number, "Name", "Example A  ");
    Set(document, "Processor", number, "UniqueId", *number == '2' ? "1" : "0");
  }
  EXPECT_EQ("3 logical processors; Example A; in 2 packages", Item(document, "Processors"));
  Set(document, "Processor", "3", "Name", "Example B");
  EXPECT_EQ("4 logical processors; 3 \xC3\x97 Example A; 1 \xC3\x97 Example B; in 2 packages",
            Item(document, "Processors"));
}

TEST(ReportGlance, ThreeOfAKindAreNamedAndTheOthersCounted) {
  ObjInv document(nullptr);
  for (const char* name : {"sda", "sdb", "sdc", "sdd", "sde"}) {
    Set(document, "Disk Drive", name, "Model", name);
  }
  EXPECT_EQ("5 disks; sda; sdb; sdc; and 2 more", Item(document, "Disks"));
}

TEST(ReportGlance, NetworkNamesTheInterfacesThatHaveAnAddress) {
  ObjInv document(nullptr);
  Set(document, "Network Adapter Configuration", "eth0", "IPAddress", "10.0.0.1,fe80::1");
  Set(document, "Network Adapter Configuration", "lo", "DHCPEnabled", "FALSE");
  EXPECT_EQ("2 interfaces, 1 with an address; eth0 10.0.0.1, fe80::1", Item(document, "Network"));
}

TEST(ReportGlance, WhatIsNoNumberIsLeftOut) {
  ObjInv document(nullptr);
  Set(document, "Physical Memory", "0", "Capacity", "plenty");
  EXPECT_EQ("", Item(document, "Memory"));
  Set(document, "Physical Memory", "0", "Capacity", "2048");
  Set(document, "Physical Memory", "0", "Swap Space", "512");
  EXPECT_EQ("2.0 GiB; 512 MiB of swap space", Item(document, "Memory"));
}

}  // namespace
