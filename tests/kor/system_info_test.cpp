#include "kor/system_info.h"

#include <gtest/gtest.h>

#include "kor/machine.h"

namespace {

class NamedMachine : public KorMachine {
 public:
  NamedMachine() : before(SetCurrent(this)) {}
  ~NamedMachine() override { SetCurrent(before); }

  KorCommandResult RunCommand(const KorString&) override { return {}; }
  bool FileExists(const KorString& path) override { return path == "/dev/there"; }
  KorString HostName() override { return "some-host"; }
  KorString DistributionName() override { return "Some Linux 1"; }

 private:
  KorMachine* before;
};

TEST(SystemInfo, AsksTheCurrentMachine) {
  const NamedMachine machine;
  EXPECT_EQ(NetworkSocket::GetLocalHostName(), "some-host");
  EXPECT_EQ(LinuxOSInfos().GetDistributionName(), "Some Linux 1");
  EXPECT_TRUE(MachineFileExists("/dev/there"));
  EXPECT_FALSE(MachineFileExists("/dev/null"));
}

TEST(SystemInfo, AsksTheLiveMachineWithoutAnother) {
  KorLiveMachine live;
  EXPECT_EQ(NetworkSocket::GetLocalHostName(), live.HostName());
  EXPECT_EQ(LinuxOSInfos().GetDistributionName(), live.DistributionName());
  EXPECT_TRUE(MachineFileExists("/dev/null"));
}

}  // namespace
