// Telling the service manager how the agent is.

#pragma once

#include <string_view>

namespace agent {

// Sends the text ("READY=1", several lines with line ends between them) as a datagram to the socket
// that NOTIFY_SOCKET of the environment names, a path or, with "@", an abstract name. Nothing
// without one. False when it could not be sent.
bool NotifyServiceManager(std::string_view text);

// RELOADING=1 with the time that the service manager wants with it.
bool NotifyReloading();

// Whether a service manager started the process, which then keeps what goes to standard error.
bool IsUnderServiceManager();

}  // namespace agent
