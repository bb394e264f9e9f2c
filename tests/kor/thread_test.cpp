#include "kor/thread.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "kor/debug.h"
#include "support/body_thread.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Takes the framework's log for the length of a test.
class LogTaker : public KorDebugContext {
 public:
  LogTaker() { KorFrameworkLog().SetContext(this); }
  ~LogTaker() override { KorFrameworkLog().SetContext(nullptr); }
  bool Wants(KorLogLevel level) const override { return level >= KorLogLevel::kWarning; }
  void Write(const KorLogRecord& record) override {
    const std::lock_guard lock(mutex);
    texts.emplace_back(record.text);
  }
  std::vector<std::string> Texts() {
    const std::lock_guard lock(mutex);
    return texts;
  }

 private:
  std::mutex mutex;
  std::vector<std::string> texts;
};

TEST(Thread, RunsTheRoutineWithItsArgument) {
  std::atomic<int> value = 0;
  KorThread thread;
  ASSERT_TRUE(
      thread.Start([](void* argument) { *static_cast<std::atomic<int>*>(argument) = 7; }, &value));
  ASSERT_TRUE(thread.Cancel(10000, false));
  EXPECT_EQ(value, 7);
}

TEST(Thread, RunsThreadMainWithoutARoutine) {
  std::atomic<bool> ran = false;
  BodyThread thread([&ran](BodyThread&) { ran = true; });
  ASSERT_TRUE(thread.Start());
  thread.WaitForEnd();
  EXPECT_TRUE(ran);
}

TEST(Thread, IsRunningFromStartToTheEndOfTheBodyAndStartsOnce) {
  Gate gate;
  BodyThread thread([&gate](BodyThread&) { gate.Wait(); });
  EXPECT_FALSE(thread.IsThreadRunning());
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(thread.IsThreadRunning());
  EXPECT_FALSE(thread.Start());
  gate.Open();
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_FALSE(thread.IsThreadRunning());
}

TEST(Thread, CanBeStartedAgainAndAgain) {
  std::atomic<int> runs = 0;
  BodyThread thread([&runs](BodyThread&) { ++runs; });
  for (int round = 0; round < 50; ++round) {
    ASSERT_TRUE(thread.Start());
    ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  }
  EXPECT_EQ(runs, 50);
}

TEST(Thread, OfManyStartersOneWins) {
  for (int round = 0; round < 20; ++round) {
    Gate gate;
    std::atomic<int> runs = 0;
    std::atomic<int> started = 0;
    BodyThread thread([&](BodyThread&) {
      ++runs;
      gate.Wait();
    });
    std::vector<std::thread> starters;
    for (int index = 0; index < 4; ++index) {
      starters.emplace_back([&] {
        if (thread.Start()) ++started;
      });
    }
    for (std::thread& starter : starters) starter.join();
    gate.Open();
    thread.WaitForEnd();
    EXPECT_EQ(started, 1);
    EXPECT_EQ(runs, 1);
  }
}

TEST(ThreadCancel, OfAThreadThatNeverRanIsDone) {
  KorThread thread;
  EXPECT_TRUE(thread.Cancel(0, false));
  EXPECT_TRUE(thread.Cancel(0, true));
  EXPECT_FALSE(thread.CheckCancelled(true));
}

TEST(ThreadCancel, EndsAPauseAtOnceWithoutUnwinding) {
  Gate paused;
  std::atomic<bool> cancelled = false;
  BodyThread thread([&](BodyThread& self) {
    paused.Open();
    self.Pause(uint64_t{100} * 1000);
    cancelled = self.CheckCancelled(false);
  });
  ASSERT_TRUE(thread.Start());
  paused.Wait();
  const auto start = Clock::now();
  EXPECT_TRUE(thread.Cancel(10000, false));
  EXPECT_LT(Clock::now() - start, 60s);
  EXPECT_TRUE(cancelled);
}

TEST(Thread, PauseLastsAsLongAsAskedFor) {
  std::atomic<Clock::rep> length = 0;
  BodyThread thread([&](BodyThread& self) {
    const auto start = Clock::now();
    self.Pause(60);
    length = (Clock::now() - start).count();
  });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_GE(Clock::duration(length), 60ms);
}

TEST(Thread, AnEndlessPauseIsNotAShortOne) {
  std::atomic<bool> over = false;
  BodyThread thread([&](BodyThread& self) {
    self.Pause(UINT64_MAX);
    over = true;
  });
  ASSERT_TRUE(thread.Start());
  EXPECT_FALSE(KorThread::WaitUntilNoneRuns(50));
  EXPECT_FALSE(over);
}

