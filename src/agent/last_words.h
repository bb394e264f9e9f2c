// What the program says when it has to end at once.

#pragma once

namespace agent {

// A lack of memory where C++ knows no way back (libraries that need some to destroy an object) ends
// the process with one line and the status of a failure, instead of an abort. Whatever else
// terminates it is a defect and leaves what defects leave.
void EndQuietlyWithoutMemory();

}  // namespace agent
