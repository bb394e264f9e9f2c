// A tree of named, typed values: the parameters and results of an action.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "kor/string.h"

// Keys keep the order in which they were first set. Each key holds a list of values of one type.
// Copies are deep. Not locked.
class KorContainer {
 public:
  enum class Type { kString, kBool, kInt32, kContainer };

  KorContainer();
  ~KorContainer();
  KorContainer(const KorContainer& other);
  KorContainer& operator=(const KorContainer& other);
  KorContainer(KorContainer&&) noexcept;
  KorContainer& operator=(KorContainer&&) noexcept;
  bool operator==(const KorContainer& other) const;

  void Clear();

  // The number of values of the key, -1 when the key is absent.
  int32_t CountValues(const KorString& key) const;

  // False when the key is absent, holds another type or has no value at the index; `out` is then
  // left as it was.
  bool GetString(const KorString& key, KorString& out, size_t index = 0) const;
  bool GetBool(const KorString& key, bool& out, size_t index = 0) const;
  bool GetInt32(const KorString& key, int32_t& out, size_t index = 0) const;
  bool GetContainer(const KorString& key, KorContainer& out, size_t index = 0) const;

  // Replaces the value at the index; an index equal to the count appends. False, and nothing
  // changes, when the index is beyond that or the key holds values of another type and more than
  // the one being replaced; a key with a single value takes the new type.
  bool SetString(const KorString& key, const KorString& value, size_t index = 0);
  bool SetBool(const KorString& key, bool value, size_t index = 0);
  bool SetInt32(const KorString& key, int32_t value, size_t index = 0);
  bool SetContainer(const KorString& key, const KorContainer& value, size_t index = 0);

  // The keys in order, and the type of a key's values; false when the key is absent.
  std::vector<KorString> Keys() const;
  bool TypeOf(const KorString& key, Type& out) const;

  // Replaces the content by that of an XML file (docs/file-formats.md). False, and nothing changes,
  // when the file cannot be read or is not such a file; the reason goes to the framework's log.
  bool LoadFromXMLFile(const KorString& path);

 private:
  struct Entry;
  std::vector<Entry> entries;

  const Entry* FindEntry(const KorString& key) const;
  template <typename T>
  bool GetValue(const KorString& key, T& out, size_t index) const;
  template <typename T>
  bool SetValue(const KorString& key, const T& value, size_t index);
};
