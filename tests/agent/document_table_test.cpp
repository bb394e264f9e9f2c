#include "agent/document_table.h"

#include <gtest/gtest.h>

#include <string>

namespace {

void AddDisk(ObjInv& document, const char* name, const char* size, const char* label) {
  ObjType* disks = document.Ensure("Logical Disk");
  disks->Ensure("Size", "Integer");
  disks->Ensure("Label", "String");
  ObjInst* disk = disks->Ensure(name);
  disk->Ensure("Size")->SetValue(size);
  disk->Ensure("Label")->SetValue(label);
}

TEST(DocumentTable, InstancesThatFitAreLinesOfOneTable) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "120034", "root");
  AddDisk(document, "1", "7", "boot and more");

  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#  Size    Label\n"
      "-  ------  -------------\n"
      "0  120034  root\n"
      "1  7       boot and more\n",
      agent::DocumentToTables(document, {.width = 24}));
}

TEST(DocumentTable, InstancesThatDoNotFitAreListedValueByValue) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "120034", "root");
  AddDisk(document, "1", "7", "boot and more");

  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#0\n"
      "  Size   120034\n"
      "  Label  root\n"
      "#1\n"
      "  Size   7\n"
      "  Label  boot and more\n",
      agent::DocumentToTables(document, {.width = 23, .forTerminal = false}));
}

TEST(DocumentTable, LongValuesGoOnBelowThemselves) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "1",
          "abcdefghijklmnopqrstuvwxyz0123456789 and then some words that go on");
  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#0\n"
      "  Size   1\n"
      "  Label  abcdefghijklmnopqrstu\n"
      "         vwxyz0123456789 and\n"
      "         then some words that\n"
      "         go on\n",
      agent::DocumentToTables(document, {.width = 30, .forTerminal = true}));
}

TEST(DocumentTable, WithoutWrappingNoValueIsBroken) {
  ObjInv document(nullptr);
  const std::string value(300, 'x');
  AddDisk(document, "0", "1", value.c_str());
  EXPECT_NE(std::string::npos,
            agent::DocumentToTables(document, {.width = 30, .forTerminal = false}).find(value));
}

TEST(DocumentTable, ClassWithoutInstancesSaysSo) {
  ObjInv document(nullptr);
  document.Ensure("BIOS");
  AddDisk(document, "0", "1", "x");
  EXPECT_EQ(
      "BIOS\n"
      "====\n"
      "(none)\n"
      "\n"
      "Logical Disk\n"
      "============\n"
      "#  Size  Label\n"
      "-  ----  -----\n"
      "0  1     x\n",
      agent::DocumentToTables(document, {}));
}

TEST(DocumentTable, ValueWithoutDefinitionHasAColumn) {
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("A");
  type->Ensure("Defined", "String");
  type->Ensure("0")->Ensure("Extra")->SetValue("e");
  type->Ensure("1")->Ensure("Defined")->SetValue("d");
  EXPECT_EQ(
      "A\n"
      "=\n"
      "#  Defined  Extra\n"
      "-  -------  -----\n"
      "0           e\n"
      "1  d\n",
      agent::DocumentToTables(document, {}));
}

TEST(DocumentTable, NoByteOfAValueSteersTheTerminal) {
  ObjInv document(nullptr);
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  ObjType* type = document.Ensure(KorString("C\x1b]0;title\a"));
  type->Ensure(KorString(bytes))->Ensure(KorString(bytes))->SetValue(KorString(bytes));

  for (const size_t width : {20U, 5000U}) {
    const std::string tables =
        agent::DocumentToTables(document, {.width = width, .forTerminal = true});
    for (const char byte : tables) {
      const auto value = static_cast<unsigned char>(byte);
      ASSERT_TRUE(value == '\n' || (value >= 0x20 && value < 0x7F)) << int{value};
    }
  }
}

TEST(DocumentTable, ColumnsStayAlignedBehindWideAndCombiningLetters) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "\xe6\xbc\xa2\xe5\xad\x97", "x");  // two letters of double width
  AddDisk(document, "1", "e\xcc\x81", "y");                 // one letter and its accent
  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#  Size  Label\n"
      "-  ----  -----\n"
      "0  \xe6\xbc\xa2\xe5\xad\x97  x\n"
      "1  e\xcc\x81     y\n",
      agent::DocumentToTables(document, {}));
}

TEST(DocumentTable, OnATerminalNumbersEndBelowEachOtherAndHeadingsTellUnits) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "120034", "root");
  AddDisk(document, "1", "7", "8 disks");
  document.Ensure("Logical Disk")->Ensure("Size", "")->SetUnit("MB");
  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#  Size (MB)  Label\n"
      "-  ---------  -------\n"
      "0     120034  root\n"
      "1          7  8 disks\n",
      agent::DocumentToTables(document, {.width = 40, .forTerminal = true}));
  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#  Size    Label\n"
      "-  ------  -------\n"
      "0  120034  root\n"
      "1  7       8 disks\n",
      agent::DocumentToTables(document, {.width = 40}));
}

TEST(DocumentTable, OnATerminalLongCellsAreWrappedAtBlanks) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "120034", "the quick brown fox jumps");
  AddDisk(document, "1", "7", "abcdefghijklmnopqrstuvwxyz");
  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#    Size  Label\n"
      "-  ------  -----------------\n"
      "0  120034  the quick brown\n"
      "           fox jumps\n"
      "1       7  abcdefghijklmnopq\n"
      "           rstuvwxyz\n",
      agent::DocumentToTables(document, {.width = 28, .forTerminal = true}));
}

TEST(DocumentTable, CellThatWouldTakeManyLinesMakesNoTable) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "1", std::string(60, 'x').c_str());
  const std::string tables = agent::DocumentToTables(document, {.width = 26, .forTerminal = true});
  EXPECT_NE(std::string::npos, tables.find("#0\n  Size   1\n  Label  xxxxxxxxxxxxxxxxx\n"))
      << tables;
}

TEST(DocumentTable, NoLineIsWiderThanTheTerminal) {
  ObjInv document(nullptr);
  for (int disk = 0; disk < 20; ++disk) {
    AddDisk(
        document, std::to_string(disk).c_str(), "120034",
        ("disk " + std::string(static_cast<size_t>(disk) * 7, 'y') + " \xe6\xbc\xa2\xe5\xad\x97")
            .c_str());
  }
  for (const size_t width : {40U, 80U, 200U}) {
    const std::string tables =
        agent::DocumentToTables(document, {.width = width, .forTerminal = true});
    size_t begin = 0;
    for (size_t end = tables.find('\n'); end != std::string::npos; end = tables.find('\n', begin)) {
      const KorString line(tables.substr(begin, end - begin));
      EXPECT_LE(agent::Cell(line).width, width) << line.Str();
      begin = end + 1;
    }
  }
}

TEST(DocumentTable, ColoursStandAroundTitlesAndHeadings) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "1", "x");
  EXPECT_EQ(
      "\x1b[1mLogical Disk\x1b[0m\n"
      "============\n"
      "\x1b[1m#  Size  Label\x1b[0m\n"
      "\x1b[2m-  ----  -----\x1b[0m\n"
      "0     1  x\n",
      agent::DocumentToTables(document, {.width = 40, .forTerminal = true, .inColour = true}));
}

TEST(DocumentTable, EmptyDocumentIsNothing) {
  const ObjInv document(nullptr);
  EXPECT_EQ("", agent::DocumentToTables(document, {}));
}

}  // namespace
