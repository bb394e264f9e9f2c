#include "kor/redaction.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kor/regex.h"

namespace {

constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";
constexpr std::string_view kDigits = "0123456789";

bool IsHex(char character) {
  return kHexDigits.find(character) != std::string_view::npos;
}

bool IsAlphanumeric(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z');
}

char Lower(char character) {
  const bool isUpper = character >= 'A' && character <= 'Z';
  return isUpper ? static_cast<char>(character - 'A' + 'a') : character;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& character : lower) character = Lower(character);
  return lower;
}

// The number in that many lower-case hex digits.
std::string Hex(uint64_t number, size_t width) {
  std::string digits(width, '0');
  for (size_t at = width; at-- > 0; number >>= 4U) digits[at] = kHexDigits[number & 0x0fU];
  return digits;
}

bool IsOnly(std::string_view text, char wanted) {
  return text.find_first_not_of(wanted) == std::string_view::npos;
}

// Numbers different values from 1 in the order in which they are first seen.
class Numbering {
 public:
  uint64_t NumberOf(const std::string& value) {
    return numbers.try_emplace(value, numbers.size() + 1).first->second;
  }
  // 0 for a value that was not seen.
  uint64_t Known(const std::string& value) const {
    const auto found = numbers.find(value);
    return found == numbers.end() ? 0 : found->second;
  }

 private:
  std::map<std::string, uint64_t> numbers;
};

// A piece at the start of a text that is something private, and what to put in its place.
struct Match {
  size_t length = 0;  // 0: nothing found
  std::string replacement;
};

class Uuids {
 public:
  Match At(std::string_view text) {
    constexpr size_t kLength = 36;
    if (text.size() < kLength) return {};
    for (size_t at = 0; at < kLength; ++at) {
      const bool isDash = at == 8 || at == 13 || at == 18 || at == 23;
      if (isDash ? text[at] != '-' : !IsHex(text[at])) return {};
    }
    if (text.size() > kLength && IsAlphanumeric(text[kLength])) return {};
    const std::string value = Lower(text.substr(0, kLength));
    // Firmware without one says so by all zeros or all ones.
    if (value.find_first_not_of("0-") == std::string::npos ||
        value.find_first_not_of("f-") == std::string::npos) {
      return {kLength, value};
    }
    return {kLength, "00000000-0000-4000-8000-" + Hex(numbering.NumberOf(value), 12)};
  }

 private:
  Numbering numbering;
};

// Pairs of hex digits joined by colons or dashes: six for Ethernet, more for other links.
class HardwareAddresses {
 public:
  Match At(std::string_view text) {
    constexpr size_t kFewestPairs = 6;
    const char separator = text.size() > 2 ? text[2] : '\0';
    if (separator != ':' && separator != '-') return {};
    std::string value;
    size_t at = 0;
    while (at + 2 <= text.size() && IsHex(text[at]) && IsHex(text[at + 1])) {
      value += Lower(text.substr(at, 2));
      at += 2;
      if (at + 2 >= text.size() || text[at] != separator || !IsHex(text[at + 1])) break;
      ++at;
    }
    const size_t pairs = value.size() / 2;
    if (pairs < kFewestPairs || at != pairs * 3 - 1) return {};
    if (at < text.size() && IsAlphanumeric(text[at])) return {};
    // No address, and everybody's.
    if (IsOnly(value, '0') || IsOnly(value, 'f')) return {at, std::string(text.substr(0, at))};
    return {at, Joined(Replacement(numbering.NumberOf(value), pairs), separator)};
  }

  // The address without separators, as in the interface name enx001122334455. Only one that was
  // seen: any other run of twelve digits may be anything.
  Match BareAt(std::string_view text) const {
    constexpr size_t kLength = 12;
    if (text.size() < kLength || (text.size() > kLength && IsHex(text[kLength]))) return {};
    const uint64_t number = numbering.Known(Lower(text.substr(0, kLength)));
    if (number == 0) return {};
    return {kLength, Replacement(number, kLength / 2)};
  }

