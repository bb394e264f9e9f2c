#include "kor/system_info.h"

#include "kor/machine.h"
#include "kor/trace.h"

KorString NetworkSocket::GetLocalHostName() {
  return KorMachine::Current().HostName();
}

KorString LinuxOSInfos::GetDistributionName() const {
  return KorMachine::Current().DistributionName();
}

bool MachineFileExists(const KorString& path) {
  const bool exists = KorMachine::Current().FileExists(path);
  if (KorTrace* const trace = KorTrace::Current()) trace->OnFile(path, exists);
  return exists;
}
