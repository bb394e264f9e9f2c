#include "kor/input_position.h"

namespace {

thread_local const KorInputPosition* currentPosition = nullptr;

}  // namespace

const KorInputPosition* KorInputPosition::Current() {
  return currentPosition;
}

KorInputPositionScope::KorInputPositionScope(const KorString& file)
    : position{file, 0}, outer(currentPosition) {
  currentPosition = &position;
}

KorInputPositionScope::~KorInputPositionScope() {
  currentPosition = outer;
}
