// Lacks of memory that are borne by leaving something out.

#pragma once

#include <cstdint>

// To be called where something is left out; needs no memory.
void KorNoteShortage();

// For whoever must not give out a part for the whole: watches its own thread while it lives.
class KorShortageWatch {
 public:
  KorShortageWatch();
  // Throws std::bad_alloc when something has been left out.
  void ThrowIfNoted() const;

 private:
  const uint64_t before;
};
