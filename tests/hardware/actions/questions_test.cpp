#include "hardware/module/module_fixture.h"

namespace {

class QuestionsTest : public ModuleFixture {};

// The name says the opposite of the value.
TEST_F(QuestionsTest, WithErrorIsTrueAfterASuccess) {
  StartModule();
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_EQ(Invoke("HardwareStartInventory"), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  KorContainer container;
  EXPECT_EQ(Invoke("HardwareInventoryWithError", container), 0u);
  bool withError = false;
  EXPECT_TRUE(container.GetBool("WithError", withError));
  EXPECT_TRUE(withError);
}

TEST_F(QuestionsTest, WithErrorIsFalseAfterAFailure) {
  StartModule("TranslationFile = /nowhere/at/all.xml\n");
  {
    const KorMutexLock lock(HardwareInventory::mutexInv);
    HardwareInventory::fWithError = true;
  }
  EXPECT_EQ(Invoke("HardwareStartInventory"), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  KorContainer container;
  EXPECT_EQ(Invoke("HardwareInventoryWithError", container), 0u);
  bool withError = true;
  EXPECT_TRUE(container.GetBool("WithError", withError));
  EXPECT_FALSE(withError);
}

TEST_F(QuestionsTest, AQueryAnswersFromTheDump) {
  StartModule();
  ObjInv document(nullptr);
  FillInventory(document, "S-1");
  ASSERT_TRUE(document.Dump(DataFile("HardwareInventoryLast.sqlite3")));
  KorContainer container;
  container.SetString("Query", "select \"Serial\" from \"Machine\"");
  EXPECT_EQ(Invoke("HardwareInventoryQuery", container), 0u);
  KorContainer row;
  KorString value;
  ASSERT_TRUE(container.GetContainer("Rows", row));
  EXPECT_TRUE(row.GetString("Values", value));
  EXPECT_EQ(value, "S-1");
}

TEST_F(QuestionsTest, AQueryThatFailsSaysSo) {
  StartModule();
  KorContainer container;
  container.SetString("Query", "select 1");
  EXPECT_EQ(Invoke("HardwareInventoryQuery", container), 0u);
  EXPECT_EQ(container.CountValues("Error"), 1);
}

}  // namespace
