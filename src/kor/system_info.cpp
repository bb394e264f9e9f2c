#include "kor/system_info.h"

#include "kor/machine.h"

KorString NetworkSocket::GetLocalHostName() {
  return KorMachine::Current().HostName();
}

KorString LinuxOSInfos::GetDistributionName() const {
  return KorMachine::Current().DistributionName();
}

bool MachineFileExists(const KorString& path) {
  return KorMachine::Current().FileExists(path);
}
