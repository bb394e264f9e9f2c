// Taking out of a recording what identifies the machine and its owner.

#pragma once

#include "kor/recording.h"

// Replaces serial numbers, UUIDs, hardware and IP addresses and the host name. The same value gets
// the same replacement everywhere, which keeps its shape so that patterns still match. What else
// may be private (user names in mount points, labels) stays.
void KorRedact(KorRecording& recording);
