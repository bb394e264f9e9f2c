#include "hardware/scan/toolkit.h"

#include "hardware/scan/fake_machine.h"

using HardwareInventory::AttributeRow;
using HardwareInventory::DefineAttributes;
using HardwareInventory::EnsureClass;
using HardwareInventory::FirstGroup;
using HardwareInventory::ForEachPiece;
using HardwareInventory::kAnyLine;
using HardwareInventory::kInteger;
using HardwareInventory::kString;
using HardwareInventory::OutputOf;
using HardwareInventory::Printed;
using HardwareInventory::SetFirstGroup;
using HardwareInventory::SetNumberUnlessZero;
using HardwareInventory::SetValue;
using scan_test::Names;
using scan_test::Values;

namespace {

class Toolkit : public scan_test::ScanTest {};

constexpr AttributeRow kRows[] = {
    {"First", kString},
    {"Second", kInteger, "MB", "What it is"},
};

}  // namespace

TEST_F(Toolkit, ClassIsDefinedFromItsTable) {
  ASSERT_NE(EnsureClass(inventory, "Thing", kRows), nullptr);

  EXPECT_EQ(Definitions("Thing"), (Names{"First String", "Second Integer \"MB\" (What it is)"}));
}

TEST_F(Toolkit, EnsuringTwiceGivesTheSameElements) {
  ObjType* type = EnsureClass(inventory, "Thing", kRows);
  ObjInst* instance = type->Ensure("0");
  ObjInstAttr* value = instance->Ensure("First");

  EXPECT_EQ(EnsureClass(inventory, "Thing", kRows), type);
  EXPECT_EQ(type->Ensure("0"), instance);
  EXPECT_EQ(instance->Ensure("First"), value);
  EXPECT_EQ(type->Ensure("First", "Integer")->GetType().Str(), "String");

  EXPECT_EQ(inventory.Objects().Count(), 1U);
  EXPECT_EQ(type->Attributes().Count(), 2U);
  EXPECT_EQ(type->Instances().Count(), 1U);
  EXPECT_EQ(instance->Attributes().Count(), 1U);
}

TEST_F(Toolkit, DefinitionWithoutUnitKeepsTheOneItHas) {
  ObjType* type = inventory.Ensure("Thing");
  type->Ensure("First", "String")->SetUnit("km");

  DefineAttributes(*type, kRows);

  EXPECT_EQ(Definitions("Thing")[0], "First String \"km\"");
}

TEST_F(Toolkit, LaterValueReplacesTheEarlier) {
  ObjInst* instance = inventory.Ensure("Thing")->Ensure("0");

  SetValue(*instance, "First", "a", {});
  SetValue(*instance, "First", "", {});

  EXPECT_EQ(ValuesOf("Thing", "0"), (Values{{"First", ""}}));
}

TEST_F(Toolkit, NumbersArePlainAndZeroIsNotWritten) {
  ObjInst* instance = inventory.Ensure("Thing")->Ensure("0");

  SetNumberUnlessZero(*instance, "None", 0, {}, "");
  SetNumberUnlessZero(*instance, "Some", 2000, {}, "");
  SetNumberUnlessZero(*instance, "Most", 18446744073709551615U, {}, "");

  EXPECT_EQ(ValuesOf("Thing", "0"), (Values{{"Some", "2000"}, {"Most", "18446744073709551615"}}));
}

TEST_F(Toolkit, ValueWithoutMatchIsNotSet) {
  ObjInst* instance = inventory.Ensure("Thing")->Ensure("0");
  SetValue(*instance, "First", "kept", {});
  const KorString text = "text";
  const Printed printed{"command", text};

  EXPECT_FALSE(SetFirstGroup(*instance, "First", printed, "no(thing)", 0));
  EXPECT_FALSE(SetFirstGroup(*instance, "Second", printed, "no(thing)", 0));
  EXPECT_TRUE(SetFirstGroup(*instance, "Third", printed, "t(e)", 0));

  EXPECT_EQ(ValuesOf("Thing", "0"), (Values{{"First", "kept"}, {"Third", "e"}}));
}

TEST_F(Toolkit, GroupOfALineInTheMiddleOfAText) {
  const KorString text = "MemFree: 1 kB\nMemTotal:  2055148 kB\nSwapTotal: 0 kB\n";
  KorVector<KorString> groups;

  ASSERT_NE(FindPcreSimple(text.CStr(), text.GetLength(),
                           R"re(^MemTotal\s*:\s*(\d+)\s*([a-z]+)\s*\n)re", kAnyLine, groups),
            0);

  ASSERT_EQ(groups.Count(), 2U);
  EXPECT_EQ(groups[0].Str(), "2055148");
  EXPECT_EQ(groups[1].Str(), "kB");
}

TEST_F(Toolkit, GroupThatTookNoPartIsEmptyNotAbsent) {
  EXPECT_EQ(FirstGroup("b", "(a)?b", 0), KorString());
  EXPECT_EQ(FirstGroup("c", "(a)?b", 0), std::nullopt);
}

TEST_F(Toolkit, PiecesAreCutAtTheWholeSeparator) {
  Names pieces;

  ForEachPiece("a\nb\n\nc\n", "\n\n",
               [&pieces](const KorString& piece) { pieces.push_back(piece.Str()); });

  EXPECT_EQ(pieces, (Names{"a\nb", "c\n"}));
}

TEST_F(Toolkit, TextComparisonsOfTheScanners) {
  EXPECT_TRUE(KorString("kB").IsEqualTo("kb", false));
  EXPECT_FALSE(KorString("HDa").StartsWith("hd", true));
  KorString text;
  text.Printf("%u", 3U);
  EXPECT_EQ(text.Str(), "3");
}

TEST_F(Toolkit, OutputCountsWhateverBecameOfTheCommand) {
  machine.results["broken"] = {KorCommandResult::Outcome::kKilled, 9, "half of"};

  EXPECT_EQ(OutputOf("broken").Str(), "half of");
  EXPECT_EQ(OutputOf("missing").Str(), "");
}
