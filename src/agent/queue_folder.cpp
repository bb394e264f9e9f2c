#include "agent/queue_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <uuid/uuid.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <memory>

#include "kor/string.h"

namespace agent {
namespace {

constexpr size_t kSequenceDigits = 20;
constexpr size_t kUuidLength = UUID_STR_LEN - 1;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// The id before the suffix; empty when the name is none of the queue's.
std::string IdOf(std::string_view name, std::string_view suffix) {
  if (!name.ends_with(suffix)) return {};
  name.remove_suffix(suffix.size());
  return IsItemId(name) ? std::string(name) : std::string();
}

void Note(QueueListing& listing, std::string_view name) {
  if (name.starts_with('.') && name.ends_with(".tmp")) {
    listing.temporary.emplace_back(name);
  } else if (const std::string meaning = IdOf(name, kMeaningSuffix); !meaning.empty()) {
    listing.items[meaning].hasMeaning = true;
  } else if (const std::string payload = IdOf(name, kPayloadSuffix); !payload.empty()) {
    listing.items[payload].hasPayload = true;
  }
}

// With the reason in errno.
Failure CannotBeRead(const KorString& path) {
  Failure failure;
  failure.reason.Printf("the folder '%S' cannot be read: %s", path, std::strerror(errno));
  return failure;
}

}  // namespace

std::string MakeItemId(uint64_t sequence) {
  uuid_t bytes;
  uuid_generate_random(bytes);
  std::array<char, UUID_STR_LEN> uuid = {};
  uuid_unparse_lower(bytes, uuid.data());
  std::string digits = std::to_string(sequence);
  digits.insert(0, kSequenceDigits - digits.size(), '0');
  return digits + "-" + uuid.data();
}

bool IsItemId(std::string_view text) {
  if (text.size() != kSequenceDigits + 1 + kUuidLength || text[kSequenceDigits] != '-') {
    return false;
  }
  for (const char byte : text.substr(0, kSequenceDigits)) {
    if (byte < '0' || byte > '9') return false;
  }
  uuid_t bytes;
  return uuid_parse(std::string(text.substr(kSequenceDigits + 1)).c_str(), bytes) == 0;
}

uint64_t SequenceOf(std::string_view id) {
  uint64_t sequence = 0;
  std::from_chars(id.data(), id.data() + kSequenceDigits, sequence);
  return sequence;
}

Result<QueueListing> ListQueueFolder(const KorString& path) {
  const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.CStr()));
  if (!folder) return CannotBeRead(path);
  QueueListing listing;
  errno = 0;
  while (const dirent* const entry = readdir(folder.get())) {
    struct stat status;
    if (fstatat(dirfd(folder.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
      // It may have gone since.
      if (errno != ENOENT) return CannotBeRead(path);
    } else if (S_ISREG(status.st_mode)) {
      listing.bytes += static_cast<uint64_t>(status.st_size);
      Note(listing, entry->d_name);
    }
    errno = 0;
  }
  if (errno != 0) return CannotBeRead(path);
  return listing;
}

}  // namespace agent
