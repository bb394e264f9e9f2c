#include "kor/redaction.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

KorRecording RecordingOf(std::vector<std::pair<KorString, std::string>> outputs) {
  KorRecording recording;
  for (auto& [command, output] : outputs) {
    recording.runs.push_back({command, {KorCommandResult::Outcome::kExited, 0, std::move(output)}});
  }
  return recording;
}

// What becomes of the output of one command.
std::string Redacted(const std::string& output, const KorString& command = "x",
                     const char* hostName = nullptr) {
  KorRecording recording = RecordingOf({{command, output}});
  if (hostName != nullptr) recording.hostName = hostName;
  KorRedact(recording);
  return recording.runs[0].result.output;
}

TEST(RedactHardwareAddress, StaysAnAddressAndTheSameOneStaysTheSame) {
  EXPECT_EQ(Redacted("HWaddr 00:1A:2b:3c:4d:5e  \nlink 00:1a:2B:3c:4d:5e, 66:77:88:99:aa:bb."),
            "HWaddr 02:00:00:00:00:01  \nlink 02:00:00:00:00:01, 02:00:00:00:00:02.");
}

TEST(RedactHardwareAddress, DashesStayAndLongerOnesKeepTheirLength) {
  EXPECT_EQ(Redacted("00-1a-2b-3c-4d-5e"), "02-00-00-00-00-01");
  EXPECT_EQ(Redacted("80:00:00:48:fe:80:00:01"), "02:00:00:00:00:00:00:01");
}

TEST(RedactHardwareAddress, NoneAndBroadcastStay) {
  const std::string text = "00:00:00:00:00:00 brd FF:ff:ff:ff:ff:ff 00-00-00-00-00-00-00-00";
  EXPECT_EQ(Redacted(text), text);
}

TEST(RedactHardwareAddress, OtherPairsStay) {
  const std::string text =
      "12:34:56 00:1f.2 0000:00:1f.2 8086:7190 00:11:22:33:44 x00:11:22:33:44:5";
  EXPECT_EQ(Redacted(text), text);
}

TEST(RedactHardwareAddress, IsFoundInInterfaceNamesEvenBeforeItIsPrinted) {
  KorRecording recording = RecordingOf({{"ls /sys/class/net", "enx001a2b3c4d5e\nenxaabbccddeeff\n"},
                                        {"ethtool -i enx001A2B3C4D5E", "00:1a:2b:3c:4d:5e\n"}});
  recording.files = {{"/sys/class/net/enx001a2b3c4d5e", true}};
  KorRedact(recording);
  EXPECT_EQ(recording.runs[0].result.output, "enx020000000001\nenxaabbccddeeff\n");
  EXPECT_EQ(recording.runs[1].result.output, "02:00:00:00:00:01\n");
  EXPECT_EQ(recording.runs[1].command, "ethtool -i enx020000000001");
  EXPECT_TRUE(recording.files.contains("/sys/class/net/enx020000000001"));
}

TEST(RedactIpv4, ComesFromTheNetworksForDocumentation) {
  EXPECT_EQ(
      Redacted("inet addr:10.1.2.3  Bcast:10.1.2.255  Mask:255.255.255.0 10.1.2.3/24 10.1.2.3."),
      "inet addr:192.0.2.1  Bcast:192.0.2.2  Mask:255.255.255.0 192.0.2.1/24 192.0.2.1.");
}

TEST(RedactIpv4, LoopbackMasksAndNoAddressStay) {
  const std::string text = "127.0.0.1 127.1.2.3 0.0.0.0 255.255.255.0 255.0.0.0";
  EXPECT_EQ(Redacted(text), text);
}

TEST(RedactIpv4, OtherNumbersStay) {
  const std::string text =
      "1.2.3 1.2.3.4.5 11.22.33.44.55.66 256.1.1.1 1.2.3.1000 1..2.3.4x v1.2.3.4 ";
  EXPECT_EQ(Redacted(text), text);
}

TEST(RedactIpv4, GoesOnInAPrivateNetworkWhenThoseAreUsedUp) {
  std::string text;
  for (int index = 0; index < 1000; ++index) {
    text += "20.0." + std::to_string(index / 250) + "." + std::to_string(index % 250) + "\n";
  }
  const std::string redacted = Redacted(text);
  std::set<std::string> lines;
  size_t at = 0;
  for (size_t end = 0; (end = redacted.find('\n', at)) != std::string::npos; at = end + 1) {
    lines.insert(redacted.substr(at, end - at));
  }
  EXPECT_EQ(lines.size(), 1000U) << "different ones stay different";
  EXPECT_TRUE(lines.contains("192.0.2.254"));
  EXPECT_TRUE(lines.contains("198.51.100.1"));
  EXPECT_TRUE(lines.contains("203.0.113.254"));
  EXPECT_TRUE(lines.contains("10.0.0.1"));
  EXPECT_TRUE(lines.contains("10.0.0.238"));
}

