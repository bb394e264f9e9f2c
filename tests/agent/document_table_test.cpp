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
      agent::DocumentToTables(document, {.width = 24, .wrap = true}));
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
      agent::DocumentToTables(document, {.width = 23, .wrap = false}));
}

TEST(DocumentTable, LongValuesGoOnBelowThemselves) {
  ObjInv document(nullptr);
  AddDisk(document, "0", "1", "abcdefghijklmnopqrstuvwxyz0123456789");
  EXPECT_EQ(
      "Logical Disk\n"
      "============\n"
      "#0\n"
      "  Size   1\n"
      "  Label  abcdefghijklmnopqrstu\n"
      "         vwxyz0123456789\n",
      agent::DocumentToTables(document, {.width = 30, .wrap = true}));
}

TEST(DocumentTable, WithoutWrappingNoValueIsBroken) {
  ObjInv document(nullptr);
  const std::string value(300, 'x');
  AddDisk(document, "0", "1", value.c_str());
  EXPECT_NE(std::string::npos,
            agent::DocumentToTables(document, {.width = 30, .wrap = false}).find(value));
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
    const std::string tables = agent::DocumentToTables(document, {.width = width, .wrap = true});
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

TEST(DocumentTable, EmptyDocumentIsNothing) {
  const ObjInv document(nullptr);
  EXPECT_EQ("", agent::DocumentToTables(document, {}));
}

}  // namespace
