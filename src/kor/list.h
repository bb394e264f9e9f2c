// A list of pointers with one cursor, for walks in the style First(), Next() until null.

#pragma once

#include <cstddef>
#include <vector>

// Does not own what it holds.
template <typename T>
class KorList {
 public:
  size_t Count() const { return items.size(); }

  // Appends. False for null, which is not added.
  bool Add(T* item) {
    if (item == nullptr) return false;
    items.push_back(item);
    return true;
  }

  void Clear() {
    items.clear();
    cursor = 0;
  }

  // Rewinds the cursor; returns nothing.
  void First() { cursor = 0; }

  // The item under the cursor, which then advances; null at the end.
  T* Next() { return cursor < items.size() ? items[cursor++] : nullptr; }

 private:
  std::vector<T*> items;
  size_t cursor = 0;
};
