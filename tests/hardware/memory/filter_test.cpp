// A translation file that is read while memory for its entries cannot be had.

#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <string>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_parser.h"
#include "hardware/memory/refused_memory.h"
#include "hardware/module/globals.h"
#include "kor/shortage.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using HardwareInventory::debugInv;
using HardwareInventory::HwFilter;
using HardwareInventory::HwFilterAttr;
using HardwareInventory::HwFilterParser;
using HardwareInventory::HwFilterWmiAttr;
using HardwareInventory::HwFilterWmiClass;

constexpr const char* kDocument =
    "<HWINVCONFIG><HWINVWMILIST><HWWMICLASS><CLASSNAME>Processor</CLASSNAME>"
    "<CLASSID>Win32_Processor</CLASSID><ACTION>Accept</ACTION><ATTRIBUTES>"
    "<ATTRIBUTE><ATTRNAME>Name</ATTRNAME><ATTRACTION>Accept</ATTRACTION></ATTRIBUTE>"
    "</ATTRIBUTES></HWWMICLASS></HWINVWMILIST><TRANSLATEHWLIST><TRANSLATEHW label=\"one\">"
    "<MATCHHW><ATTRNAME>Name</ATTRNAME></MATCHHW><ACTION>Accept</ACTION>"
    "</TRANSLATEHW></TRANSLATEHWLIST></HWINVCONFIG>";

// The document read without memory for objects of that size, and what was complained of.
struct Reading {
  explicit Reading(size_t size) {
    const TemporaryFolder folder;
    const KorString path = folder.Write("filter.xml", kDocument);
    const CapturedLog log(debugInv);
    HwFilterParser parser;
    {
      const RefusedMemory refused(size);
      succeeded = parser.Process(path, &filter);
    }
    for (const CapturedLog::Entry& entry : log.Entries()) {
      if (entry.level >= KorLogLevel::kWarning) complaints += entry.text + "\n";
    }
  }

  HwFilter filter;
  bool succeeded = false;
  std::string complaints;
};

TEST(FilterMemoryError, WithMemoryEverythingIsThere) {
  const KorShortageWatch shortage;
  const Reading reading(0);
  EXPECT_TRUE(reading.succeeded);
  EXPECT_EQ(reading.complaints, "");
  EXPECT_NO_THROW(shortage.ThrowIfNoted());
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.WmiClassGet(0)->Attributes().Count(), 1U);
  EXPECT_EQ(reading.filter.AttrCount(), 1U);
}

TEST(FilterMemoryError, AClassIsLeftOutWithItsAttributes) {
  const KorShortageWatch shortage;
  const Reading reading(sizeof(HwFilterWmiClass));
  EXPECT_TRUE(reading.succeeded);
  EXPECT_EQ(reading.complaints, "Memory error\n");
  EXPECT_THROW(shortage.ThrowIfNoted(), std::bad_alloc);
  EXPECT_EQ(reading.filter.WmiClassCount(), 0U);
  EXPECT_EQ(reading.filter.AttrCount(), 1U);
}

TEST(FilterMemoryError, AnAttributeIsLeftOutOfItsClass) {
  const KorShortageWatch shortage;
  const Reading reading(sizeof(HwFilterWmiAttr));
  EXPECT_TRUE(reading.succeeded);
  EXPECT_EQ(reading.complaints, "Memory error\n");
  EXPECT_THROW(shortage.ThrowIfNoted(), std::bad_alloc);
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.WmiClassGet(0)->Attributes().Count(), 0U);
  EXPECT_EQ(reading.filter.AttrCount(), 1U);
}

TEST(FilterMemoryError, ARuleIsLeftOut) {
  const KorShortageWatch shortage;
  const Reading reading(sizeof(HwFilterAttr));
  EXPECT_TRUE(reading.succeeded);
  EXPECT_EQ(reading.complaints, "Memory error\n");
  EXPECT_THROW(shortage.ThrowIfNoted(), std::bad_alloc);
  EXPECT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.AttrCount(), 0U);
}

}  // namespace
