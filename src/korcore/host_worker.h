// The host's own worker thread: runs queued calls one after another, in order.

#pragma once

#include <functional>

// Without a running worker, queued calls wait until there is one.
void HostWorkerQueue(std::function<void()> call);

// Starts the worker; nothing when it runs.
void HostWorkerStart();

// Ends the worker after the call in progress. Calls still queued are dropped.
void HostWorkerStop();

// Waits until the queue is empty and no call is in progress. For tests and for an orderly end.
void HostWorkerDrain();
