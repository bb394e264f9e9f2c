// The statuses that kor-agent ends with, as --help tells them.

#pragma once

namespace agent {

inline constexpr int kExitOk = 0;
// The command was carried out and its answer is no: the run failed, the file has complaints.
inline constexpr int kExitFailed = 1;
// What diff compared is not equal.
inline constexpr int kExitDifferent = 1;
inline constexpr int kExitUsage = 2;
// Nothing was begun: the home, the module or a recording cannot be used.
inline constexpr int kExitNotStarted = 3;
// The run ended well, but its result could not be written, or was not accepted for delivery.
inline constexpr int kExitNotWritten = 4;
// A signal ended the run: 130 for SIGINT, 143 for SIGTERM.
inline constexpr int kExitSignalBase = 128;

}  // namespace agent
