// The host's own worker thread: runs queued calls one after another, in order.

#pragma once

#include <functional>

// Without a running worker, queued calls wait until there is one.
void HostWorkerQueue(std::function<void()> call);

// Starts the worker; nothing when it runs.
void HostWorkerStart();

// Ends the worker after the call in progress. Calls still queued are dropped. Not to be called by a
// queued call.
void HostWorkerStop();

// Waits until the queue is empty and no call is in progress; returns at once when no worker runs.
// For tests and for an orderly end; not to be called by a queued call.
void HostWorkerDrain();