 private:
  // Locally administered, so that it is nobody's.
  static std::string Replacement(uint64_t number, size_t pairs) {
    return "02" + Hex(number, 2 * (pairs - 1));
  }
  static std::string Joined(const std::string& digits, char separator) {
    std::string out;
    for (size_t at = 0; at < digits.size(); at += 2) {
      if (at > 0) out += separator;
      out += digits.substr(at, 2);
    }
    return out;
  }

  Numbering numbering;
};

class Ipv4Addresses {
 public:
  Match At(std::string_view text) {
    constexpr std::string_view kLongest = "255.255.255.255.2";
    const std::string_view start = text.substr(0, kLongest.size());
    std::array<unsigned, 4> parts{};
    const size_t end = ReadParts(start.substr(0, start.find_first_not_of("0123456789.")), parts);
    if (end == 0 || (end < text.size() && IsAlphanumeric(text[end]))) return {};
    const std::string value = Joined(parts);
    // Of this machine, masks, and what is no address but rather a version.
    if (parts[0] == 127 || parts[0] == 255 || parts[0] == 0) {
      return {end, std::string(text.substr(0, end))};
    }
    return {end, Replacement(numbering.NumberOf(value))};
  }

 private:
  // The length of the address; 0 when the text begins with none, or with more than one.
  static size_t ReadParts(std::string_view text, std::array<unsigned, 4>& parts) {
    size_t at = 0;
    for (size_t index = 0; index < parts.size(); ++index) {
      if (index > 0 && (at >= text.size() || text[at++] != '.')) return 0;
      const size_t start = at;
      for (; at < text.size() && at < start + 4 && text[at] != '.'; ++at) {
        parts[index] = parts[index] * 10 + static_cast<unsigned>(text[at] - '0');
      }
      if (at == start || at > start + 3 || parts[index] > 255) return 0;
    }
    const bool goesOn = at + 1 < text.size() && text[at] == '.' && text[at + 1] != '.';
    return goesOn ? 0 : at;
  }

  static std::string Joined(const std::array<unsigned, 4>& parts) {
    return std::to_string(parts[0]) + "." + std::to_string(parts[1]) + "." +
           std::to_string(parts[2]) + "." + std::to_string(parts[3]);
  }

  // The networks that are set aside for documentation, and a private one when those are used up.
  static std::string Replacement(uint64_t number) {
    constexpr std::string_view kNetworks[] = {"192.0.2.", "198.51.100.", "203.0.113."};
    constexpr uint64_t kPerNetwork = 254;
    const uint64_t index = (number - 1) / kPerNetwork;
    if (index < std::size(kNetworks)) {
      return std::string(kNetworks[index]) + std::to_string((number - 1) % kPerNetwork + 1);
    }
    const uint64_t rest = number - std::size(kNetworks) * kPerNetwork;
    return Joined({10, static_cast<unsigned>(rest >> 16U) & 0xffU,
                   static_cast<unsigned>(rest >> 8U) & 0xffU, static_cast<unsigned>(rest) & 0xffU});
  }

  Numbering numbering;
};

class Ipv6Addresses {
 public:
  Match At(std::string_view text) {
    const std::string_view start = text.substr(0, 2 * INET6_ADDRSTRLEN);
    size_t length = std::min(start.find_first_not_of("0123456789abcdefABCDEF:."), start.size());
    if (length < text.size() && IsAlphanumeric(text[length])) return {};
    std::string value;
    // What follows may be the punctuation of a sentence.
    while (!Read(text.substr(0, length), value)) {
      if (length == 0 || IsHex(text[length - 1])) return {};
      --length;
    }
    return {length, ReplacementOf(text.substr(0, length), value)};
  }

 private:
  static constexpr size_t kSize = 16;

  static bool Read(std::string_view text, std::string& value) {
    std::array<char, kSize> bytes{};
    if (text.find(':') == std::string_view::npos) return false;
    if (inet_pton(AF_INET6, std::string(text).c_str(), bytes.data()) != 1) return false;
    value.assign(bytes.data(), bytes.size());
    return true;
  }

