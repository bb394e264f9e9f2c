#include "kor/zip_archive.h"

#include <zip.h>

#include <array>
#include <string_view>

#include "kor/atomic_file.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "kor/late_function.h"

// libzip, loaded when it is first called.
namespace late_zip {

const KorLateFunction<decltype(&::zip_discard)> zip_discard{"zip_discard"};
const KorLateFunction<decltype(&::zip_error_code_zip)> zip_error_code_zip{"zip_error_code_zip"};
const KorLateFunction<decltype(&::zip_error_fini)> zip_error_fini{"zip_error_fini"};
const KorLateFunction<decltype(&::zip_error_init_with_code)> zip_error_init_with_code{
    "zip_error_init_with_code"};
const KorLateFunction<decltype(&::zip_error_strerror)> zip_error_strerror{"zip_error_strerror"};
const KorLateFunction<decltype(&::zip_fclose)> zip_fclose{"zip_fclose"};
const KorLateFunction<decltype(&::zip_file_get_error)> zip_file_get_error{"zip_file_get_error"};
const KorLateFunction<decltype(&::zip_fopen_index)> zip_fopen_index{"zip_fopen_index"};
const KorLateFunction<decltype(&::zip_fread)> zip_fread{"zip_fread"};
const KorLateFunction<decltype(&::zip_get_error)> zip_get_error{"zip_get_error"};
const KorLateFunction<decltype(&::zip_get_num_entries)> zip_get_num_entries{"zip_get_num_entries"};
const KorLateFunction<decltype(&::zip_open)> zip_open{"zip_open"};
const KorLateFunction<decltype(&::zip_stat_index)> zip_stat_index{"zip_stat_index"};

}  // namespace late_zip

namespace {

using late_zip::zip_discard;
using late_zip::zip_error_code_zip;
using late_zip::zip_error_fini;
using late_zip::zip_error_init_with_code;
using late_zip::zip_error_strerror;
using late_zip::zip_fclose;
using late_zip::zip_file_get_error;
using late_zip::zip_fopen_index;
using late_zip::zip_fread;
using late_zip::zip_get_error;
using late_zip::zip_get_num_entries;
using late_zip::zip_open;
using late_zip::zip_stat_index;

constexpr uint64_t kMaximumSize = 64 * 1024 * 1024;

struct Discard {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct CloseEntry {
  void operator()(zip_file_t* entry) const { zip_fclose(entry); }
};
using Archive = std::unique_ptr<zip_t, Discard>;
using Entry = std::unique_ptr<zip_file_t, CloseEntry>;

Archive Open(const KorString& path, int& error) {
  if (!PathIsUsable(path)) {
    error = ZIP_ER_NOENT;
  } else if (!KorTransferLibrariesAreThere()) {
    error = ZIP_ER_OPNOTSUPP;
  } else {
    return Archive(zip_open(path.CStr(), ZIP_RDONLY, &error));
  }
  return nullptr;
}

zip_uint64_t CountEntries(zip_t* archive) {
  return static_cast<zip_uint64_t>(zip_get_num_entries(archive, 0));
}

int LastErrorOf(zip_t* archive) {
  return zip_error_code_zip(zip_get_error(archive));
}

// Why an extraction failed.
struct Failure {
  int code = ZIP_ER_OK;
  KorString reason;
};

Failure FailureOf(int code) {
  zip_error_t error;
  zip_error_init_with_code(&error, code);
  Failure failure{code, KorString(zip_error_strerror(&error))};
  zip_error_fini(&error);
  return failure;
}

// Links, devices and the like are not told apart: whatever an entry calls itself, its content is
// all that is ever written.
Failure CheckEntry(zip_t* archive, zip_uint64_t index) {
  zip_stat_t status;
  if (zip_stat_index(archive, index, 0, &status) != 0) return FailureOf(LastErrorOf(archive));
  constexpr zip_uint64_t kNeeded = ZIP_STAT_NAME | ZIP_STAT_ENCRYPTION_METHOD;
  if ((status.valid & kNeeded) != kNeeded) return FailureOf(ZIP_ER_INCONS);
  if (status.encryption_method != ZIP_EM_NONE) return {ZIP_ER_ENCRNOTSUPP, "it is encrypted"};
  if (std::string_view(status.name).ends_with('/')) return {ZIP_ER_INVAL, "it is a folder"};
  return {};
}

// The size that the archive states is not asked: what counts is what comes out.
Failure Inflate(zip_file_t* entry, KorAtomicFile& file) {
  std::array<char, 16 * 1024> chunk;
  uint64_t total = 0;
  for (;;) {
    const zip_int64_t count = zip_fread(entry, chunk.data(), chunk.size());
    if (count < 0) return FailureOf(zip_error_code_zip(zip_file_get_error(entry)));
    if (count == 0) return {};
    total += static_cast<uint64_t>(count);
    if (total > kMaximumSize) return {ZIP_ER_INVAL, "it is larger than 64 MiB"};
    file.Write(std::string_view(chunk.data(), static_cast<size_t>(count)));
  }
}

Failure ExtractEntry(zip_t* archive, zip_uint64_t index, const KorString& path) {
  if (const Failure failure = CheckEntry(archive, index); failure.code != ZIP_ER_OK) return failure;
  const Entry entry(zip_fopen_index(archive, index, 0));
  if (!entry) return FailureOf(LastErrorOf(archive));
  KorAtomicFile file(path);
  if (const Failure failure = Inflate(entry.get(), file); failure.code != ZIP_ER_OK) return failure;
  if (!file.Commit()) return {ZIP_ER_WRITE, file.Error()};
  return {};
}

}  // namespace

struct ZipArchive::State {
  KorString path;
  Archive archive;
  int error = ZIP_ER_OK;
};

ZipArchive::ZipArchive(const KorString& path, int) : state(std::make_unique<State>()) {
  state->path = path;
  state->archive = Open(path, state->error);
}

ZipArchive::~ZipArchive() = default;

int ZipArchive::GetLastError() const {
  return state->error;
}

uint64_t ZipArchive::GetCount() const {
  return state->archive ? CountEntries(state->archive.get()) : 0;
}

bool ZipArchive::Extract(uint64_t n, const KorString& path) {
  if (!state->archive) return false;
  const bool isEntry = n >= 1 && n <= GetCount();
  const Failure failure = isEntry ? ExtractEntry(state->archive.get(), n - 1, path)
                                  : Failure{ZIP_ER_NOENT, "there is no such entry"};
  if (failure.code == ZIP_ER_OK) return true;
  state->error = failure.code;
  KorFrameworkLog().WarningWithNL("Cannot extract entry %gu of '%S': %S", n, state->path,
                                  failure.reason);
  return false;
}

void ZipArchive::Close() {
  state->archive.reset();
  state->error = ZIP_ER_ZIPCLOSED;
}
