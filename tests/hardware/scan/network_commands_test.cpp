// The interface's name inside the command lines, with a real shell behind them.

#include <string>

#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "support/temporary_folder.h"

using HardwareInventory::ScanNetworkAdapter;
using HardwareInventory::ShellWord;
using HardwareInventory::ShellWordInBackQuotes;

namespace {

// Answers what it was told and lets the live machine run everything else, with functions instead of
// the tools that a test machine may lack.
class LiveBehindTable : public scan_test::FakeMachine {
 public:
  KorCommandResult RunCommand(const KorString& command) override {
    if (results.contains(command.Str())) return FakeMachine::RunCommand(command);
    ran.push_back(command.Str());
    return live.RunCommand(prologue + command);
  }
  KorLiveMachine live;
  KorString prologue;
};

class NetworkCommands : public testing::Test {
 protected:
  NetworkCommands() : previous(KorMachine::SetCurrent(&machine)) {}
  ~NetworkCommands() override { KorMachine::SetCurrent(previous); }

  void ScanInterface(const std::string& name) {
    machine.Prints("/sbin/ifconfig -a", name + " Link encap:Ethernet  HWaddr 00:1a\n  UP  \n\n");
    ASSERT_TRUE(ScanNetworkAdapter(inventory));
    ASSERT_NE(Values(name), nullptr);
  }
  const ObjSetOf<ObjInstAttr>* Values(const std::string& name) const {
    const ObjInst* instance =
        inventory.Objects().Get("Network Adapter Configuration")->Instances().Get(KorString(name));
    return instance == nullptr ? nullptr : &instance->Attributes();
  }
  std::string Value(const std::string& name, const char* attribute) const {
    const ObjInstAttr* value = Values(name)->Get(attribute);
    return value == nullptr ? "<absent>" : value->GetValue().Str();
  }
  std::string Printed(const KorString& command) { return machine.live.RunCommand(command).output; }

  LiveBehindTable machine;
  ObjInv inventory{nullptr};

 private:
  KorMachine* previous;
};

const std::string kHostileNames[] = {
    "x;touch${IFS}pwned",     "x';touch${IFS}pwned;'", "x`touch${IFS}pwned`",
    "$(touch${IFS}pwned)",    "x\\';touch${IFS}pwned", "x\\`touch${IFS}pwned\\`",
    "x\";touch${IFS}pwned\"", "x|touch${IFS}pwned",    "x&touch${IFS}pwned&",
    "'`touch${IFS}pwned`'",
};

}  // namespace

TEST_F(NetworkCommands, HostileNameRunsNothing) {
  for (const std::string& name : kHostileNames) {
    SCOPED_TRACE(name);
    const TemporaryFolder folder;
    // Where the shell stands, "pwned" would be made.
    machine.prologue = "cd " + folder.Path() + " || exit; ";
    inventory.Clear();

    ScanInterface(name);

    EXPECT_EQ(folder.CountEntries(), 0U);
  }
}

TEST_F(NetworkCommands, HostileNameWouldRunWithoutQuotes) {
  const TemporaryFolder folder;

  machine.live.RunCommand("cd " + folder.Path() +
                          " || exit; route | grep x;touch${IFS}pwned$ | cat");

  EXPECT_EQ(folder.CountEntries(), 1U);
}

TEST_F(NetworkCommands, PlainNamesStandAsTheyAre) {
  for (const char* name : {"eth0", "eth0.100", "eth0:1", "veth1@if2", "br_lan-0", "ETH9"}) {
    EXPECT_EQ(ShellWord(name).Str(), name);
    EXPECT_EQ(ShellWordInBackQuotes(name).Str(), name);
  }
}

TEST_F(NetworkCommands, OtherNamesAreQuoted) {
  EXPECT_EQ(ShellWord("x;touch${IFS}pwned").Str(), "'x;touch${IFS}pwned'");
  EXPECT_EQ(ShellWord("it's").Str(), "'it'\\''s'");
  EXPECT_EQ(ShellWord("a/b").Str(), "'a/b'");
  EXPECT_EQ(ShellWord("a\xc3\xa4").Str(), "'a\xc3\xa4'");
  EXPECT_EQ(ShellWord("").Str(), "''");
}

TEST_F(NetworkCommands, ShellReadsExactlyTheQuotedBytes) {
  for (const std::string& name : kHostileNames) {
    EXPECT_EQ(Printed("printf %s " + ShellWord(KorString(name))), name);
    EXPECT_EQ(
        Printed("x=`printf %s " + ShellWordInBackQuotes(KorString(name)) + "`; printf %s \"$x\""),
        name);
  }
}

TEST_F(NetworkCommands, RouteFilterTakesInterfacesThatEndInTheName) {
  machine.prologue =
      "route() { printf '%s\\n' 'Kernel IP routing table'"
      " 'default         10.9.9.1        0.0.0.0         UG    0      0        0 veth1'"
      " 'default         192.168.1.1     0.0.0.0         UG    0      0        0 eth1'"
      " '192.168.1.0     *               255.255.255.0   U     0      0        0 eth10'; }; ";

  ScanInterface("eth1");

  EXPECT_EQ(Value("eth1", "DefaultIPGateway"), "10.9.9.1");
}

TEST_F(NetworkCommands, RouteFilterDropsGatewaysThatAreStars) {
  machine.prologue =
      "route() { printf '%s\\n'"
      " '192.168.1.0     *               255.255.255.0   U     0      0        0 eth1'"
      " 'default         192.168.1.1     0.0.0.0         UG    0      0        0 eth1'; }; ";

  ScanInterface("eth1");

  EXPECT_EQ(Value("eth1", "DefaultIPGateway"), "192.168.1.1");
}

TEST_F(NetworkCommands, SlotOfTheInterfaceReachesTheDeviceListing) {
  machine.prologue =
      "file() { echo '/sys/bus/pci/devices/0000:02:00.0/net/eth1: directory'; }; "
      "lspci() { echo \"$2 Ethernet controller: Example EN-1000\" | cut -d : -f2-; }; ";

  ScanInterface("eth1");

  EXPECT_EQ(Value("eth1", "Description"), "Example EN-1000");
}
