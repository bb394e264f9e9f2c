#include "korcore/obj_inv.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "support/random_document.h"

TEST(ObjInv, EnsuringTwiceGivesTheSameElement) {
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("Processor");
  ObjTypeAttr* attribute = type->Ensure("Speed", "Integer");
  ObjInst* instance = type->Ensure("0");
  ObjInstAttr* value = instance->Ensure("Speed");

  EXPECT_EQ(document.Ensure("Processor"), type);
  EXPECT_EQ(type->Ensure("Speed", "String"), attribute);
  EXPECT_EQ(type->Ensure("0"), instance);
  EXPECT_EQ(instance->Ensure("Speed"), value);
  EXPECT_EQ(document.Objects().Count(), 1u);
  EXPECT_EQ(type->Attributes().Count(), 1u);
  EXPECT_EQ(type->Instances().Count(), 1u);
  EXPECT_EQ(instance->Attributes().Count(), 1u);
}

TEST(ObjInv, AnExistingDefinitionIsReturnedUnchanged) {
  ObjInv document(nullptr);
  ObjTypeAttr* attribute = document.Ensure("Processor")->Ensure("Speed", "Integer");
  attribute->SetUnit("MHz");
  attribute->SetDesc("Clock");

  document.Ensure("Processor")->Ensure("Speed", "String");

  EXPECT_EQ(attribute->GetType(), KorString("Integer"));
  EXPECT_EQ(attribute->GetUnit(), KorString("MHz"));
  EXPECT_EQ(attribute->GetDesc(), KorString("Clock"));
}

TEST(ObjInv, DefinitionsAndInstancesOfOneNameAreDifferentThings) {
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("Processor");

  type->Ensure("0", "String");

  EXPECT_EQ(type->Instances().Count(), 0u);
}

TEST(ObjInv, ACloneIsAFullCopyOfItsOwn) {
  ObjTypeAttr attribute("Speed", "Integer");
  attribute.SetUnit("MHz");
  attribute.SetDesc("Clock");

  const std::unique_ptr<ObjTypeAttr> clone(attribute.Clone(8));
  attribute.SetUnit("GHz");

  EXPECT_EQ(clone->GetName(), KorString("Speed"));
  EXPECT_EQ(clone->GetDefinition(), (ObjDefinition{"Integer", "MHz", "Clock"}));
  EXPECT_TRUE(clone->SetName("other"));
}

TEST(ObjInv, ClearLeavesNothing) {
  ObjInv document(nullptr);
  RandomDocuments random(1);
  random.Fill(document);
  document.SetType(3);
  document.SetName("x");

  document.Clear();

  EXPECT_TRUE(SameDocuments(document, ObjInv(nullptr)));
}

TEST(ObjInv, ACopyIsTheSameInEverything) {
  const uint64_t seed = RandomDocuments::Seed();
  for (uint64_t number = 0; number < 300; ++number) {
    SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed) + ", document " + std::to_string(number));
    RandomDocuments random(seed + number);
    ObjInv document(nullptr);
    random.Fill(document);
    random.AddMarks(document);
    ObjInv copy(nullptr);
    copy.Ensure("what was in it before");

    copy.CopyFrom(document);
    copy.CopyFrom(copy);

    ASSERT_TRUE(SameDocuments(copy, document));
  }
}

TEST(ObjInv, TheSmallestDifferenceMakesDocumentsDiffer) {
  ObjInv left(nullptr);
  ObjInv right(nullptr);
  for (ObjInv* document : {&left, &right}) {
    document->Ensure("c")->Ensure("a", "String");
    document->Ensure("c")->Ensure("i")->Ensure("a")->SetValue("v");
    document->Ensure("d");
  }
  const auto differsAfter = [&](auto change) {
    ObjInv changed(nullptr);
    changed.CopyFrom(right);
    change(changed);
    return SameObjects(left, right) && !SameObjects(left, changed);
  };

  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Ensure("e"); }));
  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Objects().Move(d.Ensure("d"), nullptr); }));
  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Ensure("d")->SetName("D"); }));
  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Ensure("d")->SetChange(ObjChange::kAdded); }));
  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Ensure("d")->SetPlace(ObjPlace::First()); }));
  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Ensure("c")->Ensure("a", "")->SetDesc("x"); }));
  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Ensure("c")->Ensure("a", "")->SetUnit("x"); }));
  EXPECT_TRUE(differsAfter([](ObjInv& d) { d.Ensure("c")->Ensure("i")->Ensure("b"); }));
  EXPECT_TRUE(
      differsAfter([](ObjInv& d) { d.Ensure("c")->Ensure("i")->Ensure("a")->SetValue(""); }));
  EXPECT_TRUE(differsAfter(
      [](ObjInv& d) { d.Ensure("c")->Ensure("i")->Ensure("a")->SetPreviousValue(""); }));
  EXPECT_FALSE(differsAfter([](ObjInv& d) { d.SetName("other"); }));
}
