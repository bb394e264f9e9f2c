// The bound of a download's time. Internal to this library and its tests.

#pragma once

#include <cstdint>

// How many milliseconds a download may take in all, however little comes at a time; returns what it
// was.
uint32_t SetDownloadTime(uint32_t milliseconds);