  std::string ReplacementOf(std::string_view text, const std::string& value) {
    const bool isNobodyOrLoopback =
        IsOnly(value.substr(0, kSize - 1), '\0') && (value.back() == 0 || value.back() == 1);
    if (isNobodyOrLoopback) return std::string(text);
    // The host's part of a link-local address is often made of the hardware address.
    const bool isLinkLocal = value.starts_with("\xfe\x80");
    const uint64_t number = numbering.NumberOf(value);
    const std::string groups =
        number > 0xffff ? Hex(number >> 16U, 4) + ":" + Hex(number & 0xffffU, 4) : Short(number);
    return (isLinkLocal ? "fe80::" : "2001:db8::") + groups;
  }

  static std::string Short(uint64_t number) {
    const std::string digits = Hex(number, 4);
    return digits.substr(std::min(digits.find_first_not_of('0'), digits.size() - 1));
  }

  Numbering numbering;
};

// Texts that are private as a whole.
class Secrets {
 public:
  void Add(const std::string& text, const std::string& replacement) {
    secrets.emplace_back(Lower(text), replacement);
    // Of two that begin alike the longer one is meant.
    std::stable_sort(secrets.begin(), secrets.end(), [](const auto& left, const auto& right) {
      return left.first.size() > right.first.size();
    });
  }

  Match At(std::string_view text) const {
    for (const auto& [secret, replacement] : secrets) {
      if (!StartsWith(text, secret)) continue;
      const std::string_view rest = text.substr(secret.size());
      const bool goesOn = !rest.empty() && IsAlphanumeric(rest.front());
      if (!goesOn || !IsAlphanumeric(secret.back())) return {secret.size(), replacement};
    }
    return {};
  }

 private:
  static bool StartsWith(std::string_view text, std::string_view lowerPrefix) {
    const auto isSame = [](char left, char right) { return left == Lower(right); };
    return text.size() >= lowerPrefix.size() &&
           std::equal(lowerPrefix.begin(), lowerPrefix.end(), text.begin(), isSame);
  }

  std::vector<std::pair<std::string, std::string>> secrets;
};

class SerialNumbers {
 public:
  // The replacement of a value that stands where serial numbers do.
  std::string Replace(const std::string& value) {
    if (IsPlaceholder(value)) return value;
    const uint64_t before = numbering.Known(value);
    const std::string replacement = "SERIAL-" + std::to_string(numbering.NumberOf(value));
    if (before == 0 && IsTelling(value)) found.emplace_back(value, replacement);
    return replacement;
  }

  // Those that are to be looked for everywhere, with their replacements.
  const std::vector<std::pair<std::string, std::string>>& Found() const { return found; }

 private:
  // What firmware says that has none.
  static bool IsPlaceholder(const std::string& value) {
    constexpr std::string_view kPlaceholders[] = {
        "",
        "0",
        "none",
        "not specified",
        "not provided",
        "not available",
        "unknown",
        "n/a",
        "default string",
        "not present",
        "no dimm",
        "to be filled by o.e.m.",
    };
    return std::find(std::begin(kPlaceholders), std::end(kPlaceholders), Lower(value)) !=
           std::end(kPlaceholders);
  }

  // Short ones and words would be found in places that have nothing to do with them.
  static bool IsTelling(const std::string& value) {
    constexpr size_t kShortest = 5;
    return value.size() >= kShortest && value.find_first_of(kDigits) != std::string::npos;
  }

  Numbering numbering;
  std::vector<std::pair<std::string, std::string>> found;
};

class Redactor {
 public:
  explicit Redactor(KorRecording& recordingToRedact) : recording(recordingToRedact) {}

  void Redact() {
    RedactHostName();
    for (KorRecording::Run& run : recording.runs) RedactSerialNumbers(run);
    for (const auto& [serial, replacement] : serials.Found()) secrets.Add(serial, replacement);
    // Once to learn the hardware addresses, which are also looked for in other forms.
    for (const KorRecording::Run& run : recording.runs) Rewritten(run.result.output, true);
    for (KorRecording::Run& run : recording.runs) {
      run.result.output = Rewritten(run.result.output, true);
    }
    // A scan makes some of its commands and paths of what it has read. Words of the command lines
    // themselves stay: a host may be named "cat".
    for (KorRecording::Run& run : recording.runs) {
      run.command = KorString(Rewritten(run.command.View(), false));
    }
    std::map<KorString, bool> files;
    for (const auto& [path, exists] : recording.files) {
      files.emplace(KorString(Rewritten(path.View(), false)), exists);
    }
    recording.files = std::move(files);
  }

