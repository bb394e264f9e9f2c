// What a sudden end of the agent left half-written in its home.

#pragma once

#include "agent/home.h"

namespace agent {

// Removes the temporary files of the atomic writer (kor/atomic_file.h) from the home's folders.
// Only for the process that has claimed the home: what is there then is being written by nobody.
// The queue, which several processes may add to, looks after its own.
void RemoveLeftoverFiles(const Home& home);

}  // namespace agent