TEST(RedactIpv6, ComesFromTheNetworkForDocumentation) {
  EXPECT_EQ(Redacted("inet6 addr: 2A00:1450::200e/64 Scope:Global\n2a00:1450:0:0::200e "
                     "addr:2a00::1 (2a00::2)"),
            "inet6 addr: 2001:db8::1/64 Scope:Global\n2001:db8::1 addr:2001:db8::2 (2001:db8::3)");
}

TEST(RedactIpv6, LinkLocalStaysSoWithoutItsHardwareAddress) {
  EXPECT_EQ(Redacted("fe80::21a:2bff:fe3c:4d5e/64 00:1a:2b:3c:4d:5e fe80::1%eth0"),
            "fe80::1/64 02:00:00:00:00:01 fe80::2%eth0");
}

TEST(RedactIpv6, LoopbackAndNoAddressStay) {
  const std::string text = "::1/128 :: ::1 0:0:0:0:0:0:0:1";
  EXPECT_EQ(Redacted(text), text);
}

TEST(RedactIpv6, OtherColonsStay) {
  const std::string text = "std::cafe 00:02.0 VGA: a:b, 10:20:30 abc: de:ad ::x";
  EXPECT_EQ(Redacted(text), text);
}

TEST(RedactIpv6, EmbeddedAndPunctuatedAddressesGoWhole) {
  EXPECT_EQ(Redacted("::ffff:10.1.2.3 from 2a00::5: and 2a00::6."),
            "2001:db8::1 from 2001:db8::2: and 2001:db8::3.");
}

TEST(RedactUuid, KeepsItsShapeInAnyCase) {
  EXPECT_EQ(
      Redacted("UUID: 4C4C4544-0051-3510-8052-b4c04f4a4d31\n"
               "UUID=4c4c4544-0051-3510-8052-b4c04f4a4d31 x-12345678-1234-1234-1234-123456789abc"),
      "UUID: 00000000-0000-4000-8000-000000000001\n"
      "UUID=00000000-0000-4000-8000-000000000001 x-00000000-0000-4000-8000-000000000002");
}

TEST(RedactUuid, PlaceholdersAndOtherDigitsStay) {
  const std::string text =
      "00000000-0000-0000-0000-000000000000 ffffffff-ffff-ffff-ffff-ffffffffffff "
      "12345678-1234-1234-1234-123456789abcd 12345678-1234-1234-1234";
  EXPECT_EQ(Redacted(text), text);
}

TEST(RedactSerialNumber, WholeOutputOfTheSingleValue) {
  for (const char* const command :
       {"dmidecode -qs system-serial-number", "dmidecode -s chassis-serial-number",
        "/usr/sbin/dmidecode -qs baseboard-serial-number"}) {
    EXPECT_EQ(Redacted("Abc 12/34\n", command), "SERIAL-1\n") << command;
  }
  EXPECT_EQ(Redacted("SeaBIOS\n", "dmidecode -qs bios-vendor"), "SeaBIOS\n");
}

TEST(RedactSerialNumber, RemarksOfTheToolStay) {
  EXPECT_EQ(Redacted("# a remark\nS123\n", "dmidecode -qs system-serial-number"),
            "# a remark\nSERIAL-1\n");
}

TEST(RedactSerialNumber, LinesOfTheTables) {
  EXPECT_EQ(Redacted("Memory Device\n\tSize: 8 GB\n\tSerial Number: 1A 2B  \n\tAsset Tag: x\n"
                     "\tSerial Number: 99\n\tSerial Number:\n\tSERIAL NUMBER: 1A 2B",
                     "dmidecode -t 17"),
            "Memory Device\n\tSize: 8 GB\n\tSerial Number: SERIAL-1  \n\tAsset Tag: x\n"
            "\tSerial Number: SERIAL-2\n\tSerial Number:\n\tSERIAL NUMBER: SERIAL-1");
}

TEST(RedactSerialNumber, WhatFirmwareWithoutOneSaysStays) {
  for (const char* const value : {"Not Specified", "To Be Filled By O.E.M.", "None", "0"}) {
    EXPECT_EQ(Redacted(std::string(value) + "\n", "dmidecode -qs system-serial-number"),
              std::string(value) + "\n");
  }
}

