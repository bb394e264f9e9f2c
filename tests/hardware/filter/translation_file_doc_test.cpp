// The example that administrators start from has to be a good one.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "hardware/filter/filter_check.h"
#include "hardware/filter/hw_filter.h"
#include "hardware/module/globals.h"
#include "korcore/obj_inv.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using HardwareInventory::debugInv;
using HardwareInventory::HwFilter;

// What stands in the first block of the page that is fenced as XML.
std::string Example() {
  std::ifstream page(KOR_SOURCE_DIR "/docs/translation-file.md");
  const std::string text{std::istreambuf_iterator<char>(page), std::istreambuf_iterator<char>()};
  const std::string opening = "```xml\n";
  const size_t begin = text.find(opening);
  const size_t end = text.find("\n```", begin);
  if (begin == std::string::npos || end == std::string::npos) return {};
  return text.substr(begin + opening.size(), end - begin - opening.size());
}

class TranslationFileDoc : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(Example().empty());
    ASSERT_TRUE(filter.Load(folder.Write("example.xml", Example())));
  }

  std::string Translated(const char* name, const char* value) {
    ObjInv inventory(nullptr);
    ObjInst* instance = inventory.Ensure("Class")->Ensure("0");
    instance->Ensure(name)->SetValue(value);
    filter.ProcessAttrs(inventory);
    const ObjInstAttr* attribute = instance->Attributes().Get(name);
    return attribute == nullptr ? "(rejected)" : attribute->GetValue().Str();
  }

  TemporaryFolder folder;
  CapturedLog log{debugInv};
  const HardwareInventory::FilterCheckScope check{true};
  HwFilter filter;
};

TEST_F(TranslationFileDoc, ExampleLoadsWithoutComplaint) {
  EXPECT_EQ(filter.WmiClassCount(), 1U);
  EXPECT_EQ(filter.AttrCount(), 3U);
  EXPECT_EQ(filter.GetHwListMaxPass(), 1U);
  for (const CapturedLog::Entry& entry : log.Entries()) EXPECT_EQ(entry.line, 0U) << entry.text;
  EXPECT_EQ(log.Entries().back().text,
            "Filter entries have been loaded (1 WMI classes, 3 attributes)");
}

TEST_F(TranslationFileDoc, ExampleDoesWhatItsLabelsSay) {
  EXPECT_EQ(Translated("Disk Serial Number", "X"), "(rejected)");
  EXPECT_EQ(Translated("Manufacturer", "Acme Inc."), "ACME Corporation");
  EXPECT_EQ(Translated("Manufacturer", "Acmeon"), "Acmeon");
  EXPECT_EQ(Translated("Size", "12 gb"), "12 gigabytes");
  EXPECT_EQ(Translated("Size", "12 MB"), "12 MB");
}

}  // namespace