TEST(ThreadCancel, WithoutForceWaitsNoLongerThanAsked) {
  Gate gate;
  BodyThread thread([&gate](BodyThread&) { gate.Wait(); });
  ASSERT_TRUE(thread.Start());
  const auto start = Clock::now();
  EXPECT_FALSE(thread.Cancel(40, false));
  EXPECT_GE(Clock::now() - start, 40ms);
  EXPECT_TRUE(thread.IsThreadRunning());
  gate.Open();
  EXPECT_TRUE(thread.Cancel(10000, false));
}

TEST(ThreadCancel, ByForceUnwindsOutOfAPauseAndReleasesWhatWasHeld) {
  std::atomic<bool> released = false;
  BodyThread thread([&](BodyThread& self) {
    struct Holder {
      std::atomic<bool>& flag;
      ~Holder() { flag = true; }
    };
    const Holder holder{released};
    // Takes no notice of the first stage.
    for (;;) {
      self.Pause(1000);
      std::this_thread::sleep_for(1ms);
    }
  });
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(thread.Cancel(500, true));
  EXPECT_TRUE(released);
}

TEST(ThreadCancel, CheckThrowsWhenAskedTo) {
  std::atomic<bool> unwound = false;
  BodyThread thread([&](BodyThread& self) {
    try {
      for (;;) {
        self.CheckCancelled(true);
        std::this_thread::sleep_for(1ms);
      }
    } catch (const KorThreadCancelled&) {
      unwound = true;
      throw;
    }
  });
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(thread.Cancel(10000, false));
  EXPECT_TRUE(unwound);
}

TEST(ThreadCancel, FlagsAreFreshForTheNextStart) {
  std::atomic<int> sawCancel = 0;
  std::atomic<int> sawForce = 0;
  Gate gate;
  BodyThread thread([&](BodyThread& self) {
    gate.Wait();
    if (self.CheckCancelled(false)) ++sawCancel;
    if (KorThread::CurrentIsForced()) ++sawForce;
  });
  ASSERT_TRUE(thread.Start());
  EXPECT_FALSE(thread.Cancel(0, true));
  gate.Open();
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_EQ(sawCancel, 1);
  EXPECT_EQ(sawForce, 1);
  EXPECT_FALSE(thread.CheckCancelled(false));
}

TEST(ThreadCancel, FromTheThreadItselfDoesNotWaitForIt) {
  std::atomic<bool> answer = true;
  std::atomic<bool> cancelled = false;
  std::atomic<bool> passed = false;
  BodyThread thread([&](BodyThread& self) {
    answer = self.Cancel(UINT32_MAX, false);
    cancelled = self.CheckCancelled(false);
    answer = answer || self.Cancel(UINT32_MAX, true);
    self.Pause(0);
    passed = true;
  });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_FALSE(answer);
  EXPECT_TRUE(cancelled);
  EXPECT_FALSE(passed) << "forced by itself, the next blocking call unwinds";
}

TEST(ThreadCancel, ConcurrentWithStartNeverHangsOrLosesTheThread) {
  std::atomic<bool> stop = false;
  std::atomic<int> inside = 0;
  std::atomic<bool> overlapped = false;
  BodyThread thread([&](BodyThread& self) {
    if (++inside != 1) overlapped = true;
    self.Pause(2);
    --inside;
  });
  std::thread canceller([&] {
    while (!stop) thread.Cancel(1, false);
  });
  for (int round = 0; round < 200; ++round) {
    while (!thread.Start()) std::this_thread::yield();
  }
  stop = true;
  canceller.join();
  EXPECT_TRUE(thread.Cancel(10000, false));
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(inside, 0);
}

TEST(ThreadForce, DescriptorBecomesReadable) {
  EXPECT_EQ(KorThread::CurrentForceDescriptor(), -1);
  EXPECT_FALSE(KorThread::CurrentIsForced());
  Gate started;
  std::atomic<int> readable = -1;
  BodyThread thread([&](BodyThread&) {
    pollfd watched{KorThread::CurrentForceDescriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&watched, 1, 0), 0);
    started.Open();
    readable = poll(&watched, 1, 10000);
  });
  ASSERT_TRUE(thread.Start());
  started.Wait();
  EXPECT_FALSE(thread.Cancel(20, false));
  EXPECT_EQ(readable, -1) << "a plain cancel leaves commands alone";
  EXPECT_TRUE(thread.Cancel(100, true));
  EXPECT_EQ(readable, 1);
}

