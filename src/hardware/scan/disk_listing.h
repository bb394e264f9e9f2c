// The listing of mounted file systems that both disk scanners read.

#pragma once

#include <cstdint>

#include "hardware/scan/toolkit.h"
#include "kor/string.h"

namespace HardwareInventory {

// One line per file system, with the type column, sizes in blocks of 1000 bytes.
inline constexpr const char* kDiskListingCommand = "/bin/df -TP -B 1000";

inline constexpr const char* kTotalBlocksPattern = R"re(^\S+\s+\S+\s+(\d+))re";
inline constexpr const char* kFreeBlocksPattern = R"re(^(?:\S+\s+){4,4}(\d+))re";

// The column that the pattern captures, in units of 1,000,000 bytes, truncated; 0 when the line
// lacks it.
uint64_t DiskMegabytes(const KorString& line, const KorString& pattern);

// Calls visit(const KorString&) for each line of the listing without the blanks around it.
template <typename Visit>
void ForEachDiskLine(const KorString& listing, Visit visit) {
  ForEachPiece(listing, "\n", [&visit](KorString line) {
    line.Trim();
    visit(line);
  });
}

}  // namespace HardwareInventory
