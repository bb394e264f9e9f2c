#include "kor/shortage.h"

#include <new>

namespace {

thread_local uint64_t notes = 0;

}  // namespace

void KorNoteShortage() {
  ++notes;
}

KorShortageWatch::KorShortageWatch() : before(notes) {}

void KorShortageWatch::ThrowIfNoted() const {
  if (notes != before) throw std::bad_alloc();
}
