// The names and the listing of a delivery queue's folder.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

inline constexpr std::string_view kMeaningSuffix = ".json";
inline constexpr std::string_view kPayloadSuffix = ".payload";
inline constexpr std::string_view kReasonSuffix = ".reason.txt";

// 20 digits, "-", a UUID.
std::string MakeItemId(uint64_t sequence);
bool IsItemId(std::string_view text);
uint64_t SequenceOf(std::string_view id);

// What belongs to a queue in a folder; everything else there is left alone.
struct QueueListing {
  struct Parts {
    bool hasMeaning = false;
    bool hasPayload = false;
  };
  std::map<std::string, Parts> items;  // by id
  std::vector<std::string> temporary;  // names of files that were being written
  uint64_t bytes = 0;
};
// A failure unless all of it could be looked at.
Result<QueueListing> ListQueueFolder(const KorString& folder);

}  // namespace agent
