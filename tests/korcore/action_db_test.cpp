#include "korcore/action_db.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "kor/thread.h"

namespace {

constexpr char kFirstModule = 0;
constexpr char kSecondModule = 0;

uint32_t Invoke(const KorString& action, KorContainer& container) {
  return ActionDbInvokeContainer("", action, container, 0, -1, -1, 0);
}

uint32_t Succeed(KorContainer*) {
  return ACTIONDB_ERROR_SUCCESS;
}

class ActionDb : public testing::Test {
 protected:
  ~ActionDb() override {
    ActionDbDropModule(&kFirstModule);
    ActionDbDropModule(&kSecondModule);
  }
};

TEST_F(ActionDb, SignatureIsParsedIntoNameAndParameters) {
  ActionDescription description;

  ASSERT_TRUE(ActionDbParseSignature(
      "HardwareStartInventory (bool UploadAfterUpdate, container Values, int N, string Text)",
      description));

  EXPECT_EQ("HardwareStartInventory", description.name);
  ASSERT_EQ(4U, description.parameters.size());
  EXPECT_EQ("bool", description.parameters[0].type);
  EXPECT_EQ("UploadAfterUpdate", description.parameters[0].name);
  EXPECT_EQ("container", description.parameters[1].type);
  EXPECT_EQ("int", description.parameters[2].type);
  EXPECT_EQ("Text", description.parameters[3].name);
}

TEST_F(ActionDb, SignatureWithoutParametersHasEmptyParentheses) {
  ActionDescription description;
  ASSERT_TRUE(ActionDbParseSignature("HardwareGetValues ()", description));
  EXPECT_EQ("HardwareGetValues", description.name);
  EXPECT_TRUE(description.parameters.empty());
}

TEST_F(ActionDb, BrokenSignaturesAreRefused) {
  ActionDescription description;
  for (const char* signature :
       {"", "Name", "Name (", "Name (bool)", "Name (bool A", "Name (bool A,)", "Name (float A)",
        "Name (bool A bool B)", "(bool A)", "Name () x", "Na-me ()", "Name (,)"}) {
    EXPECT_FALSE(ActionDbParseSignature(signature, description)) << signature;
    EXPECT_EQ(ACTIONDB_ERROR_BADPARAM, ActionDbRegisterAction(signature, Succeed, &kFirstModule))
        << signature;
  }
  EXPECT_TRUE(ActionDbActions().empty());
}

TEST_F(ActionDb, ActionWithoutHandlerIsRefused) {
  EXPECT_EQ(ACTIONDB_ERROR_BADPARAM, ActionDbRegisterAction("Name ()", nullptr, &kFirstModule));
}

TEST_F(ActionDb, HandlerReadsParametersAndWritesResults) {
  ActionDbRegisterAction(
      "Double (int Number)",
      [](KorContainer* container) {
        int32_t number = 0;
        container->GetInt32("Number", number);
        container->Clear();
        container->SetInt32("Doubled", 2 * number);
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kFirstModule);
  KorContainer container;
  container.SetInt32("Number", 21);

  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("Double", container));

  int32_t doubled = 0;
  EXPECT_TRUE(container.GetInt32("Doubled", doubled));
  EXPECT_EQ(42, doubled);
}

TEST_F(ActionDb, ParametersOutsideTheSignatureArePassedOn) {
  bool found = false;
  ActionDbRegisterAction(
      "Take ()",
      [&found](KorContainer* container) {
        found = container->CountValues("DifferencialUpload") == 1;
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kFirstModule);
  KorContainer container;
  container.SetBool("DifferencialUpload", true);
  Invoke("Take", container);
  EXPECT_TRUE(found);
}

TEST_F(ActionDb, ResultStandsInTheContainerOfAKnownAction) {
  ActionDbRegisterAction(
      "Receive ()", [](KorContainer*) { return 44002U; }, &kFirstModule);
  KorContainer container;
  EXPECT_EQ(44002U, Invoke("Receive", container));
  int32_t code = 0;
  EXPECT_TRUE(container.GetInt32("ErrorCode", code));
  EXPECT_EQ(44002, code);
}

TEST_F(ActionDb, UnknownActionLeavesTheContainerAlone) {
  KorContainer container;
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND, Invoke("Nobody", container));
  EXPECT_EQ(-1, container.CountValues("ErrorCode"));
}

TEST_F(ActionDb, NamesAreExact) {
  ActionDbRegisterAction("Name ()", Succeed, &kFirstModule);
  KorContainer container;
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND, Invoke("name", container));
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND, Invoke("Name ()", container));
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("Name", container));
}

TEST_F(ActionDb, OtherAgentsAreNotReachable) {
  ActionDbRegisterAction("Name ()", Succeed, &kFirstModule);
  KorContainer container;
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND,
            ActionDbInvokeContainer(":/MASTER///", "Name", container, 0, -1, -1, 0));
}

