// The console's place in the file system, and who may come in.

#pragma once

#include <sys/types.h>

#include "agent/plain_file.h"
#include "agent/result.h"
#include "kor/string.h"

namespace agent {

inline constexpr const char* kConsoleSocketName = "console.sock";

// A listening Unix stream socket of that name in the folder, mode 0600. Replaces what a process
// that ended suddenly left behind, so the caller must be the only one that serves the folder.
Result<Descriptor> ListenAtConsole(const KorString& folder);

// A connection to it. The folder's name may be longer than the address of a socket.
Result<Descriptor> ConnectToConsole(const KorString& folder);

void RemoveConsole(const KorString& folder);

// Who is at the other end, as the kernel knows.
struct ConsolePeer {
  uid_t user = static_cast<uid_t>(-1);
  pid_t process = 0;
};
ConsolePeer PeerOf(int connection);

// Root and the agent's own user.
bool MayUseConsole(const ConsolePeer& peer, uid_t ownUser);

}  // namespace agent
