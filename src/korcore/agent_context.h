// What the host tells its modules about itself: folders and logging.

#pragma once

#include "kor/debug.h"
#include "kor/string.h"

// Set by the host before it loads a module. Folders are handed on as they are given; they are
// expected to end with "/".
void KorAgentSetConfigDir(const KorString& path);
void KorAgentSetDataDir(const KorString& path);
// Also becomes the context of the framework's own log. Null goes back to the default context.
void KorAgentSetDebugContext(KorDebugContext* context);

void KorAgentGetConfigDir(KorString& out);
void KorAgentGetDataDir(KorString& out);
// Null until one is set.
KorDebugContext* KorAgentGetDebugContext();
