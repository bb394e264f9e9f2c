#include "korcore/callback_db.h"

#include <gtest/gtest.h>

#include <thread>

#include "korcore/action_db.h"
#include "korcore/host_worker.h"

namespace {

constexpr char kModule = 0;
constexpr const char* kSignature = "HardwareInvGUIDCallback (string GUID)";

class CallbackDb : public testing::Test {
 protected:
  ~CallbackDb() override {
    HostWorkerStop();
    CallbackDbDeleteAction("Event", kSignature, "");
    ActionDbDropModule(&kModule);
  }
};

TEST_F(CallbackDb, SubscriptionIsKnownByItsActionsName) {
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, CallbackDbRegisterAction("Event", kSignature, "", 0));
  const std::vector<KorString> actions = CallbackDbActions("Event");
  ASSERT_EQ(1U, actions.size());
  EXPECT_EQ("HardwareInvGUIDCallback", actions[0]);
  EXPECT_TRUE(CallbackDbActions("event").empty());
}

TEST_F(CallbackDb, SameSubscriptionTwiceIsADuplicate) {
  CallbackDbRegisterAction("Event", kSignature, "", 0);
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONDUPLICATE, CallbackDbRegisterAction("Event", kSignature, "", 0));
  EXPECT_EQ(1U, CallbackDbActions("Event").size());
}

TEST_F(CallbackDb, BrokenSignatureIsRefused) {
  EXPECT_EQ(ACTIONDB_ERROR_BADPARAM, CallbackDbRegisterAction("Event", "Name (", "", 0));
}

TEST_F(CallbackDb, DeletedSubscriptionIsGone) {
  CallbackDbRegisterAction("Event", kSignature, "", 0);
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, CallbackDbDeleteAction("Event", kSignature, ""));
  EXPECT_TRUE(CallbackDbActions("Event").empty());
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND, CallbackDbDeleteAction("Event", kSignature, ""));
}

TEST_F(CallbackDb, RaisedEventReachesItsActionOnTheWorker) {
  std::thread::id handlerThread;
  KorString guid;
  ActionDbRegisterAction(
      kSignature,
      [&](KorContainer* container) {
        handlerThread = std::this_thread::get_id();
        container->GetString("GUID", guid);
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kModule);
  CallbackDbRegisterAction("Event", kSignature, "", 0);
  KorContainer parameters;
  parameters.SetString("GUID", "1234");
  HostWorkerStart();

  CallbackDbRaise("Event", parameters);
  parameters.Clear();  // the event has a copy of its own
  HostWorkerDrain();

  EXPECT_EQ("1234", guid);
  EXPECT_NE(std::thread::id(), handlerThread);
  EXPECT_NE(std::this_thread::get_id(), handlerThread);
}

TEST_F(CallbackDb, NothingIsDeliveredOnTheStackOfTheRaiser) {
  bool delivered = false;
  ActionDbRegisterAction(
      kSignature,
      [&delivered](KorContainer*) {
        delivered = true;
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kModule);
  CallbackDbRegisterAction("Event", kSignature, "", 0);
  CallbackDbRaise("Event", KorContainer());
  EXPECT_FALSE(delivered);

  HostWorkerStart();
  HostWorkerDrain();
  EXPECT_TRUE(delivered);
}

}  // namespace
