#include "korcore/host_worker.h"

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

class HostWorker : public testing::Test {
 protected:
  ~HostWorker() override {
    HostWorkerStart();
    HostWorkerDrain();
    HostWorkerStop();
  }
};

TEST_F(HostWorker, CallsRunOneAfterAnotherInOrder) {
  std::vector<int> order;
  HostWorkerStart();
  for (int n = 0; n < 100; ++n) HostWorkerQueue([&order, n] { order.push_back(n); });
  HostWorkerDrain();
  ASSERT_EQ(100U, order.size());
  for (size_t n = 0; n < order.size(); ++n) EXPECT_EQ(static_cast<int>(n), order[n]);
}

TEST_F(HostWorker, CallsWaitForAWorker) {
  bool called = false;
  HostWorkerQueue([&called] { called = true; });
  HostWorkerDrain();
  EXPECT_FALSE(called);
  HostWorkerStart();
  HostWorkerDrain();
  EXPECT_TRUE(called);
}

TEST_F(HostWorker, CallsMayQueueFurtherCalls) {
  bool called = false;
  HostWorkerStart();
  HostWorkerQueue([&called] { HostWorkerQueue([&called] { called = true; }); });
  HostWorkerDrain();
  EXPECT_TRUE(called);
}

TEST_F(HostWorker, ExceptionEndsItsCallOnly) {
  bool called = false;
  testing::internal::CaptureStderr();
  HostWorkerStart();
  HostWorkerQueue([] { throw std::runtime_error("broken"); });
  HostWorkerQueue([&called] { called = true; });
  HostWorkerDrain();
  EXPECT_TRUE(called);
  EXPECT_NE(std::string::npos,
            testing::internal::GetCapturedStderr().find("A queued call failed: broken"));
}

TEST_F(HostWorker, StopEndsAfterTheCallInProgressAndDropsTheRest) {
  std::promise<void> entered;
  bool finished = false;
  bool secondCalled = false;
  const auto token = std::make_shared<int>(0);
  HostWorkerStart();
  HostWorkerQueue([&] {
    entered.set_value();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    finished = true;
  });
  HostWorkerQueue([&secondCalled, token] { secondCalled = true; });
  entered.get_future().wait();

  HostWorkerStop();

  EXPECT_TRUE(finished);
  EXPECT_FALSE(secondCalled);
  EXPECT_EQ(1, token.use_count());
}

TEST_F(HostWorker, StartsAgainAfterAStop) {
  HostWorkerStart();
  HostWorkerStart();
  HostWorkerStop();
  HostWorkerStop();
  bool called = false;
  HostWorkerStart();
  HostWorkerQueue([&called] { called = true; });
  HostWorkerDrain();
  EXPECT_TRUE(called);
}

}  // namespace
