#include <gtest/gtest.h>

#include <vector>

#include "hardware/filter/hw_filter.h"
#include "kor/container.h"

namespace {

using HardwareInventory::HwFilter;
using HardwareInventory::HwFilterWmiAttr;
using HardwareInventory::HwFilterWmiClass;

HwFilterWmiClass* AddClass(HwFilter& filter, const char* name, const char* id, uint32_t action) {
  auto* entry = new HwFilterWmiClass;
  entry->GetName() = name;
  entry->GetId() = id;
  entry->GetAction() = action;
  filter.WmiClassAdd(entry);
  return entry;
}

HwFilterWmiAttr* AddAttr(HwFilterWmiClass& wmiClass, const char* name) {
  auto* entry = new HwFilterWmiAttr;
  entry->GetName() = name;
  wmiClass.Attributes().Register(entry);
  return entry;
}

KorString StringOf(const KorContainer& container, const char* key) {
  KorString text("(absent)");
  container.GetString(key, text);
  return text;
}

TEST(FilterExport, EmptyFilterEmptiesTheContainer) {
  KorContainer out;
  out.SetString("Left", "over");
  HwFilter().WmiToContainer(out);
  EXPECT_TRUE(out.Keys().empty());
}

TEST(FilterExport, ClassesAndAttributesComeInOrder) {
  HwFilter filter;
  HwFilterWmiClass* first = AddClass(filter, "Processor", "Win32_Processor", 1);
  first->GetCurrentUser() = true;
  HwFilterWmiAttr* speed = AddAttr(*first, "Speed");
  speed->GetType() = "Integer";
  speed->GetUnit() = "MHz";
  speed->GetAction() = 1;
  AddAttr(*first, "Name")->GetAction() = 2;
  AddClass(filter, "BIOS", "Win32_BIOS", 2);

  KorContainer out;
  filter.WmiToContainer(out);
  ASSERT_EQ(out.CountValues("WMI_CLASS"), 2);
  KorContainer processor;
  ASSERT_TRUE(out.GetContainer("WMI_CLASS", processor, 0));
  EXPECT_EQ(processor.Keys(), (std::vector<KorString>{"WMI_CLASS_ID", "WMI_CLASS_NAME",
                                                      "WMI_CLASS_ACTION", "WMI_CLASS_ATTR"}));
  EXPECT_EQ(StringOf(processor, "WMI_CLASS_ID"), KorString("Win32_Processor"));
  EXPECT_EQ(StringOf(processor, "WMI_CLASS_NAME"), KorString("Processor"));
  EXPECT_EQ(StringOf(processor, "WMI_CLASS_ACTION"), KorString("accept"));
  ASSERT_EQ(processor.CountValues("WMI_CLASS_ATTR"), 2);
  KorContainer attr;
  ASSERT_TRUE(processor.GetContainer("WMI_CLASS_ATTR", attr, 0));
  EXPECT_EQ(StringOf(attr, "WMI_ATTR_NAME"), KorString("Speed"));
  EXPECT_EQ(StringOf(attr, "WMI_ATTR_TYPE"), KorString("Integer"));
  EXPECT_EQ(StringOf(attr, "WMI_ATTR_UNIT"), KorString("MHz"));
  EXPECT_EQ(StringOf(attr, "WMI_ATTR_ACTION"), KorString("accept"));
  ASSERT_TRUE(processor.GetContainer("WMI_CLASS_ATTR", attr, 1));
  EXPECT_EQ(attr.Keys(), (std::vector<KorString>{"WMI_ATTR_NAME", "WMI_ATTR_ACTION"}));
  EXPECT_EQ(StringOf(attr, "WMI_ATTR_ACTION"), KorString("reject"));
  KorContainer bios;
  ASSERT_TRUE(out.GetContainer("WMI_CLASS", bios, 1));
  EXPECT_EQ(StringOf(bios, "WMI_CLASS_ACTION"), KorString("reject"));
  EXPECT_EQ(bios.CountValues("WMI_CLASS_ATTR"), -1);
}

TEST(FilterExport, MayBeHandedOutAgain) {
  HwFilter filter;
  AddAttr(*AddClass(filter, "Processor", "Win32_Processor", 1), "Name");
  KorContainer first;
  filter.WmiToContainer(first);
  KorContainer second;
  filter.WmiToContainer(second);
  EXPECT_TRUE(first == second);
}

TEST(FilterExport, WhatIsNotSetIsAbsent) {
  HwFilter filter;
  AddAttr(*AddClass(filter, "", "", 0), "");
  KorContainer out;
  filter.WmiToContainer(out);
  KorContainer wmiClass;
  ASSERT_TRUE(out.GetContainer("WMI_CLASS", wmiClass));
  EXPECT_EQ(wmiClass.Keys(), std::vector<KorString>{"WMI_CLASS_ATTR"});
  KorContainer attr;
  ASSERT_TRUE(wmiClass.GetContainer("WMI_CLASS_ATTR", attr));
  EXPECT_TRUE(attr.Keys().empty());
}

}  // namespace
