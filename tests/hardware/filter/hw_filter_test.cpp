#include "hardware/filter/hw_filter.h"

#include <gtest/gtest.h>

namespace {

using HardwareInventory::HwFilter;
using HardwareInventory::HwFilterAttr;
using HardwareInventory::HwFilterWmiAttr;
using HardwareInventory::HwFilterWmiAttrColl;
using HardwareInventory::HwFilterWmiClass;

// Counts how often an entry is destroyed.
template <typename Entry>
class Counted : public Entry {
 public:
  explicit Counted(int& countOfDestroyed) : destroyed(&countOfDestroyed) {}
  ~Counted() override { ++*destroyed; }

 private:
  int* destroyed;
};

TEST(HwFilterModel, FreshFilterHoldsNothingAndRunsNoPass) {
  const HwFilter filter;
  EXPECT_EQ(filter.GetHwListMaxPass(), 0U);
  EXPECT_EQ(filter.WmiClassCount(), 0U);
  EXPECT_EQ(filter.AttrCount(), 0U);
}

TEST(HwFilterModel, IndexAtTheCountGivesNull) {
  HwFilter filter;
  auto* wmiClass = new HwFilterWmiClass;
  ASSERT_TRUE(filter.WmiClassAdd(wmiClass));
  auto* rule = new HwFilterAttr;
  ASSERT_TRUE(filter.AttrAdd(rule));
  EXPECT_EQ(filter.WmiClassGet(0), wmiClass);
  EXPECT_EQ(filter.WmiClassGet(filter.WmiClassCount()), nullptr);
  EXPECT_EQ(filter.WmiClassGet(UINT32_MAX), nullptr);
  EXPECT_EQ(filter.AttrGet(0), rule);
  EXPECT_EQ(filter.AttrGet(filter.AttrCount()), nullptr);
  EXPECT_EQ(filter.AttrGet(UINT32_MAX), nullptr);
}

TEST(HwFilterModel, NullIsRefused) {
  HwFilter filter;
  HwFilterWmiAttrColl attributes;
  EXPECT_FALSE(filter.WmiClassAdd(nullptr));
  EXPECT_FALSE(filter.AttrAdd(nullptr));
  EXPECT_FALSE(attributes.Register(nullptr));
  EXPECT_EQ(filter.WmiClassCount(), 0U);
  EXPECT_EQ(filter.AttrCount(), 0U);
  EXPECT_EQ(attributes.Count(), 0U);
}

TEST(HwFilterModel, EveryEntryIsDestroyedOnce) {
  int classes = 0;
  int attributes = 0;
  int rules = 0;
  {
    HwFilter filter;
    for (int i = 0; i < 3; ++i) {
      auto* wmiClass = new Counted<HwFilterWmiClass>(classes);
      ASSERT_TRUE(wmiClass->Attributes().Register(new Counted<HwFilterWmiAttr>(attributes)));
      ASSERT_TRUE(wmiClass->Attributes().Register(new Counted<HwFilterWmiAttr>(attributes)));
      ASSERT_TRUE(filter.WmiClassAdd(wmiClass));
      ASSERT_TRUE(filter.AttrAdd(new Counted<HwFilterAttr>(rules)));
    }
    // A walk that was left at its end.
    while (filter.WmiClassGet(0)->Attributes().Next() != nullptr) {
    }
  }
  EXPECT_EQ(classes, 3);
  EXPECT_EQ(attributes, 6);
  EXPECT_EQ(rules, 3);
}

TEST(HwFilterModel, ClearKeepsTheNumberOfPasses) {
  int classes = 0;
  int rules = 0;
  HwFilter filter;
  filter.GetHwListMaxPass() = 7;
  filter.WmiClassAdd(new Counted<HwFilterWmiClass>(classes));
  filter.AttrAdd(new Counted<HwFilterAttr>(rules));
  filter.Clear();
  EXPECT_EQ(filter.WmiClassCount(), 0U);
  EXPECT_EQ(filter.AttrCount(), 0U);
  EXPECT_EQ(classes, 1);
  EXPECT_EQ(rules, 1);
  EXPECT_EQ(filter.GetHwListMaxPass(), 7U);
}

TEST(HwFilterModel, CollectionIsWalkedByItsCursor) {
  HwFilterWmiAttrColl attributes;
  auto* first = new HwFilterWmiAttr;
  auto* second = new HwFilterWmiAttr;
  attributes.Register(first);
  attributes.Register(second);
  attributes.First();
  EXPECT_EQ(attributes.Next(), first);
  EXPECT_EQ(attributes.Next(), second);
  EXPECT_EQ(attributes.Next(), nullptr);
  attributes.First();
  EXPECT_EQ(attributes.Next(), first);
}

TEST(HwFilterModel, CollectionClearedWithoutDeletingLeavesTheEntries) {
  int destroyed = 0;
  Counted<HwFilterWmiAttr> entry(destroyed);
  {
    HwFilterWmiAttrColl attributes;
    attributes.Register(&entry);
    attributes.Clear(false);
    EXPECT_EQ(attributes.Count(), 0U);
  }
  EXPECT_EQ(destroyed, 0);
}

TEST(HwFilterModel, FieldsAreWrittenThroughTheirAccessors) {
  HwFilterAttr rule;
  EXPECT_EQ(rule.GetFlags(), 0U);
  EXPECT_EQ(rule.GetModifyValueCase(), 0U);
  rule.GetMatchNameValue() = 1;
  rule.GetMatchNameOperator() = 2;
  rule.GetMatchNameCase() = 3;
  rule.GetMatchNameData() = "a";
  rule.GetMatchValueValue() = 4;
  rule.GetMatchValueOperator() = 5;
  rule.GetMatchValueCase() = 6;
  rule.GetMatchValueData() = "b";
  rule.GetModifyNameValue() = 7;
  rule.GetModifyNameMatch() = "c";
  rule.GetModifyNameCase() = 8;
  rule.GetModifyNameData() = "d";
  rule.GetModifyValueValue() = 9;
  rule.GetModifyValueMatch() = "e";
  rule.GetModifyValueCase() = 10;
  rule.GetModifyValueData() = "f";
  EXPECT_EQ(rule.MatchName().method, 1U);
  EXPECT_EQ(rule.MatchName().comparison, 2U);
  EXPECT_EQ(rule.MatchName().letterCase, 3U);
  EXPECT_EQ(rule.MatchName().data, KorString("a"));
  EXPECT_EQ(rule.MatchValue().method, 4U);
  EXPECT_EQ(rule.MatchValue().comparison, 5U);
  EXPECT_EQ(rule.MatchValue().letterCase, 6U);
  EXPECT_EQ(rule.MatchValue().data, KorString("b"));
  EXPECT_EQ(rule.ModifyName().method, 7U);
  EXPECT_EQ(rule.ModifyName().match, KorString("c"));
  EXPECT_EQ(rule.ModifyName().letterCase, 8U);
  EXPECT_EQ(rule.ModifyName().data, KorString("d"));
  EXPECT_EQ(rule.ModifyValue().method, 9U);
  EXPECT_EQ(rule.ModifyValue().match, KorString("e"));
  EXPECT_EQ(rule.ModifyValue().letterCase, 10U);
  EXPECT_EQ(rule.ModifyValue().data, KorString("f"));
}

}  // namespace
