// Where in an input file this thread is reading, so that what is logged meanwhile can be shown with
// its file and line.

#pragma once

#include <cstdint>

#include "kor/string.h"

struct KorInputPosition {
  KorString file;
  uint64_t line = 0;  // from 1

  // The position of the reader that is calling back on this thread; null outside of one.
  static const KorInputPosition* Current();
};

// Announces a position on this thread for its own lifetime; nests. The reader updates the line.
class KorInputPositionScope {
 public:
  explicit KorInputPositionScope(const KorString& file);
  ~KorInputPositionScope();
  KorInputPositionScope(const KorInputPositionScope&) = delete;
  KorInputPositionScope& operator=(const KorInputPositionScope&) = delete;

  void SetLine(uint64_t line) { position.line = line; }

 private:
  KorInputPosition position;
  const KorInputPosition* outer;
};
