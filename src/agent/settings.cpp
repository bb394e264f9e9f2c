#include "agent/settings.h"

#include <charconv>
#include <string_view>
#include <system_error>

#include "agent/http_client.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "kor/ini_file.h"

namespace agent {
namespace {

constexpr uint64_t kMostSeconds = 30U * 24 * 3600;
constexpr uint64_t kSmallestQueue = 1024 * 1024;
constexpr uint64_t kLargestQueue = uint64_t{1} << 50;

// Header lines and paths end at these.
bool HasControlBytes(const KorString& text) {
  for (const char byte : text.View()) {
    if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f) return true;
  }
  return false;
}

class Reader {
 public:
  explicit Reader(const Home& home)
      : configDir(home.ConfigDir()), file(configDir + kSettingsFile), ini(file) {}

  // Why the settings cannot be read; empty when they can.
  KorString Error() const {
    if (ini.Error().IsEmpty()) return {};
    return KorString("the settings '") + file + "' cannot be read: " + ini.Error();
  }

  // Empty when it is not set.
  KorString Text(const char* key) const {
    KorString value;
    ini.GetEntryValue(kSettingsSection, key, value, KorString());
    value.Trim();
    return value;
  }

  // A relative path is one in the configuration folder.
  KorString Path(const char* key) const {
    const KorString value = Text(key);
    if (value.IsEmpty() || value.StartsWith("/", true)) return value;
    return CompletePath(configDir + value);
  }

  uint64_t Number(const char* key, uint64_t smallest, uint64_t largest, uint64_t byDefault) const {
    const KorString value = Text(key);
    if (value.IsEmpty()) return byDefault;
    uint64_t number = 0;
    const char* const end = value.View().data() + value.GetLength();
    const auto read = std::from_chars(value.View().data(), end, number);
    if (read.ec == std::errc() && read.ptr == end && number >= smallest && number <= largest) {
      return number;
    }
    KorString advice;
    advice.Printf("set a whole number from %gu to %gu; %gu is used", smallest, largest, byDefault);
    Complain(key, value, advice);
    return byDefault;
  }

  bool Truth(const char* key, bool byDefault) const {
    const KorString value = Text(key);
    bool truth = byDefault;
    if (value.IsEmpty() || ini.GetEntryValue(kSettingsSection, key, truth, byDefault)) return truth;
    Complain(key, value, byDefault ? "set yes or no; yes is used" : "set yes or no; no is used");
    return byDefault;
  }

  void Complain(const char* key, const KorString& value, const KorString& advice) const {
    KorFrameworkLog().WarningWithNL("%S: [%s] %s = '%S' cannot be used: %S", file, kSettingsSection,
                                    key, value, advice);
  }

 private:
  KorString configDir;
  KorString file;
  IniFile ini;
};

TransferWindows ReadWindows(const Reader& reader) {
  const KorString value = reader.Text("TransferWindows");
  const Result<TransferWindows> windows = TransferWindows::Parse(value);
  if (windows.IsOk()) return windows.Value();
  reader.Complain("TransferWindows", value,
                  windows.Reason() +
                      "; write hh:mm-hh:mm, several with commas; sending is allowed "
                      "at all times");
  return {};
}

KorString ReadUrl(const Reader& reader) {
  const KorString value = reader.Text("UpstreamUrl");
  if (value.IsEmpty()) return value;
  const Result<KorString> url = CheckServerUrl(value);
  if (url.IsOk()) return url.Value();
  reader.Complain("UpstreamUrl", value, url.Reason() + "; UpstreamFolder is used");
  return {};
}

KorString ReadToken(const Reader& reader) {
  const KorString value = reader.Text("UpstreamToken");
  if (!HasControlBytes(value)) return value;
  reader.Complain("UpstreamToken", "...", "it holds control characters; no token is sent");
  return {};
}

}  // namespace

Result<Settings> ReadSettings(const Home& home) {
  const Reader reader(home);
  if (const KorString error = reader.Error(); !error.IsEmpty()) return Failure{error};
  Settings settings;
  settings.transferWindows = ReadWindows(reader);
  settings.upstreamFolder = reader.Path("UpstreamFolder");
  if (settings.upstreamFolder.IsEmpty()) settings.upstreamFolder = home.DataDir() + "upstream";
  settings.upstreamUrl = ReadUrl(reader);
  settings.upstreamToken = ReadToken(reader);
  settings.upstreamCertificate = reader.Path("UpstreamCertificate");
  settings.upstreamKey = reader.Path("UpstreamKey");
  settings.upstreamCaFile = reader.Path("UpstreamCaFile");
  settings.pollSeconds =
      static_cast<uint32_t>(reader.Number("PollInterval", 0, kMostSeconds, settings.pollSeconds));
  settings.commandTimeoutSeconds = static_cast<uint32_t>(
      reader.Number("CommandTimeout", 0, kMostSeconds, settings.commandTimeoutSeconds));
  settings.queueLimitBytes =
      reader.Number("QueueLimit", kSmallestQueue, kLargestQueue, settings.queueLimitBytes);
  settings.keepEvidence = reader.Truth("KeepEvidence", settings.keepEvidence);
  settings.topology = reader.Text("Topology");
  return settings;
}

}  // namespace agent
