// Settings files: sections of key = value lines.

#pragma once

#include <cstdint>
#include <memory>

#include "kor/string.h"

// Reads the file when constructed (a missing file is an empty one) and writes it whole at each
// SetEntryValue; comments, order and foreign sections survive a write. Names of sections and keys
// ignore letter case.
class IniFile {
 public:
  explicit IniFile(const KorString& path);
  ~IniFile();
  IniFile(const IniFile&) = delete;
  IniFile& operator=(const IniFile&) = delete;

  // Fill `out` with the entry's value, or with the default when there is none or it is not of the
  // type: integers are decimal with an optional sign and nothing else; booleans are yes, true, on,
  // 1 and no, false, off, 0 in any letter case. True when the entry was there and of the type.
  bool GetEntryValue(const KorString& section, const KorString& key, KorString& out,
                     const KorString& defaultValue) const;
  bool GetEntryValue(const KorString& section, const KorString& key, int64_t& out,
                     int64_t defaultValue) const;
  bool GetEntryValue(const KorString& section, const KorString& key, bool& out,
                     bool defaultValue) const;

  // Why the file that is there could not be read; empty when it was, or when there is none.
  const KorString& Error() const;

  // False when the file could not be written; it is then as it was. A text is written up to its
  // first line end, so that no value can add a key.
  bool SetEntryValue(const KorString& section, const KorString& key, const KorString& value);
  bool SetEntryValue(const KorString& section, const KorString& key, int64_t value);

  // For this process only, reads of the entry in every file answer this value; writes are not
  // touched. For settings given on the command line.
  static void Override(const KorString& section, const KorString& key, const KorString& value);
  static void ClearOverrides();

 private:
  struct State;
  std::unique_ptr<State> state;
};
