// A worker thread that can be waited on, paused and cancelled.

#pragma once

#include <cstdint>
#include <memory>

// Thrown out of the framework's blocking calls (Pause, CommandToString) on a thread that is
// cancelled by force. Not a std::exception, so that no handler of ordinary errors swallows it; only
// KorThread catches it.
struct KorThreadCancelled {};

class KorThread {
 public:
  using Routine = void (*)(void* argument);

  KorThread();
  // Cancels by force and waits for the end. A derived class that overrides ThreadMain must make
  // sure that its thread has ended before its own members go (call Cancel in its destructor).
  virtual ~KorThread();
  KorThread(const KorThread&) = delete;
  KorThread& operator=(const KorThread&) = delete;

  // Runs the routine with the argument, or ThreadMain() without a routine, on a new thread. False
  // when the thread is running or could not be created.
  bool Start(Routine routine = nullptr, void* argument = nullptr);

  // True from a successful Start until the body has returned or has called MarkEnded().
  bool IsThreadRunning() const;

  // On the thread itself: waits that long; a cancel ends the wait at once (and throws when it is by
  // force).
  void Pause(uint64_t milliseconds);

  // Whether a cancel was asked for since Start. With true, throws KorThreadCancelled instead of
  // answering true.
  bool CheckCancelled(bool throwIfCancelled);

  // Asks the thread to end and waits up to that long. If it has not ended by then and force is set,
  // kills the command in progress, unwinds the thread out of its blocking call and waits once more
  // as long. True when the thread has ended or was not running.
  bool Cancel(uint32_t milliseconds, bool force);

  // The niceness class of the thread, which the commands that it runs inherit; applies to the
  // calling thread when called on the thread itself, else from the next Start. 20 is "below normal"
  // (nice +10); other values change nothing.
  void SetPriority(int priority);

  // Waits until no KorThread of the process runs; false when the time is over first. A host waits
  // here before it unloads a module.
  static bool WaitUntilNoneRuns(uint32_t milliseconds);

  // For long work without such calls: throws KorThreadCancelled on a KorThread for which a cancel,
  // of either kind, was asked.
  static void ThrowIfCurrentIsCancelled();

  // For the framework's blocking calls: true on a KorThread that is cancelled by force.
  static bool CurrentIsForced();
  // A descriptor that becomes readable when the calling KorThread is cancelled by force; -1 on any
  // other thread.
  static int CurrentForceDescriptor();

 protected:
  virtual void ThreadMain();

  // On the thread itself: from here on IsThreadRunning() is false and Start() may be called, which
  // lets what remains of this body end first. For bodies that give up a flag of their own and want
  // both to happen under the same lock.
  void MarkEnded();

 private:
  struct State;
  std::unique_ptr<State> state;
};
