// Preloaded into a program, makes one call of one kind fail: the n-th since main began, in that
// program and not in those that it starts. fault_report.h says how it is told what to do.
//
// With a sanitizer, whose own library stands behind this one, every real call is found there.

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

#include "fault_report.h"

namespace {

enum class Kind { kNone, kAllocation, kWrite, kSync, kRename, kOpen, kSpawn, kThread, kStat };

constexpr std::string_view kKindNames[] = {"none", "allocation", "write",  "sync", "rename",
                                           "open", "spawn",      "thread", "stat"};
constexpr int kMostFrames = 48;
// Of the library itself.
constexpr int kOwnFrames = 2;

Kind kind = Kind::kNone;
uint64_t number = 0;
int error = EIO;
int depth = 0;
FaultReport* report = nullptr;
bool hasMainBegun = false;

thread_local bool isInside = false;

// Nothing that the library itself causes counts.
class Inside {
 public:
  Inside() { isInside = true; }
  ~Inside() { isInside = false; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;
};

uint64_t NumberOf(const char* name) {
  const char* const text = getenv(name);
  return text == nullptr ? 0 : strtoull(text, nullptr, 10);
}

Kind KindNamed(const char* text) {
  const auto* const found =
      std::find(std::begin(kKindNames), std::end(kKindNames), std::string_view(text));
  return found == std::end(kKindNames) ? Kind::kNone : Kind(found - std::begin(kKindNames));
}

FaultReport* MapReport(const char* path) {
  const int descriptor = open(path, O_RDWR | O_CLOEXEC);
  if (descriptor == -1) return nullptr;
  void* memory = MAP_FAILED;
  if (ftruncate(descriptor, sizeof(FaultReport)) == 0) {
    memory = mmap(nullptr, sizeof(FaultReport), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  }
  close(descriptor);
  // A file of zeros is a report of nothing.
  return memory == MAP_FAILED ? nullptr : static_cast<FaultReport*>(memory);
}

__attribute__((constructor)) void Begin() {
  const char* const path = getenv(kFaultReport);
  const char* const name = getenv(kFaultKind);
  // Those that the program starts are none of our business.
  unsetenv("LD_PRELOAD");
  if (path == nullptr || name == nullptr) return;
  // The first call loads a library.
  void* frame = nullptr;
  backtrace(&frame, 1);
  report = MapReport(path);
  if (report == nullptr) {
    std::fprintf(stderr, "fault_library: the report '%s' cannot be mapped\n", path);
    _exit(126);
  }
  kind = KindNamed(name);
  number = NumberOf(kFaultNumber);
  depth = static_cast<int>(std::min<uint64_t>(NumberOf(kFaultDepth), kMostFrames - kOwnFrames));
  if (const uint64_t given = NumberOf(kFaultError)) error = static_cast<int>(given);
}

void NotePlace(uint64_t call) {
  void* frames[kMostFrames];
  const int count = backtrace(frames, depth + kOwnFrames);
  uint64_t key = 14695981039346656037ULL;
  for (int index = kOwnFrames; index < count; ++index) {
    key = (key ^ reinterpret_cast<uintptr_t>(frames[index])) * 1099511628211ULL;
  }
  if (key == 0) key = 1;
  const size_t size = report->places.size();
  for (size_t step = 0; step < size; ++step) {
    FaultPlace& place = report->places[(key + step) % size];
    uint64_t expected = 0;
    if (place.key.compare_exchange_strong(expected, key)) place.firstCall = call;
    if (expected == 0 || expected == key) return;
  }
}

void DescribeFailure(const char* function, const char* file) {
  std::snprintf(report->what.data(), report->what.size(), "%s%s%s", function,
                file == nullptr ? "" : " ", file == nullptr ? "" : file);
  void* frames[kMostFrames];
  const int count = backtrace(frames, kMostFrames);
  size_t used = 0;
  for (int index = kOwnFrames; index < count; ++index) {
    Dl_info info = {};
    if (dladdr(frames[index], &info) == 0 || info.dli_fname == nullptr) continue;
    const int written =
        std::snprintf(report->trace.data() + used, report->trace.size() - used, "%s %s +0x%zx\n",
                      info.dli_fname, info.dli_sname == nullptr ? "?" : info.dli_sname,
                      static_cast<size_t>(static_cast<char*>(frames[index]) -
                                          static_cast<char*>(info.dli_fbase)));
    used = std::min(used + static_cast<size_t>(std::max(written, 0)), report->trace.size() - 1);
  }
}

// Whether this call is the one that fails; errno is then set.
__attribute__((noinline)) bool Fails(Kind called, const char* function,
                                     const char* file = nullptr) {
  if (called != kind || !hasMainBegun || isInside) return false;
  const Inside inside;
  const uint64_t call = ++report->calls;
  if (depth > 0) NotePlace(call);
  if (call != number) return false;
  DescribeFailure(function, file);
  report->failed = true;
  errno = error;
  return true;
}

template <typename Function>
Function* Real(Function* /*sameType*/, const char* name) {
  const Inside inside;
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// What is not there cannot be opened anyway.
bool CanOpen(int folder, const char* path, bool creates) {
  const int before = errno;
  const bool isThere = creates || faccessat(folder, path, F_OK, 0) == 0;
  errno = before;
  return isThere;
}

bool OpenFails(const char* function, int folder, const char* path, bool creates) {
  if (kind != Kind::kOpen) return false;
  return CanOpen(folder, path, creates) && Fails(Kind::kOpen, function, path);
}

// Descriptors have no path, and what is asked of them is known already.
bool StatFails(const char* function, const char* path) {
  return path != nullptr && *path != '\0' && Fails(Kind::kStat, function, path);
}

// There is nobody to tell of a failure on standard error, and an eventfd has no disk to be full.
bool WriteFails(const char* function, int descriptor) {
  if (kind != Kind::kWrite || descriptor == STDERR_FILENO) return false;
  const int before = errno;
  struct stat status {};
  const bool hasType = fstat(descriptor, &status) == 0 && (status.st_mode & S_IFMT) != 0;
  errno = before;
  return hasType && Fails(Kind::kWrite, function);
}

bool TakesMode(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int (*realMain)(int, char**, char**) = nullptr;

int CountingMain(int argc, char** argv, char** environment) {
  hasMainBegun = report != nullptr;
  return realMain(argc, argv, environment);
}

}  // namespace

// The name again, of the function that would be called without this library.
#define REAL(name)                                  \
  []() noexcept {                                   \
    static auto* const real = Real(&(name), #name); \
    return real;                                    \
  }()

extern "C" {

// The ones of the system declare them with attributes that say more than a definition may.
#pragma GCC diagnostic ignored "-Wpedantic"

int __libc_start_main(int (*program)(int, char**, char**), int argc, char** argv, void (*init)(),
                      void (*fini)(), void (*loaderFini)(), void* stackEnd) {
  realMain = program;
  auto* const real = Real(&__libc_start_main, "__libc_start_main");
  return real(CountingMain, argc, argv, init, fini, loaderFini, stackEnd);
}

#ifdef KOR_FAULTS_OF_NEW

// The sanitizer's operator new does not call malloc.
}
void* operator new(size_t size) {
  if (Fails(Kind::kAllocation, "new")) throw std::bad_alloc();
  using New = void*(size_t);
  static New* const real = Real(static_cast<New*>(nullptr), "_Znwm");
  return real(size);
}
extern "C" {

#else

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
  return Fails(Kind::kAllocation, "malloc") ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
  return Fails(Kind::kAllocation, "calloc") ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
  return Fails(Kind::kAllocation, "realloc") ? nullptr : __libc_realloc(memory, size);
}

void* aligned_alloc(size_t alignment, size_t size) {
  return Fails(Kind::kAllocation, "aligned_alloc") ? nullptr : __libc_memalign(alignment, size);
}

void* memalign(size_t alignment, size_t size) {
  return Fails(Kind::kAllocation, "memalign") ? nullptr : __libc_memalign(alignment, size);
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
  if (Fails(Kind::kAllocation, "posix_memalign")) return ENOMEM;
  void* const found = __libc_memalign(alignment, size);
  if (found == nullptr) return ENOMEM;
  *memory = found;
  return 0;
}

#endif

ssize_t write(int descriptor, const void* bytes, size_t count) {
  if (WriteFails("write", descriptor)) return -1;
  return REAL(write)(descriptor, bytes, count);
}

ssize_t pwrite(int descriptor, const void* bytes, size_t count, off_t offset) {
  if (WriteFails("pwrite", descriptor)) return -1;
  return REAL(pwrite)(descriptor, bytes, count, offset);
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t count, off64_t offset) {
  if (WriteFails("pwrite64", descriptor)) return -1;
  return REAL(pwrite64)(descriptor, bytes, count, offset);
}

ssize_t writev(int descriptor, const iovec* pieces, int count) {
  if (WriteFails("writev", descriptor)) return -1;
  return REAL(writev)(descriptor, pieces, count);
}

size_t fwrite(const void* bytes, size_t size, size_t count, FILE* file) {
  if (file != stderr && Fails(Kind::kWrite, "fwrite")) return 0;
  return REAL(fwrite)(bytes, size, count, file);
}

int fflush(FILE* file) {
  // What the agent prints goes past this buffer.
  if (file != stderr && file != stdout && Fails(Kind::kWrite, "fflush")) return EOF;
  return REAL(fflush)(file);
}

int fsync(int descriptor) {
  return Fails(Kind::kSync, "fsync") ? -1 : REAL(fsync)(descriptor);
}

int fdatasync(int descriptor) {
  return Fails(Kind::kSync, "fdatasync") ? -1 : REAL(fdatasync)(descriptor);
}

int rename(const char* from, const char* to) {
  return Fails(Kind::kRename, "rename", to) ? -1 : REAL(rename)(from, to);
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) {
  if (Fails(Kind::kRename, "renameat", to)) return -1;
  return REAL(renameat)(fromFolder, from, toFolder, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) {
  if (Fails(Kind::kRename, "renameat2", to)) return -1;
  return REAL(renameat2)(fromFolder, from, toFolder, to, flags);
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = TakesMode(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return OpenFails("open", AT_FDCWD, path, (flags & O_CREAT) != 0) ? -1
                                                                   : REAL(open)(path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = TakesMode(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return OpenFails("open64", AT_FDCWD, path, (flags & O_CREAT) != 0)
             ? -1
             : REAL(open64)(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = TakesMode(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return OpenFails("openat", folder, path, (flags & O_CREAT) != 0)
             ? -1
             : REAL(openat)(folder, path, flags, mode);
}

int openat64(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = TakesMode(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return OpenFails("openat64", folder, path, (flags & O_CREAT) != 0)
             ? -1
             : REAL(openat64)(folder, path, flags, mode);
}

// What fortified callers call.

int __open_2(const char* path, int flags) {
  return open(path, flags);
}

int __open64_2(const char* path, int flags) {
  return open64(path, flags);
}

FILE* fopen(const char* path, const char* mode) {
  return OpenFails("fopen", AT_FDCWD, path, *mode != 'r') ? nullptr : REAL(fopen)(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
  return OpenFails("fopen64", AT_FDCWD, path, *mode != 'r') ? nullptr : REAL(fopen64)(path, mode);
}

int stat(const char* path, struct stat* status) {
  return StatFails("stat", path) ? -1 : REAL(stat)(path, status);
}

int stat64(const char* path, struct stat64* status) {
  return StatFails("stat64", path) ? -1 : REAL(stat64)(path, status);
}

int lstat(const char* path, struct stat* status) {
  return StatFails("lstat", path) ? -1 : REAL(lstat)(path, status);
}

int lstat64(const char* path, struct stat64* status) {
  return StatFails("lstat64", path) ? -1 : REAL(lstat64)(path, status);
}

int fstatat(int folder, const char* path, struct stat* status, int flags) {
  return StatFails("fstatat", path) ? -1 : REAL(fstatat)(folder, path, status, flags);
}

int fstatat64(int folder, const char* path, struct stat64* status, int flags) {
  return StatFails("fstatat64", path) ? -1 : REAL(fstatat64)(folder, path, status, flags);
}

int statx(int folder, const char* path, int flags, unsigned mask, struct statx* status) {
  return StatFails("statx", path) ? -1 : REAL(statx)(folder, path, flags, mask, status);
}

int eventfd(unsigned count, int flags) {
  return Fails(Kind::kOpen, "eventfd") ? -1 : REAL(eventfd)(count, flags);
}

int pipe2(int* ends, int flags) {
  return Fails(Kind::kOpen, "pipe2") ? -1 : REAL(pipe2)(ends, flags);
}

int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const* arguments,
                char* const* environment) {
  if (Fails(Kind::kSpawn, "posix_spawn", path)) return error;
  return REAL(posix_spawn)(process, path, actions, attributes, arguments, environment);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) {
  if (Fails(Kind::kThread, "pthread_create")) return error;
  return REAL(pthread_create)(thread, attributes, body, argument);
}

}  // extern "C"
