// The agent's own settings: section [Agent] of config/kor-agent.ini (docs/settings.md).

#pragma once

#include <cstdint>

#include "agent/home.h"
#include "agent/result.h"
#include "agent/transfer_windows.h"
#include "kor/string.h"

namespace agent {

inline constexpr const char* kSettingsFile = "kor-agent.ini";
inline constexpr const char* kSettingsSection = "Agent";

struct Settings {
  TransferWindows transferWindows;

  // Files are delivered to the URL when there is one, else into the folder. Paths are absolute.
  KorString upstreamFolder;
  KorString upstreamUrl;  // without a trailing "/"
  KorString upstreamToken;
  KorString upstreamCertificate;
  KorString upstreamKey;
  KorString upstreamCaFile;

  uint32_t pollSeconds = 3600;         // 0: the server is not asked
  uint32_t commandTimeoutSeconds = 0;  // 0: none
  uint64_t queueLimitBytes = uint64_t{1} << 30;

  bool keepEvidence = true;  // of the last run, for explanations

  KorString topology;
};

// What is not set has its default. What cannot be used is reported with one warning (file, key,
// value, what to do) and has its default, too. A file that is there and cannot be read is a
// failure: with the defaults, inventories would go to another place than the one that was
// configured.
Result<Settings> ReadSettings(const Home& home);

}  // namespace agent
