#include "agent/document_json.h"

#include <gtest/gtest.h>

#include "support/processor_time.h"

namespace {

TEST(DocumentJson, WritesNameDefinitionsAndInstancesInOrder) {
  ObjInv document(nullptr);
  document.SetName("HWINVENTORY");
  ObjType* memory = document.Ensure("Physical Memory");
  ObjTypeAttr* capacity = memory->Ensure("Capacity", "Integer");
  capacity->SetUnit("MB");
  capacity->SetDesc("Size");
  memory->Ensure("Available", "Integer");
  memory->Ensure("0")->Ensure("Capacity")->SetValue("2006");
  memory->Ensure("0")->Ensure("Available")->SetValue("17");
  memory->Ensure("1");
  document.Ensure("BIOS");

  EXPECT_EQ(R"({
  "name": "HWINVENTORY",
  "classes": {
    "Physical Memory": {
      "attributes": {
        "Capacity": {"type": "Integer", "unit": "MB", "description": "Size"},
        "Available": {"type": "Integer", "unit": "", "description": ""}
      },
      "instances": {
        "0": {
          "Capacity": "2006",
          "Available": "17"
        },
        "1": {}
      }
    },
    "BIOS": {
      "attributes": {},
      "instances": {}
    }
  }
}
)",
            agent::DocumentToJson(document));
}

TEST(DocumentJson, EmptyDocumentIsAnObject) {
  const ObjInv document(nullptr);
  EXPECT_EQ("{\n  \"name\": \"\",\n  \"classes\": {}\n}\n", agent::DocumentToJson(document));
}

TEST(DocumentJson, HostileBytesAreEscapedAndInvalidUtf8IsReplaced) {
  ObjInv document(nullptr);
  document.SetName("a\"b\\c\n\x1b[31m\xff\xc3\xa9");
  EXPECT_EQ(
      "{\n  \"name\": \"a\\\"b\\\\c\\n\\u001b[31m\xef\xbf\xbd\xc3\xa9\",\n  \"classes\": {}\n}\n",
      agent::DocumentToJson(document));
}

TEST(DocumentJson, WhatCouldSteerATerminalIsEscaped) {
  ObjInv document(nullptr);
  document.SetName("\x7f \xc2\x9b[31m \xe2\x80\xae \xe2\x82\xac \xf0\x9f\x98\x80");
  EXPECT_EQ(
      "{\n  \"name\": \"\\u007f \\u009b[31m \\u202e \xe2\x82\xac \xf0\x9f\x98\x80\",\n"
      "  \"classes\": {}\n}\n",
      agent::DocumentToJson(document));
}

double SecondsForInstances(size_t count) {
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("Class");
  for (size_t n = 0; n < count; ++n) {
    type->Ensure(KorString(std::to_string(n)))->Ensure("Value")->SetValue("x");
  }
  return ProcessorSecondsOf(
      [&] { EXPECT_GT(agent::DocumentToJson(document).size(), count * 20U); });
}

TEST(DocumentJson, ManyInstancesTakeLinearTime) {
  constexpr int kTimes = 16;
  const double small = SecondsForInstances(1000);
  const double large = SecondsForInstances(1000 * kTimes);
  EXPECT_LT(large, small * kTimes * 4);
}

}  // namespace
