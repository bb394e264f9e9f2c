#include "agent/document_json.h"

#include <gtest/gtest.h>

#include <chrono>

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

TEST(DocumentJson, ManyInstancesTakeLinearTime) {
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("Class");
  for (int n = 0; n < 20000; ++n) {
    type->Ensure(KorString(std::to_string(n)))->Ensure("Value")->SetValue("x");
  }
  const auto start = std::chrono::steady_clock::now();
  const std::string json = agent::DocumentToJson(document);
  EXPECT_GT(json.size(), 20000U * 20U);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

}  // namespace