TEST(ThreadEnd, AnExceptionEndsTheThreadWithItsReasonInTheLog) {
  LogTaker log;
  BodyThread thread([](BodyThread&) { throw std::runtime_error("out of\npaper"); });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_FALSE(thread.IsThreadRunning());
  EXPECT_EQ(log.Texts(), std::vector<std::string>{"A thread ended by an exception: out of\npaper"});
}

TEST(ThreadEnd, AnExceptionWithoutATextIsToldByItsType) {
  LogTaker log;
  BodyThread thread([](BodyThread&) { throw 3; });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_EQ(log.Texts(), std::vector<std::string>{"A thread ended by an exception of type i"});
}

TEST(ThreadEnd, DestructionCancelsByForceAndWaits) {
  std::atomic<int> state = 0;
  {
    KorThread thread;
    struct Argument {
      KorThread& thread;
      std::atomic<int>& state;
    };
    static std::unique_ptr<Argument> argument;
    argument = std::make_unique<Argument>(Argument{thread, state});
    ASSERT_TRUE(thread.Start(
        [](void* pointer) {
          Argument& given = *static_cast<Argument*>(pointer);
          given.state = 1;
          try {
            for (;;) given.thread.Pause(100000);
          } catch (const KorThreadCancelled&) {
            std::this_thread::sleep_for(30ms);
            given.state = 2;
          }
        },
        argument.get()));
    while (state == 0) std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(state, 2);
}

TEST(ThreadStart, WithoutDescriptorsFailsAndLeavesNothingBehind) {
  LogTaker log;
  std::atomic<int> runs = 0;
  BodyThread thread([&runs](BodyThread&) { ++runs; });
  // Lets UndefinedBehaviorSanitizer, which needs descriptors for it, see the types once.
  KorFrameworkLog().ErrorWithNL("before");
  ASSERT_TRUE(thread.Start());
  thread.WaitForEnd();
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const bool started = thread.Start();
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(started);
  EXPECT_FALSE(thread.IsThreadRunning());
  EXPECT_EQ(log.Texts().size(), 2U);
  EXPECT_TRUE(KorThread::WaitUntilNoneRuns(0));
  EXPECT_TRUE(thread.Start()) << "it can be started later";
  thread.WaitForEnd();
  EXPECT_EQ(runs, 2);
}

TEST(ThreadStart, WithoutMemoryForAStackFailsAndLeavesNothingBehind) {
  LogTaker log;
  std::atomic<int> runs = 0;
  BodyThread thread([&runs](BodyThread&) { ++runs; });
  // What is left of an earlier run must survive the failure.
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  pthread_attr_t before;
  pthread_attr_t huge;
  pthread_getattr_default_np(&before);
  pthread_attr_init(&huge);
  pthread_attr_setstacksize(&huge, size_t{1} << 47U);
  ASSERT_EQ(pthread_setattr_default_np(&huge), 0);
  const bool started = thread.Start();
  pthread_setattr_default_np(&before);
  pthread_attr_destroy(&huge);
  pthread_attr_destroy(&before);
  EXPECT_FALSE(started);
  EXPECT_FALSE(thread.IsThreadRunning());
  EXPECT_TRUE(KorThread::WaitUntilNoneRuns(0));
  EXPECT_TRUE(thread.Cancel(0, true));
  EXPECT_EQ(log.Texts().size(), 1U);
  EXPECT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_EQ(runs, 2);
}

TEST(ThreadPriority, SetBeforeStartHoldsForTheThreadAlone) {
  const int own = getpriority(PRIO_PROCESS, 0);
  std::atomic<int> niceness = -1;
  BodyThread thread([&niceness](BodyThread&) { niceness = getpriority(PRIO_PROCESS, 0); });
  thread.SetPriority(20);
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_EQ(niceness, std::max(own, 10));
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), own);
}

TEST(ThreadPriority, OtherValuesChangeNothing) {
  const int own = getpriority(PRIO_PROCESS, 0);
  std::atomic<int> niceness = -1;
  BodyThread thread([&niceness](BodyThread& self) {
    self.SetPriority(19);
    niceness = getpriority(PRIO_PROCESS, 0);
  });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_EQ(niceness, own);
}

}  // namespace
