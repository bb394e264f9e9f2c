// Everything that scanners tell a listener of three machines, word by word: people read it. CMake
// gives the absolute path: KOR_SOURCE_DIR.

#include <map>

#include "hardware/inventory/scan_run.h"
#include "hardware/scan/fake_machine.h"
#include "kor/trace.h"
#include "support/temporary_folder.h"

namespace {

// Line ends as the two characters that stand for them in C++.
std::string OnOneLine(std::string_view text) {
  std::string line;
  for (const char c : text) line += c == '\n' ? std::string("\\n") : std::string(1, c);
  return line;
}

class Listener : public KorTrace {
 public:
  Listener() : before(SetCurrent(this)) {}
  ~Listener() override { SetCurrent(before); }

  void OnClasses(std::span<const std::string_view> names) override {
    told += "classes:";
    for (const std::string_view name : names) told.append(" ").append(name);
    told += "\n";
  }
  void OnClassSkipped(std::string_view name, std::string_view why) override {
    told.append("skipped ").append(name).append(": ").append(why).append("\n");
  }
  void OnInstance(const void* instance, std::string_view className,
                  std::string_view name) override {
    instances[instance] = std::string(className) + "/" + std::string(name);
  }
  void OnTextSkipped(std::string_view className, const KorTraceSource& source) override {
    told.append("no ").append(className).append("\n");
    Add(source);
  }
  void OnValue(const KorTraceValue& value) override {
    told.append(instances.at(value.instance)).append("/").append(value.attribute);
    told += value.value == nullptr ? std::string(" absent") : " = " + OnOneLine(value.value->Str());
    if (value.how != nullptr) told.append(": ").append(value.how);
    told += "\n";
    for (const KorTraceSource& source : value.sources) Add(source);
  }

  std::string told;

 private:
  void Add(const KorTraceSource& source) {
    told.append("    ").append(source.command).append("\n");
    told.append("      ").append(OnOneLine(source.text)).append("\n");
    if (source.pattern.empty()) {
      EXPECT_EQ(source.options, 0);
      EXPECT_FALSE(source.everyMatch);
      return;
    }
    told.append("      ").append(source.pattern).append(" ").append(std::to_string(source.options));
    told += source.everyMatch ? " every\n" : "\n";
  }

