// What scanners tell a listener (kor/trace.h).

#include "kor/trace.h"

#include <map>

#include "hardware/filter/hw_filter.h"
#include "hardware/inventory/scan_run.h"
#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

namespace {

// Writes down in short what it is told.
class Notes : public KorTrace {
 public:
  Notes() : before(SetCurrent(this)) {}
  ~Notes() override { SetCurrent(before); }

  void OnCommand(const KorString& command, const KorCommandResult& result) override {
    lines.push_back("command " + command.Str() + " " + std::to_string(result.status));
  }
  void OnFile(const KorString& path, bool exists) override {
    lines.push_back("file " + path.Str() + (exists ? " yes" : " no"));
  }
  void OnClasses(std::span<const std::string_view> names) override {
    std::string line = "classes";
    for (const std::string_view name : names) line += " [" + std::string(name) + "]";
    lines.push_back(line);
  }
  void OnClassSkipped(std::string_view name, std::string_view why) override {
    lines.push_back("skipped " + std::string(name) + ": " + std::string(why));
  }
  void OnInstance(const void* instance, std::string_view className,
                  std::string_view name) override {
    instances[instance] = std::string(className) + "/" + std::string(name);
  }
  void OnTextSkipped(std::string_view className, const KorTraceSource& source) override {
    lines.push_back("no " + std::string(className) + " in " + std::string(source.text));
  }
  void OnValue(const KorTraceValue& value) override {
    std::string line = instances.at(value.instance) + "/" + std::string(value.attribute);
    line += value.value == nullptr ? " absent" : " = " + value.value->Str();
    for (const KorTraceSource& source : value.sources) {
      line += " <" + std::string(source.command) + "|" + std::string(source.text) + "|" +
              std::string(source.pattern) + ">";
    }
    if (value.how != nullptr) line += std::string(" ") + value.how;
    lines.push_back(line);
  }

  std::vector<std::string> lines;

 private:
  std::map<const void*, std::string> instances;
  KorTrace* before;
};

class ScanTrace : public scan_test::ScanTest {};

}  // namespace

TEST_F(ScanTrace, MemoryTellsCommandTextAndPatternOfEachValue) {
  machine.Prints("cat /proc/meminfo", "MemTotal: 2054352 kB\nSwapTotal: 0 kB\n");
  const Notes notes;

  HardwareInventory::ScanPhysicalMemory(inventory);

  const std::string text = "<cat /proc/meminfo|MemTotal: 2054352 kB\nSwapTotal: 0 kB\n|";
  EXPECT_EQ(notes.lines,
            (std::vector<std::string>{"classes [Physical Memory]", "command cat /proc/meminfo 0",
                                      "Physical Memory/0/Capacity = 2006 " + text +
                                          R"re(^MemTotal\s*:\s*(\d+)\s*([a-z]+)\s*\n> )re" +
                                          "in megabytes of 1,048,576 bytes, truncated",
                                      "Physical Memory/0/Swap Space absent " + text +
                                          R"re(^SwapTotal\s*:\s*(\d+)\s*([a-z]+)\s*\n> )re" +
                                          "0 stands for not known and is not written"}));
}

TEST_F(ScanTrace, PartitionTellsTheLinesThatAreNone) {
  machine.Prints("/bin/df -TP -B 1000", "Filesystem Type\n/dev/sda1 ext4 2000 1 1000 1% /\n");
  const Notes notes;

  HardwareInventory::ScanLogicalDisk(inventory);

  ASSERT_EQ(notes.lines.size(), 10U);
  EXPECT_EQ(notes.lines[2], "no Logical Disk in Filesystem Type");
  EXPECT_EQ(notes.lines[5], "Logical Disk/sda1/Type = Disk the same for every partition");
  EXPECT_EQ(notes.lines[9],
            "Logical Disk/sda1/Free Percentage = 50 "
            "</bin/df -TP -B 1000|/dev/sda1 ext4 2000 1 1000 1% /|^\\S+\\s+\\S+\\s+(\\d+)> "
            "</bin/df -TP -B 1000|/dev/sda1 ext4 2000 1 1000 1% /|^(?:\\S+\\s+){4,4}(\\d+)> "
            "FreeSpace in percent of Size, truncated");
}

TEST_F(ScanTrace, FileThatIsNotThereIsTold) {
  const Notes notes;

  HardwareInventory::ScanKeyboard(inventory);

  EXPECT_EQ(notes.lines,
            (std::vector<std::string>{"classes [Keyboard]", "file /etc/sysconfig/keyboard no"}));
}

TEST_F(ScanTrace, ClassesThatAreLeftOutAreTold) {
  const Notes notes;

  HardwareInventory::ScanSystem(inventory);
  HardwareInventory::ScanDesktopMonitor(inventory);

  ASSERT_GE(notes.lines.size(), 2U);
  EXPECT_EQ(notes.lines[notes.lines.size() - 2],
            "skipped Computer System Product: it is left out when BIOS fails");
  EXPECT_EQ(notes.lines.back(), "skipped Desktop Monitor: nothing examines monitors");
}

TEST_F(ScanTrace, ListenerChangesNoDocument) {
  const auto scan = [](ObjInv& document) {
    for (const auto& scanner : HardwareInventory::Scanners()) scanner.scan(document);
  };
  machine.Prints("cat /proc/meminfo", "MemTotal: 2054352 kB\n");
  machine.Prints("/bin/df -TP -B 1000", "/dev/sda1 ext4 2000 1 1000 1% /\n");
  machine.Prints("/sbin/ifconfig -a", "eth0  Link encap:Ethernet  HWaddr 00:11\n  UP \n");
  machine.Prints(R"sh(lspci | grep "VGA\|Video")sh", "01:00.0 VGA: Board (rev 1)\n");
  ObjInv traced(nullptr);
  {
    const Notes notes;
    scan(traced);
    EXPECT_GT(notes.lines.size(), 40U);
  }

  scan(inventory);

  EXPECT_TRUE(SameDocuments(inventory, traced));
}
