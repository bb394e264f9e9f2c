// Names of the current machine (kor/machine.h).

#pragma once

#include "kor/string.h"

class NetworkSocket {
 public:
  static KorString GetLocalHostName();
};

class LinuxOSInfos {
 public:
  // A name for people, such as "Debian GNU/Linux 12 (bookworm)".
  KorString GetDistributionName() const;
};

// Whether the file exists on the current machine. The agent's own files are asked for with
// FileExists (kor/file.h).
bool MachineFileExists(const KorString& path);
