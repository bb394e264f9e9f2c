// Numbers that others know: hosts, servers, INI files and programs that read filter entries. They
// are part of the interface and written here as others write them.

#include <gtest/gtest.h>

#include "hardware/actions/file_store_codes.h"
#include "hardware/config/hardware_config.h"
#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_codes.h"
#include "hardware/module/identity.h"

namespace HardwareInventory {

TEST(InterfaceNumbers, FileStoreCodes) {
  EXPECT_EQ(FILESTORE_ERROR_BASE, 44000U);
  EXPECT_EQ(FILESTORE_ERROR_HANDLERBUSY, 44001U);
  EXPECT_EQ(FILESTORE_ERROR_HANDLEROK, 44002U);
  EXPECT_EQ(FILESTORE_ERROR_HANDLERDELETE, 44003U);
  EXPECT_EQ(FILESTORE_ERROR_HANDLERIGNORED, 44004U);
  EXPECT_EQ(FILESTORE_ERROR_BADGUIDSCHEME, 44005U);
}

TEST(InterfaceNumbers, Bounds) {
  EXPECT_EQ(HwFilterLimits().bytesOfValues, 268'435'456U);
  EXPECT_EQ(HwFilterLimits().milliseconds, 10'000U);
}

TEST(InterfaceNumbers, Module) {
  EXPECT_EQ(HWINV_MODULE_NUMBER, 19U);
  EXPECT_EQ(HWINV_ERROR_BASE, 19000U);
}

TEST(InterfaceNumbers, BitsOfSettings) {
  EXPECT_EQ(kConfigLastInventorySent, 1U);
  EXPECT_EQ(kConfigTranslationFile, 2U);
  EXPECT_EQ(kConfigUploadInterval, 4U);
  EXPECT_EQ(kConfigUploadOnStartup, 8U);
  EXPECT_EQ(kConfigUploadGap, 16U);
  EXPECT_EQ(kConfigDifferentialUpload, 32U);
  EXPECT_EQ(kConfigAll, 63U);
}

TEST(InterfaceNumbers, CodesOfFilterEntries) {
  EXPECT_EQ(kFilterAccept, 1U);
  EXPECT_EQ(kFilterReject, 2U);
  EXPECT_EQ(kFilterMatchText, 1U);
  EXPECT_EQ(kFilterMatchPattern, 2U);
  EXPECT_EQ(kFilterMatchRegex, 3U);
  EXPECT_EQ(kFilterModifyNone, 1U);
  EXPECT_EQ(kFilterModifyText, 2U);
  EXPECT_EQ(kFilterModifyRegex, 3U);
  EXPECT_EQ(kFilterEqual, 1U);
  EXPECT_EQ(kFilterNotEqual, 2U);
  EXPECT_EQ(kFilterCaseSensitive, 1U);
  EXPECT_EQ(kFilterCaseInsensitive, 2U);
}

TEST(InterfaceNumbers, FlagsOfRules) {
  EXPECT_EQ(kFilterHasMatch, 0x02U);
  EXPECT_EQ(kFilterHasMatchName, 0x04U);
  EXPECT_EQ(kFilterHasMatchValue, 0x08U);
  EXPECT_EQ(kFilterHasAction, 0x10U);
  EXPECT_EQ(kFilterHasModify, 0x20U);
  EXPECT_EQ(kFilterHasModifyName, 0x40U);
  EXPECT_EQ(kFilterHasModifyValue, 0x80U);
}

// 0 is "not given".
TEST(InterfaceNumbers, FreshEntriesHaveNothingGiven) {
  HwFilterAttr rule;
  for (const uint32_t number :
       {rule.GetFlags(), rule.GetAction(), rule.GetMatchNameValue(), rule.GetMatchNameOperator(),
        rule.GetMatchNameCase(), rule.GetMatchValueValue(), rule.GetMatchValueOperator(),
        rule.GetMatchValueCase(), rule.GetModifyNameValue(), rule.GetModifyNameCase(),
        rule.GetModifyValueValue(), rule.GetModifyValueCase()}) {
    EXPECT_EQ(number, 0U);
  }
  EXPECT_EQ(rule.GetLine(), 0U);
  HwFilterWmiClass wmiClass;
  EXPECT_EQ(wmiClass.GetFlags(), 0U);
  EXPECT_EQ(wmiClass.GetAction(), 0U);
  EXPECT_FALSE(wmiClass.GetCurrentUser());
  HwFilterWmiAttr wmiAttr;
  EXPECT_EQ(wmiAttr.GetFlags(), 0U);
  EXPECT_EQ(wmiAttr.GetAction(), 0U);
}

}  // namespace HardwareInventory
