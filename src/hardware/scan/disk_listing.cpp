#include "hardware/scan/disk_listing.h"

#include "kor/regex.h"
#include "kor/vector.h"

namespace HardwareInventory {

uint64_t DiskMegabytes(const KorString& line, const KorString& pattern) {
  KorVector<KorString> groups;
  if (FindPcre(line, pattern, groups) == 0) return 0;
  return groups[0].ToUINT64() / 1000;
}

}  // namespace HardwareInventory
