// A thread whose body is a function, and a gate to wait at, for tests of threads.

#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>

#include "kor/thread.h"

class BodyThread : public KorThread {
 public:
  using Body = std::function<void(BodyThread&)>;
  explicit BodyThread(Body threadBody) : body(std::move(threadBody)) {}
  ~BodyThread() override {
    Cancel(0, true);
    WaitForEnd();
  }

  using KorThread::MarkEnded;
  void WaitForEnd() {
    while (!Cancel(1000, true)) {
    }
  }

 protected:
  void ThreadMain() override { body(*this); }

 private:
  Body body;
};

class Gate {
 public:
  void Open() { isOpen = true; }
  void Wait() const {
    while (!isOpen) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

 private:
  std::atomic<bool> isOpen = false;
};
