// Finding the translation file to use.

#pragma once

#include "hardware/module/globals.h"
#include "kor/string.h"

namespace HardwareInventory {

// Resolves the setting "TranslationFile": a path, absolute or relative to the configuration folder,
// or a URL, which is downloaded into the data folder. The default file is written when it is
// missing or empty. True with the path of a file that is there; false, with the reason logged, when
// none can be had.
bool GetTranslationFile(KorString& path) KOR_EXCLUDES(mutexInv);

// A configured path as an absolute one: relative to the configuration folder unless its folder part
// begins with "/" or "\\". Only the folder part is looked at: a bare file name is relative, too.
KorString AbsoluteTranslationFile(const KorString& name);

}  // namespace HardwareInventory
