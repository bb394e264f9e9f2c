#include "kor/tokeniser.h"

StringTokeniser::StringTokeniser(const KorString& textToCut, const KorString& separatorToFind,
                                 int /*flag*/)
    : text(textToCut), separator(separatorToFind) {}

int StringTokeniser::GetNextToken(KorString* token) {
  const std::string_view all = text.View();
  if (position >= all.size()) return 0;
  size_t end = separator.IsEmpty() ? all.size() : all.find(separator.View(), position);
  if (end == std::string_view::npos) end = all.size();
  *token = KorString(all.substr(position, end - position));
  position = end + separator.GetLength();
  return 1;
}

KorString StringTokeniser::NextToken() {
  KorString token;
  GetNextToken(&token);
  return token;
}
