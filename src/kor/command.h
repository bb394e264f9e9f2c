// Running a command line for its output.

#pragma once

#include "kor/machine.h"
#include "kor/string.h"

// Runs the command line on the current machine (kor/machine.h) and puts its standard output into
// `output`, replacing it. False when the command could not be run (shell status 126 or 127), was
// killed by a signal (a status of 128 + n is the shell's word for one), printed more than the cap,
// or ended with a non-zero status without printing anything; the output is filled in either case.
// An output of exactly one line is given without its line end, any other as printed.
bool CommandToString(const KorString& command, KorString& output);

// The rule of CommandToString for a result in hand.
bool KorCommandSucceeded(const KorCommandResult& result);
