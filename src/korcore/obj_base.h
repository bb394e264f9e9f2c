// The common base of the inventory document's named elements, and the named, ordered set they live
// in.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "kor/string.h"

class ObjSet;

// What a differential or a merge says of an element.
enum class ObjChange : uint8_t { kNone, kAdded, kModified, kRemoved };

class ObjBase {
 public:
  explicit ObjBase(const KorString& initialName) : name(initialName) {}
  virtual ~ObjBase();
  ObjBase(const ObjBase&) = delete;
  ObjBase& operator=(const ObjBase&) = delete;

  const KorString& GetName() const { return name; }

  // Renames the element; look-ups in the set that holds it follow. False, and nothing changes, when
  // the set already has another member of that name.
  bool SetName(const KorString& newName);

  ObjChange GetChange() const { return change; }
  void SetChange(ObjChange newChange) { change = newChange; }

 private:
  friend class ObjSet;
  KorString name;
  ObjSet* owner = nullptr;
  ObjBase* previous = nullptr;
  ObjBase* next = nullptr;
  ObjChange change = ObjChange::kNone;
};

// Owns its members, keeps them in the order they were added and finds them by name in constant
// time. Not locked.
class ObjSet {
 public:
  ObjSet();
  ~ObjSet();
  ObjSet(const ObjSet&) = delete;
  ObjSet& operator=(const ObjSet&) = delete;

  size_t Count() const { return count; }

  // Rewinds the set's cursor; Next() returns the member under it and advances, null at the end.
  // Deleting the member under the cursor moves the cursor on.
  void First() { cursor = head; }
  ObjBase* Next();

  // Null when absent.
  ObjBase* Get(const KorString& name) const;

  // Takes ownership and appends. False for null, for a name that is there already and for an
  // element that belongs to a set; the caller then still owns the element.
  bool Add(ObjBase* element);

  // Unlinks the member and hands it to the caller, who deletes it; null when absent.
  ObjBase* Del(const KorString& name);

  // Deletes all members.
  void Clear();

  // Members in order without the cursor; the set must not change meanwhile.
  ObjBase* Head() const { return head; }
  static ObjBase* After(const ObjBase* element) { return element->next; }

 private:
  friend class ObjBase;
  struct Index;

  bool Rename(ObjBase* element, const KorString& newName);

  ObjBase* head = nullptr;
  ObjBase* tail = nullptr;
  ObjBase* cursor = nullptr;
  size_t count = 0;
  // Made when the set grows past a handful of members; small sets are searched.
  std::unique_ptr<Index> index;
};

// An ObjSet whose members are all of one type.
template <typename T>
class ObjSetOf : public ObjSet {
 public:
  T* Next() { return static_cast<T*>(ObjSet::Next()); }
  T* Get(const KorString& name) const { return static_cast<T*>(ObjSet::Get(name)); }
  bool Add(T* element) { return ObjSet::Add(element); }
  T* Del(const KorString& name) { return static_cast<T*>(ObjSet::Del(name)); }

  // for (const T* member : set)
  class Iterator {
   public:
    explicit Iterator(ObjBase* element) : at(element) {}
    T* operator*() const { return static_cast<T*>(at); }
    Iterator& operator++() {
      at = After(at);
      return *this;
    }
    bool operator==(const Iterator&) const = default;

   private:
    ObjBase* at;
  };
  Iterator begin() const { return Iterator(Head()); }
  Iterator end() const { return Iterator(nullptr); }
};
