#include "agent/difference_json.h"

#include <gtest/gtest.h>

namespace {

TEST(DifferenceJson, EqualDocumentsAreSaidToBe) {
  const ObjInv difference(nullptr);
  EXPECT_EQ("{\n  \"equal\": true,\n  \"classes\": {}\n}\n", agent::DifferenceToJson(difference));
}

TEST(DifferenceJson, EachStateStandsWhereItIs) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  before.Ensure("Disk")->Ensure("Size", "String");
  now.Ensure("Disk")->Ensure("Size", "Integer");
  before.Ensure("Disk")->Ensure("a")->Ensure("Size")->SetValue("1");
  before.Ensure("Disk")->Ensure("a")->Ensure("Gone")->SetValue("x");
  before.Ensure("Disk")->Ensure("b");
  now.Ensure("Disk")->Ensure("b");
  now.Ensure("Disk")->Ensure("a")->Ensure("Size")->SetValue("2");
  now.Ensure("Disk")->Ensure("a")->Ensure("New")->SetValue("y");
  ObjInv difference(nullptr);
  ASSERT_TRUE(now.Diff(before, difference));

  const std::string json = agent::DifferenceToJson(difference);

  EXPECT_EQ(R"({
  "equal": false,
  "classes": {
    "Disk": {
      "change": "modified",
      "attributes": {
        "Size": {
          "change": "modified",
          "old": {"type": "String", "unit": "", "description": ""},
          "new": {"type": "Integer", "unit": "", "description": ""}
        }
      },
      "instances": {
        "a": {
          "change": "modified",
          "place": {"after": "b"},
          "oldPlace": {"first": true},
          "values": {
            "Size": {
              "change": "modified",
              "old": "1",
              "new": "2"
            },
            "New": {
              "change": "added",
              "new": "y"
            },
            "Gone": {
              "change": "removed",
              "old": "x"
            }
          }
        }
      }
    }
  }
}
)",
            json);
}

}  // namespace
