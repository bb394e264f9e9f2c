// A growing array of values in the order they were added.

#pragma once

#include <cstddef>
#include <utility>
#include <vector>

template <typename T>
class KorVector {
 public:
  size_t Count() const { return items.size(); }
  bool IsEmpty() const { return items.empty(); }
  void Clear() { items.clear(); }
  void Add(T item) { items.push_back(std::move(item)); }

  // The index must be below Count().
  T& operator[](size_t index) { return items[index]; }
  const T& operator[](size_t index) const { return items[index]; }

  auto begin() { return items.begin(); }
  auto end() { return items.end(); }
  auto begin() const { return items.begin(); }
  auto end() const { return items.end(); }

  bool operator==(const KorVector&) const = default;

 private:
  std::vector<T> items;
};
