#include "kor/container.h"

#include <algorithm>
#include <utility>

struct KorContainer::Entry {
  // In the order of Type, whose values are the indexes.
  using Values = std::variant<std::vector<KorString>, std::vector<bool>, std::vector<int32_t>,
                              std::vector<KorContainer>>;

  KorString key;
  Values values;

  size_t Count() const {
    return std::visit([](const auto& list) { return list.size(); }, values);
  }
  bool operator==(const Entry&) const = default;
};

KorContainer::KorContainer() = default;
KorContainer::~KorContainer() = default;
KorContainer::KorContainer(const KorContainer& other) = default;
KorContainer::KorContainer(KorContainer&&) noexcept = default;

// What is assigned may be a part of this container, or the other way round; so the old content goes
// when the new one is whole and on its own.
KorContainer& KorContainer::operator=(const KorContainer& other) {
  std::vector<Entry> copy = other.entries;
  entries.swap(copy);
  return *this;
}

KorContainer& KorContainer::operator=(KorContainer&& other) noexcept {
  std::vector<Entry> taken = std::move(other.entries);
  entries.swap(taken);
  return *this;
}

bool KorContainer::operator==(const KorContainer& other) const {
  return entries == other.entries;
}

void KorContainer::Clear() {
  entries.clear();
}

const KorContainer::Entry* KorContainer::FindEntry(const KorString& key) const {
  const auto found = std::find_if(entries.begin(), entries.end(),
                                  [&](const Entry& entry) { return entry.key == key; });
  return found == entries.end() ? nullptr : &*found;
}

int32_t KorContainer::CountValues(const KorString& key) const {
  const Entry* entry = FindEntry(key);
  return entry == nullptr ? -1 : static_cast<int32_t>(entry->Count());
}

template <typename T>
bool KorContainer::GetValue(const KorString& key, T& out, size_t index) const {
  const Entry* entry = FindEntry(key);
  if (entry == nullptr) return false;
  const auto* values = std::get_if<std::vector<T>>(&entry->values);
  if (values == nullptr || index >= values->size()) return false;
  // By way of a copy: the output may be the container that holds the value.
  T value = (*values)[index];
  out = std::move(value);
  return true;
}

template <typename T>
bool KorContainer::SetValue(const KorString& key, const T& value, size_t index) {
  // The value may be this container or a part of it.
  T copy = value;
  const auto entry = std::find_if(entries.begin(), entries.end(),
                                  [&](const Entry& candidate) { return candidate.key == key; });
  if (entry == entries.end()) {
    if (index != 0) return false;
    entries.push_back({key, std::vector<T>{std::move(copy)}});
    return true;
  }
  auto* values = std::get_if<std::vector<T>>(&entry->values);
  if (values == nullptr) {
    if (index != 0 || entry->Count() > 1) return false;
    entry->values = std::vector<T>{std::move(copy)};
    return true;
  }
  if (index > values->size()) return false;
  if (index == values->size()) {
    values->push_back(std::move(copy));
  } else {
    (*values)[index] = std::move(copy);
  }
  return true;
}

bool KorContainer::GetString(const KorString& key, KorString& out, size_t index) const {
  return GetValue(key, out, index);
}

bool KorContainer::GetBool(const KorString& key, bool& out, size_t index) const {
  return GetValue(key, out, index);
}

bool KorContainer::GetInt32(const KorString& key, int32_t& out, size_t index) const {
  return GetValue(key, out, index);
}

bool KorContainer::GetContainer(const KorString& key, KorContainer& out, size_t index) const {
  return GetValue(key, out, index);
}

bool KorContainer::SetString(const KorString& key, const KorString& value, size_t index) {
  return SetValue(key, value, index);
}

bool KorContainer::SetBool(const KorString& key, bool value, size_t index) {
  return SetValue(key, value, index);
}

bool KorContainer::SetInt32(const KorString& key, int32_t value, size_t index) {
  return SetValue(key, value, index);
}

bool KorContainer::SetContainer(const KorString& key, const KorContainer& value, size_t index) {
  return SetValue(key, value, index);
}

std::vector<KorString> KorContainer::Keys() const {
  std::vector<KorString> keys;
  keys.reserve(entries.size());
  for (const Entry& entry : entries) keys.push_back(entry.key);
  return keys;
}

bool KorContainer::TypeOf(const KorString& key, Type& out) const {
  const Entry* entry = FindEntry(key);
  if (entry == nullptr) return false;
  out = static_cast<Type>(entry->values.index());
  return true;
}
