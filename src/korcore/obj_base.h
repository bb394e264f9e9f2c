// The common base of the inventory document's named elements, and the named, ordered set they live
// in.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>

#include "kor/string.h"

class ObjSet;

// What a differential or a merge says of an element.
enum class ObjChange : uint8_t { kNone, kAdded, kModified, kRemoved };

// Where an element stands in its set: at the front, or right after the member of that name.
class ObjPlace {
 public:
  static ObjPlace First() { return ObjPlace(); }
  static ObjPlace After(const KorString& name) {
    ObjPlace place;
    place.isFirst = false;
    place.after = name;
    return place;
  }

  bool IsFirst() const { return isFirst; }
  const KorString& GetAfter() const { return after; }
  bool operator==(const ObjPlace&) const = default;

 private:
  bool isFirst = true;
  KorString after;
};

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

  // In a differential, where the element stands in the new document; in a differential or a merge,
  // where it stood in the old one. Null where the rest of the order says it already
  // (docs/file-formats.md).
  const ObjPlace* GetPlace() const;
  const ObjPlace* GetPreviousPlace() const;
  void SetPlace(const ObjPlace& place);
  void SetPreviousPlace(const ObjPlace& place);

  // Takes over the change and the places of another element.
  void CopyMarks(const ObjBase& other);
  bool SameMarks(const ObjBase& other) const;
  // Whether there is a change or a place.
  bool HasMarks() const { return change != ObjChange::kNone || places != nullptr; }

 private:
  friend class ObjSet;
  struct Places {
    std::optional<ObjPlace> now;
    std::optional<ObjPlace> before;
    bool operator==(const Places&) const = default;
  };
  Places& EnsurePlaces();

  KorString name;
  ObjSet* owner = nullptr;
  ObjBase* previous = nullptr;
  ObjBase* next = nullptr;
  // Few elements have any, and there may be millions of elements.
  std::unique_ptr<Places> places;
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

  // As Add, but puts the element right after that member; null is the front.
  bool Insert(ObjBase* element, ObjBase* after);

  // Puts the member right after another one; null is the front.
  void Move(ObjBase* element, ObjBase* after);

  // Unlinks the member and hands it to the caller, who deletes it; null when absent.
  ObjBase* Del(const KorString& name);

  // Deletes all members.
  void Clear();

  // Exchanges the members of two sets; both cursors are rewound.
  void Swap(ObjSet& other);

  // Members in order without the cursor; the set must not change meanwhile.
  ObjBase* Head() const { return head; }
  ObjBase* Tail() const { return tail; }
  static ObjBase* After(const ObjBase* element) { return element->next; }
  static ObjBase* Before(const ObjBase* element) { return element->previous; }

 private:
  friend class ObjBase;
  class Index;

  bool Rename(ObjBase* element, const KorString& newName);
  // False when another member has the element's name.
  bool TakeName(ObjBase* element);
  void Link(ObjBase* element, ObjBase* after);
  void Unlink(ObjBase* element);
  void AdoptMembers();

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