  std::map<const void*, std::string> instances;
  KorTrace* before;
};

class ScanExplanations : public scan_test::ScanTest {
 protected:
  std::string Explanations() {
    Listener listener;
    for (const auto& scanner : HardwareInventory::Scanners()) scanner.scan(inventory);
    return listener.told;
  }
  static std::string Expected(const std::string& name) {
    std::ifstream file(KOR_SOURCE_DIR "/tests/hardware/scan/explanations/" + name);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  void Install(const std::string& path, const std::string& text) {
    machine.files.insert(path);
    machine.Prints("cat " + path, text);
  }
  void PlayInterface(const std::string& name, const std::string& gateway, const std::string& pci) {
    machine.Prints(
        "route | grep " + name + R"sh($ | tr -s '[:blank:]' | cut -d ' ' -f2 | grep -v '*')sh",
        gateway);
    machine.Prints("lspci -s `file /sys/bus/pci/devices/*/net/" + name + " | cut -d / -f6`", pci);
  }

  static constexpr const char* kLeases =
      R"sh(cat `pgrep dhclient | xargs -i cat /proc/{}/cmdline | tr '\0' '\n' | grep .lease` | )sh"
      R"sh(cut -d '#' -f1 | grep "[{}]\|interface\|domain-name\|dhcp-server-identifier")sh";
  static constexpr const char* kXConfiguration =
      R"sh(cat /etc/X11/xorg.conf | cut -d '#' -f1 | tr -s '[:space:]')sh";
  static constexpr const char* kAdapters = R"sh(lspci | grep "VGA\|Video")sh";
};

}  // namespace

TEST_F(ScanExplanations, OfAMachineThatTellsEverything) {
  machine.Prints("cat /proc/uptime", "4711.08 9000.00\n");
  machine.Prints("/bin/uname -r", "6.1.0-9-amd64\n");
  machine.Prints("dmidecode -qs bios-vendor", "Example Firmware");
  machine.Prints("dmidecode -qs bios-release-date", "02/03/2012");
  machine.Prints("dmidecode -qs system-serial-number", "S-1");
  machine.Prints("dmidecode -qs bios-version", "F7");
  machine.Prints("dmidecode -t 0", "SMBIOS 2.7 present.\n\tBIOS Revision: 4.6\n");
  machine.Prints("dmidecode -qs system-product-name", "Machine 9");
  machine.Prints("dmidecode -qs system-uuid", "0A-1B");
  machine.Prints("dmidecode -qs system-manufacturer", "Example Works");
  machine.Prints("dmidecode -qs system-version", "v2");
  Install("/etc/sysconfig/keyboard", "KEYBOARDTYPE=\"pc\"\nKEYTABLE=\"fr\"\n");
  Install("/etc/sysconfig/mouse", "FULLNAME=\"Wheel Mouse\"\nXMOUSETYPE=\"ps2\"\n");
  machine.Prints("/bin/df -TP -B 1000",
                 "Filesystem Type 1000-blocks Used Available Capacity Mounted on\n"
                 "/dev/sda1 ext4 80000 20000 60000 25% /\n"
                 "/dev/sda2 ext3 4000 0 4000 0% /home\n"
                 "/dev/hdb1 vfat 900 100 800 12% /boot\n");
  machine.Prints("/sbin/ifconfig -a",
                 "eth0      Link encap:Ethernet  HWaddr 00:16:3e:00:00:01\n"
                 "          inet addr:10.0.0.5  Bcast:10.0.0.255  Mask:255.255.255.0\n"
                 "          inet6 addr: fe80::1/64 Scope:Link\n"
                 "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1\n");
  machine.Prints(kLeases,
                 "lease {\n  interface \"eth0\";\n  option domain-name \"example.org\";\n"
                 "  option dhcp-server-identifier 10.0.0.1;\n}\n");
  PlayInterface("eth0", "10.0.0.254\n10.0.0.253\n", "02:00.0 Ethernet controller: Example NIC");
  machine.Prints(kAdapters, "01:00.0 VGA compatible controller: nVidia GF100 (rev a3)\n");
  machine.Prints(R"sh(pgrep -f "bin/X |bin/X$")sh", "812\n");
  machine.Prints("cat /proc/driver/nvidia/version",
                 "NVRM version: NVIDIA UNIX x86_64 Kernel Module  304.54  "
                 "Sat Sep 29 00:05:49 PDT 2012\nGCC version: 4.7\n");
  machine.Prints(kXConfiguration,
                 "Section \"Device\"\n Identifier \"Card0\"\n Driver \"nvidia\"\n"
                 " BoardName \"GF100\"\nEndSection\n"
                 "Section \"Screen\"\n Device \"Card0\"\n Depth 24\n"
                 " Option \"metamodes\" \"1280x1024_60 +0+0\"\nEndSection\n");
  machine.Prints("grep Memory /var/log/Xorg.0.log* | grep -i nVidia",
                 "(--) NVIDIA(0): Memory: 1048576 kB\n");
  machine.Prints("cat /proc/meminfo", "MemTotal: 2054352 kB\nSwapTotal: 1 GB\n");
  machine.Prints("cat /proc/cpuinfo",
                 "processor : 0\nvendor_id : Example\ncpu family : 6\nmodel name : Example 9\n"
                 "stepping : 2\ncpu MHz : 2400.5\nphysical id : 1\nflags : fpu\n\n");

  EXPECT_EQ(Explanations(), Expected("everything.txt"));
}

TEST_F(ScanExplanations, OfAMachineThatTellsHalf) {
  machine.Prints("cat /proc/uptime", "no number\n");
  machine.Prints("/bin/uname -r", "", 1);
  machine.Prints("dmidecode -qs bios-vendor", "");
  machine.Prints("dmidecode -qs bios-release-date", "");
  machine.Prints("dmidecode -qs system-serial-number", "");
  machine.Prints("dmidecode -qs bios-version", "");
  machine.Prints("dmidecode -t 0", "no table\n");
  Install("/etc/sysconfig/keyboard", "LAYOUT=fr\n");
  machine.Prints("/bin/df -TP -B 1000",
                 "/dev/|da1 ext4 0 0 0 0% /\n"
                 "/dev/sdb1 ext4 5000 5000 0 100% /full\n");
  machine.Prints("/sbin/ifconfig -a",
                 "wlan0     Link encap:UNSPEC  HWaddr 00-00\n"
                 "          inet6 addr: fe80::1/64 Scope:Link\n\n"
                 "tun0      Link encap:Point-to-Point Protocol\n"
                 "          inet addr:10.8.0.2  Bcast:10.8.0.255  Mask:255.255.255.0\n\n"
                 " without a name\n");
  machine.Prints(kLeases, "lease {\n  interface \"wlan0\";\n}\n");
  PlayInterface("tun0", "", "no colon");
  machine.Prints(kAdapters,
                 "01:00.0 VGA compatible controller: NVIDIA Board\n"
                 "02:00.0 Video device: Matrox Other Card\n");
  machine.Prints(kXConfiguration,
                 "Section \"Device\"\n Identifier \"Card0\"\n Driver \"nvidia\"\nEndSection\n"
                 "Section \"Device\"\n VendorName \"Matrox\"\nEndSection\n"
                 "Section \"Screen\"\n Device \"Card0\"\n Depth 16\nEndSection\n");
  machine.Prints("cat /proc/meminfo", "MemTotal: 5 parsecs\nSwapTotal: 0 kB\nEnd: 1\n");
  machine.Prints("cat /proc/cpuinfo",
                 "processor : 0\nmodel name : Example 9\nend\n\nno processor\n\n");

  EXPECT_EQ(Explanations(), Expected("half.txt"));
}

TEST_F(ScanExplanations, OfAMachineThatTellsNothing) {
  machine.Prints(kAdapters, "03:00.0 Video device: Example Card\n");
  machine.Prints("/sbin/ifconfig -a", "eth0      Link encap:Ethernet\n");

  EXPECT_EQ(Explanations(), Expected("nothing.txt"));
}