TEST(RedactSerialNumber, ATellingOneGoesEverywhereElseToo) {
  KorRecording recording = RecordingOf({{"lshw", "asset CZC1234XYZ, CZC1234XYZ9, 17\n"},
                                        {"dmidecode -qs system-serial-number", "czc1234xyz\n"},
                                        {"dmidecode -t 17", "Serial Number: 17\n"}});
  KorRedact(recording);
  EXPECT_EQ(recording.runs[0].result.output, "asset SERIAL-1, CZC1234XYZ9, 17\n");
  EXPECT_EQ(recording.runs[1].result.output, "SERIAL-1\n");
  EXPECT_EQ(recording.runs[2].result.output, "Serial Number: SERIAL-2\n");
}

TEST(RedactHostName, GoesAsAWholeWordInAnyCase) {
  KorRecording recording =
      RecordingOf({{"x", "Pc7 pc7, pc70 xpc7 /dev/mapper/pc7--vg-root PC7.\n"}});
  recording.hostName = "pc7";
  KorRedact(recording);
  EXPECT_EQ(recording.hostName, KorString("host1"));
  EXPECT_EQ(recording.runs[0].result.output,
            "host1 host1, pc70 xpc7 /dev/mapper/host1--vg-root host1.\n");
}

TEST(RedactHostName, ItsFirstPartGoesToo) {
  EXPECT_EQ(Redacted("pc7.example.com pc7 pc7.example.org", "x", "PC7.example.com"),
            "host1 host1 host1.example.org");
}

TEST(RedactHostName, WordsOfCommandLinesStay) {
  KorRecording recording = RecordingOf({{"cat /proc/uptime", "cat\n"}});
  recording.hostName = "cat";
  recording.distributionName = "Cat Linux";
  KorRedact(recording);
  EXPECT_EQ(recording.runs[0].command, "cat /proc/uptime");
  EXPECT_EQ(recording.runs[0].result.output, "host1\n");
  EXPECT_EQ(recording.distributionName, KorString("Cat Linux"));
}

TEST(RedactHostName, LocalhostIsNobodysName) {
  EXPECT_EQ(Redacted("localhost\n", "x", "localhost"), "localhost\n");
  EXPECT_EQ(Redacted("localhost.localdomain\n", "x", "localhost.localdomain"),
            "localhost.localdomain\n");
}

TEST(Redact, TheSameValueInTwoCommandsGetsTheSameReplacement) {
  KorRecording recording =
      RecordingOf({{"a", "10.9.8.7 00:1a:2b:3c:4d:5e 2a00::1 4c4c4544-0051-3510-8052-b4c04f4a4d31"},
                   {"b", "4c4c4544-0051-3510-8052-b4c04f4a4d31 2a00::1 00:1a:2b:3c:4d:5e 10.9.8.7"},
                   {"dmidecode -qs system-serial-number", "S/N 4711\n"},
                   {"dmidecode -t 1", "\tSerial Number: S/N 4711\n"}});
  KorRedact(recording);
  EXPECT_EQ(recording.runs[0].result.output,
            "192.0.2.1 02:00:00:00:00:01 2001:db8::1 00000000-0000-4000-8000-000000000001");
  EXPECT_EQ(recording.runs[1].result.output,
            "00000000-0000-4000-8000-000000000001 2001:db8::1 02:00:00:00:00:01 192.0.2.1");
  EXPECT_EQ(recording.runs[2].result.output, "SERIAL-1\n");
  EXPECT_EQ(recording.runs[3].result.output, "\tSerial Number: SERIAL-1\n");
}

TEST(Redact, ARedactedRecordingStaysAsItIs) {
  KorRecording recording = RecordingOf({{"a",
                                         "pc7 10.9.8.7 00:1a:2b:3c:4d:5e 2a00::1 fe80::5 "
                                         "4c4c4544-0051-3510-8052-b4c04f4a4d31"},
                                        {"dmidecode -qs system-serial-number", "S/N 4711\n"}});
  recording.hostName = "pc7";
  KorRedact(recording);
  KorRecording again = recording;
  KorRedact(again);
  EXPECT_EQ(again, recording);
}

TEST(Redact, NothingElseChanges) {
  const std::string text =
      "Filesystem     Type 1000B-blocks Used Available Capacity Mounted on\n"
      "/dev/sda1 ext4 20510216 8123456 11321884 42% /\n"
      "processor\t: 0\nflags : fpu vme de pse\nbogomips\t: 5333.33\n\x01\xff";
  EXPECT_EQ(Redacted(text), text);
}

}  // namespace