TEST_F(ActionDb, SecondActionOfANameIsADuplicate) {
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, ActionDbRegisterAction("Name ()", Succeed, &kFirstModule));
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONDUPLICATE,
            ActionDbRegisterAction("Name (bool Flag)", Succeed, &kSecondModule));
  EXPECT_EQ(1U, ActionDbActions().size());
}

TEST_F(ActionDb, ExceptionCountsAsFailure) {
  ActionDbRegisterAction(
      "Throw ()", [](KorContainer*) -> uint32_t { throw std::runtime_error("broken"); },
      &kFirstModule);
  KorContainer container;
  testing::internal::CaptureStderr();
  EXPECT_EQ(ACTIONDB_ERROR_FAILURE, Invoke("Throw", container));
  EXPECT_NE(std::string::npos,
            testing::internal::GetCapturedStderr().find("The action 'Throw' failed: broken"));
}

TEST_F(ActionDb, ForcedCancelPassesThroughAndLetsTheModuleGo) {
  ActionDbRegisterAction(
      "Cancel ()", [](KorContainer*) -> uint32_t { throw KorThreadCancelled(); }, &kFirstModule);
  KorContainer container;
  EXPECT_THROW(Invoke("Cancel", container), KorThreadCancelled);
  ActionDbDropModule(&kFirstModule);  // would wait for ever for a call that is still counted
}

TEST_F(ActionDb, HandlersMayInvokeOtherActionsAndRegisterMore) {
  ActionDbRegisterAction(
      "Inner ()", [](KorContainer*) { return 7U; }, &kFirstModule);
  ActionDbRegisterAction(
      "Outer ()",
      [](KorContainer*) {
        ActionDbRegisterAction("Later ()", Succeed, &kFirstModule);
        KorContainer inner;
        return Invoke("Inner", inner);
      },
      &kFirstModule);
  KorContainer container;
  EXPECT_EQ(7U, Invoke("Outer", container));
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("Later", container));
}

TEST_F(ActionDb, ActionsAreListedInTheOrderOfRegistration) {
  ActionDbRegisterAction("B ()", Succeed, &kFirstModule);
  ActionDbRegisterAction("A (bool Flag)", Succeed, &kSecondModule);
  const std::vector<ActionDescription> actions = ActionDbActions();
  ASSERT_EQ(2U, actions.size());
  EXPECT_EQ("B", actions[0].name);
  EXPECT_EQ("A (bool Flag)", actions[1].signature);
}

TEST_F(ActionDb, DroppingAModuleForgetsItsActionsOnly) {
  ActionDbRegisterAction("First ()", Succeed, &kFirstModule);
  ActionDbRegisterAction("Second ()", Succeed, &kSecondModule);
  ActionDbDropModule(&kFirstModule);
  KorContainer container;
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND, Invoke("First", container));
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("Second", container));
}

TEST_F(ActionDb, DroppingAModuleWaitsForItsCalls) {
  std::promise<void> entered;
  std::promise<void> mayEnd;
  std::atomic<bool> ended = false;
  ActionDbRegisterAction(
      "Slow ()",
      [&](KorContainer*) {
        entered.set_value();
        mayEnd.get_future().wait();
        ended = true;
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kFirstModule);
  std::thread caller([] {
    KorContainer container;
    Invoke("Slow", container);
  });
  entered.get_future().wait();
  std::thread releaser([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    mayEnd.set_value();
  });

  ActionDbDropModule(&kFirstModule);

  EXPECT_TRUE(ended);
  caller.join();
  releaser.join();
}

// The handler's code may lie in the module: nothing of it may be left once the module is dropped.
TEST_F(ActionDb, DroppedModuleLeavesNoHandlerBehind) {
  std::atomic<bool> isGone = false;
  std::shared_ptr<void> token(nullptr, [&isGone](void*) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    isGone = true;
  });
  std::promise<void> entered;
  ActionDbRegisterAction(
      "Slow ()",
      [held = std::move(token), &entered](KorContainer*) {
        entered.set_value();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kFirstModule);
  std::thread caller([] {
    KorContainer container;
    Invoke("Slow", container);
  });
  entered.get_future().wait();

  ActionDbDropModule(&kFirstModule);

  EXPECT_TRUE(isGone);
  caller.join();
}

TEST_F(ActionDb, ServesSeveralThreadsAtOnce) {
  std::atomic<int> calls = 0;
  ActionDbRegisterAction(
      "Count ()",
      [&calls](KorContainer*) {
        ++calls;
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kFirstModule);
  std::vector<std::thread> threads;
  for (int n = 0; n < 4; ++n) {
    threads.emplace_back([] {
      for (int call = 0; call < 200; ++call) {
        KorContainer container;
        Invoke("Count", container);
        ActionDbActions();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(800, calls);
}

}  // namespace
