#include "kor/log_dispatcher.h"

#include <fcntl.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kor/mutex.h"

namespace {

constexpr mode_t kLogFileMode = 0600;
constexpr int kNobody = static_cast<int>(KorLogLevel::kError) + 1;

[[noreturn]] void ThrowOpenError(const spdlog::filename_t& path, int error) {
  throw spdlog::spdlog_ex(path + ": " + std::strerror(error));
}

// Makes sure before the library opens the file, at the start and at each rotation, that it is a
// file that only we can read, and not a link to another one.
void PrepareFile(const spdlog::filename_t& path) {
  const int descriptor =
      open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
           kLogFileMode);
  if (descriptor == -1) ThrowOpenError(path, errno);
  struct stat status {};
  const bool known = fstat(descriptor, &status) == 0;
  const int error = known ? (S_ISREG(status.st_mode) ? 0 : EINVAL) : errno;
  // An older log may have been readable by others; one that is not ours keeps its mode.
  if (error == 0) static_cast<void>(fchmod(descriptor, kLogFileMode));
  close(descriptor);
  if (error != 0) ThrowOpenError(path, error);
}

void KeepFromChildren(const spdlog::filename_t&, std::FILE* file) {
  fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
}

using Sink = std::unique_ptr<spdlog::sinks::sink>;
// Throws spdlog_ex.
using SinkFactory = std::function<Sink()>;

// One place where lines go.
class Output {
 public:
  // Throws spdlog_ex when it cannot be opened.
  Output(KorLogLevel lowest, SinkFactory factory)
      : lowestLevel(lowest), openSink(std::move(factory)) {
    Open();
  }

  KorLogLevel Lowest() const { return lowestLevel; }

  void Write(const KorLogRecord& record, std::string_view line) {
    if (record.level < lowestLevel) return;
    try {
      if (sink == nullptr) Open();
      sink->log({spdlog::string_view_t(), spdlog::level::info,
                 spdlog::string_view_t(line.data(), line.size())});
      // At once, since the last lines before a crash are those that are wanted.
      sink->flush();
      isFailing = false;
    } catch (const spdlog::spdlog_ex& exception) {
      // The library does not recover from a rotation that failed half-way; a new file may do.
      sink.reset();
      TellOnce(exception.what());
    }
  }

 private:
  void Open() {
    sink = openSink();
    sink->set_formatter(std::make_unique<spdlog::pattern_formatter>("%v"));
  }

  // A full disk is told once, not for each line.
  void TellOnce(const char* reason) {
    if (std::exchange(isFailing, true)) return;
    KorDebugContext::Default().Write({std::chrono::system_clock::now(), KorLogLevel::kError, "Kor",
                                      std::string("The log cannot be written: ") + reason,
                                      nullptr});
  }

  KorLogLevel lowestLevel;
  SinkFactory openSink;
  Sink sink;
  bool isFailing = false;
};

struct NumberedListener {
  int number;
  KorLogLevel lowestLevel;
  KorLogDispatcher::Listener listener;
};

}  // namespace

struct KorLogDispatcher::State {
  // Held while a message is written and listeners are called, so that all see the same order and a
  // removed listener is not under way.
  KorMutex mutex;
  std::vector<Output> outputs KOR_GUARDED_BY(mutex);
  std::vector<NumberedListener> listeners KOR_GUARDED_BY(mutex);
  int lastNumber KOR_GUARDED_BY(mutex) = 0;
  // The lowest level that anybody takes.
  std::atomic<int> lowest = kNobody;

  void UpdateLowest() KOR_REQUIRES(mutex) {
    int found = kNobody;
    for (const Output& output : outputs) found = std::min(found, static_cast<int>(output.Lowest()));
    for (const NumberedListener& each : listeners) {
      found = std::min(found, static_cast<int>(each.lowestLevel));
    }
    lowest.store(found, std::memory_order_relaxed);
  }

  void Add(KorLogLevel level, SinkFactory factory) KOR_EXCLUDES(mutex) {
    Output output(level, std::move(factory));
    KorMutexLock lock(mutex);
    outputs.push_back(std::move(output));
    UpdateLowest();
  }
};

KorLogDispatcher::KorLogDispatcher() : state(std::make_unique<State>()) {}
KorLogDispatcher::~KorLogDispatcher() = default;

bool KorLogDispatcher::AddFile(const KorString& path, KorLogLevel level, size_t maxBytes,
                               size_t keepFiles, KorString& error) {
  spdlog::file_event_handlers handlers;
  handlers.before_open = PrepareFile;
  handlers.after_open = KeepFromChildren;
  const auto openFile = [name = path.Str(), maxBytes, keepFiles, handlers] {
    return std::make_unique<spdlog::sinks::rotating_file_sink_st>(name, maxBytes, keepFiles, false,
                                                                  handlers);
  };
  try {
    state->Add(level, openFile);
    return true;
  } catch (const spdlog::spdlog_ex& exception) {
    error = exception.what();
    return false;
  }
}

void KorLogDispatcher::AddStandardError(KorLogLevel level) {
  state->Add(level, [] { return std::make_unique<spdlog::sinks::stderr_sink_st>(); });
}

int KorLogDispatcher::AddListener(KorLogLevel level, Listener listener) {
  KorMutexLock lock(state->mutex);
  const int number = ++state->lastNumber;
  state->listeners.push_back({number, level, std::move(listener)});
  state->UpdateLowest();
  return number;
}

void KorLogDispatcher::RemoveListener(int number) {
  KorMutexLock lock(state->mutex);
  std::erase_if(state->listeners,
                [number](const NumberedListener& each) { return each.number == number; });
  state->UpdateLowest();
}

bool KorLogDispatcher::Wants(KorLogLevel level) const {
  return static_cast<int>(level) >= state->lowest.load(std::memory_order_relaxed);
}

void KorLogDispatcher::Write(const KorLogRecord& record) {
  if (!Wants(record.level)) return;
  const KorString line = KorLogLine(record);
  KorMutexLock lock(state->mutex);
  for (Output& output : state->outputs) output.Write(record, line.View());
  for (const NumberedListener& each : state->listeners) {
    if (record.level >= each.lowestLevel) each.listener(record);
  }
}
