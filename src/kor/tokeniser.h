// Cuts a text at each occurrence of a separator.

#pragma once

#include "kor/string.h"

// The separator is one whole string, not a set of characters. Empty pieces between separators are
// given; an empty text gives none, and a separator at the very end opens no further piece. An empty
// separator gives the text as one piece. Keeps its own copy of both texts.
class StringTokeniser {
 public:
  // The flag is ignored.
  StringTokeniser(const KorString& text, const KorString& separator, int flag = 0);

  // Non-zero with the next piece in *token, zero at the end (*token is then left as it was).
  int GetNextToken(KorString* token);

  // The next piece, the empty text at the end.
  KorString NextToken();

 private:
  KorString text;
  KorString separator;
  size_t position = 0;
};