 private:
  void RedactHostName() {
    constexpr std::string_view kReplacement = "host1";
    if (!recording.hostName || recording.hostName->IsEmpty()) return;
    const std::string name = Lower(recording.hostName->View());
    if (name == "localhost" || name == "localhost.localdomain") return;
    const std::string shortName = name.substr(0, name.find('.'));
    secrets.Add(name, std::string(kReplacement));
    if (!shortName.empty() && shortName != "localhost") {
      secrets.Add(shortName, std::string(kReplacement));
    }
    recording.hostName = KorString(kReplacement);
  }

  void RedactSerialNumbers(KorRecording::Run& run) {
    std::string& output = run.result.output;
    if (!MatchPcre(run.command, "\\bdmidecode\\b", 0)) return;
    if (MatchPcre(run.command, "-q?s\\s+\\S*serial-number", 0)) {
      output = WithLinesReplaced(output, "");
    } else {
      output = WithLinesReplaced(output, "serial number:");
    }
  }

  // The output with the value of each line that begins so replaced.
  std::string WithLinesReplaced(std::string_view output, std::string_view label) {
    constexpr std::string_view kBlanks = " \t\r";
    std::string out;
    while (!output.empty()) {
      const std::string_view line = output.substr(0, output.find('\n'));
      const bool hasEnd = line.size() < output.size();
      const size_t start = std::min(line.find_first_not_of(kBlanks), line.size());
      // dmidecode's own remarks are no values.
      const bool isMeant = Lower(line.substr(start)).starts_with(label) && !line.starts_with('#');
      const std::string_view rest = line.substr(start + (isMeant ? label.size() : 0));
      const size_t first = std::min(rest.find_first_not_of(kBlanks), rest.size());
      const size_t end = rest.find_last_not_of(kBlanks) + 1;
      if (isMeant && end > first) {
        out += line.substr(0, line.size() - rest.size() + first);
        out += serials.Replace(std::string(rest.substr(first, end - first)));
        out += rest.substr(end);
      } else {
        out += line;
      }
      if (hasEnd) out += '\n';
      output.remove_prefix(line.size() + (hasEnd ? 1 : 0));
    }
    return out;
  }

  std::string Rewritten(std::string_view text, bool withSecrets) {
    std::string out;
    for (size_t at = 0; at < text.size();) {
      const bool isWordStart = at == 0 || !IsAlphanumeric(text[at - 1]);
      const bool isHexStart = at == 0 || !IsHex(text[at - 1]);
      const std::string_view rest = text.substr(at);
      Match match;
      if (isWordStart) match = MatchWord(rest, withSecrets, IsWithinNumber(text.substr(0, at)));
      if (match.length == 0 && isHexStart) match = hardwareAddresses.BareAt(rest);
      if (match.length == 0) {
        out += text[at++];
      } else {
        out += match.replacement;
        at += match.length;
      }
    }
    return out;
  }

  // Whether what follows continues a dotted number, such as a version of five parts.
  static bool IsWithinNumber(std::string_view before) {
    return before.size() >= 2 && before.back() == '.' &&
           kDigits.find(before[before.size() - 2]) != std::string_view::npos;
  }

  // In an order in which nothing is taken for a part of something else.
  Match MatchWord(std::string_view text, bool withSecrets, bool isWithinNumber) {
    Match match;
    if (withSecrets) match = secrets.At(text);
    if (!IsHex(text.front()) && text.front() != ':') return match;
    if (match.length == 0) match = uuids.At(text);
    if (match.length == 0) match = hardwareAddresses.At(text);
    if (match.length == 0) match = ipv6Addresses.At(text);
    if (match.length == 0 && !isWithinNumber) match = ipv4Addresses.At(text);
    return match;
  }

  KorRecording& recording;
  Secrets secrets;
  SerialNumbers serials;
  Uuids uuids;
  HardwareAddresses hardwareAddresses;
  Ipv4Addresses ipv4Addresses;
  Ipv6Addresses ipv6Addresses;
};

}  // namespace

void KorRedact(KorRecording& recording) {
  Redactor(recording).Redact();
}
