#include "korcore/obj_base.h"

#include <array>
#include <functional>
#include <utility>
#include <vector>

namespace {

// Up to this size a walk over the members is as fast as a hash table and costs no memory. Most
// instances have no more values than that.
constexpr size_t kSearchedMembers = 8;

}  // namespace

// Open addressing, linear probing, deletion by moving back: nine bytes a slot and nothing per
// member. The number of slots is a power of two.
class ObjSet::Index {
 public:
  ObjBase* Find(const KorString& name) const { return Element(SlotOf(name, Hash(name))); }

  // False when the name is there already.
  bool Insert(ObjBase* element) {
    if ((used + 1) * 4 > Size() * 3) Grow();
    const size_t hash = Hash(element->name);
    const size_t slot = SlotOf(element->name, hash);
    if (Element(slot) != nullptr) return false;
    Put(slot, element, TagOf(hash));
    ++used;
    return true;
  }

  void Erase(const ObjBase* element) {
    size_t hole = Home(Hash(element->name));
    while (Element(hole) != element) hole = Next(hole);
    for (size_t slot = Next(hole); Element(slot) != nullptr; slot = Next(slot)) {
      const size_t mask = Size() - 1;
      const size_t distanceFromHome = (slot - Home(Hash(Element(slot)->name))) & mask;
      if (distanceFromHome < ((slot - hole) & mask)) continue;
      Put(hole, Element(slot), Tag(slot));
      hole = slot;
    }
    Put(hole, nullptr, 0);
    --used;
  }

 private:
  // The tag, a part of the hash, tells most other names without a look at the element, which stands
  // elsewhere in memory.
  static constexpr size_t kGroupSize = 8;
  struct Group {
    std::array<ObjBase*, kGroupSize> elements = {};
    std::array<uint8_t, kGroupSize> tags = {};
  };

  static size_t Hash(const KorString& name) { return std::hash<KorString>()(name); }
  // Of the bits that do not say where the home is.
  static uint8_t TagOf(size_t hash) { return static_cast<uint8_t>(hash >> (8 * sizeof hash - 8)); }

  size_t Size() const { return groups.size() * kGroupSize; }
  size_t Home(size_t hash) const { return hash & (Size() - 1); }
  size_t Next(size_t slot) const { return (slot + 1) & (Size() - 1); }
  ObjBase* Element(size_t slot) const {
    return groups[slot / kGroupSize].elements[slot % kGroupSize];
  }
  uint8_t Tag(size_t slot) const { return groups[slot / kGroupSize].tags[slot % kGroupSize]; }
  void Put(size_t slot, ObjBase* element, uint8_t tag) {
    groups[slot / kGroupSize].elements[slot % kGroupSize] = element;
    groups[slot / kGroupSize].tags[slot % kGroupSize] = tag;
  }

  // Where the name is, or the free slot where it belongs.
  size_t SlotOf(const KorString& name, size_t hash) const {
    size_t slot = Home(hash);
    while (Element(slot) != nullptr && (Tag(slot) != TagOf(hash) || Element(slot)->name != name)) {
      slot = Next(slot);
    }
    return slot;
  }

  void Grow() {
    std::vector<Group> old(groups.size() * 2);
    old.swap(groups);
    for (const Group& group : old) {
      for (ObjBase* element : group.elements) {
        if (element != nullptr) PutAgain(element);
      }
    }
  }

  void PutAgain(ObjBase* element) {
    const size_t hash = Hash(element->name);
    size_t slot = Home(hash);
    while (Element(slot) != nullptr) slot = Next(slot);
    Put(slot, element, TagOf(hash));
  }

  std::vector<Group> groups = std::vector<Group>(4 * kSearchedMembers / kGroupSize);
  size_t used = 0;
};

ObjBase::~ObjBase() = default;

bool ObjBase::SetName(const KorString& newName) {
  if (owner != nullptr) return owner->Rename(this, newName);
  name = newName;
  return true;
}

const ObjPlace* ObjBase::GetPlace() const {
  return places != nullptr && places->now ? &*places->now : nullptr;
}

const ObjPlace* ObjBase::GetPreviousPlace() const {
  return places != nullptr && places->before ? &*places->before : nullptr;
}

ObjBase::Places& ObjBase::EnsurePlaces() {
  if (places == nullptr) places = std::make_unique<Places>();
  return *places;
}

void ObjBase::SetPlace(const ObjPlace& place) {
  EnsurePlaces().now = place;
}

void ObjBase::SetPreviousPlace(const ObjPlace& place) {
  EnsurePlaces().before = place;
}

void ObjBase::CopyMarks(const ObjBase& other) {
  change = other.change;
  places = other.places == nullptr ? nullptr : std::make_unique<Places>(*other.places);
}

bool ObjBase::SameMarks(const ObjBase& other) const {
  if (change != other.change) return false;
  if (places == nullptr || other.places == nullptr) return places == other.places;
  return *places == *other.places;
}

ObjSet::ObjSet() = default;

ObjSet::~ObjSet() {
  Clear();
}

ObjBase* ObjSet::Next() {
  ObjBase* current = cursor;
  if (current != nullptr) cursor = current->next;
  return current;
}

ObjBase* ObjSet::Get(const KorString& name) const {
  if (index != nullptr) return index->Find(name);
  for (ObjBase* element = head; element != nullptr; element = element->next) {
    if (element->name == name) return element;
  }
  return nullptr;
}

bool ObjSet::Add(ObjBase* element) {
  return Insert(element, tail);
}

bool ObjSet::Insert(ObjBase* element, ObjBase* after) {
  if (element == nullptr || element->owner != nullptr || !TakeName(element)) return false;
  element->owner = this;
  Link(element, after);
  ++count;
  return true;
}

void ObjSet::Move(ObjBase* element, ObjBase* after) {
  if (element == after || element->previous == after) return;
  Unlink(element);
  Link(element, after);
}

ObjBase* ObjSet::Del(const KorString& name) {
  ObjBase* element = Get(name);
  if (element == nullptr) return nullptr;
  if (index != nullptr) index->Erase(element);
  if (cursor == element) cursor = element->next;
  Unlink(element);
  element->owner = nullptr;
  element->previous = nullptr;
  element->next = nullptr;
  --count;
  return element;
}

void ObjSet::Clear() {
  index.reset();
  cursor = nullptr;
  tail = nullptr;
  count = 0;
  ObjBase* element = std::exchange(head, nullptr);
  while (element != nullptr) {
    const std::unique_ptr<ObjBase> ended(element);
    element = element->next;
  }
}

void ObjSet::Swap(ObjSet& other) {
  std::swap(head, other.head);
  std::swap(tail, other.tail);
  std::swap(count, other.count);
  std::swap(index, other.index);
  AdoptMembers();
  other.AdoptMembers();
}

void ObjSet::AdoptMembers() {
  cursor = head;
  for (ObjBase* element = head; element != nullptr; element = element->next) {
    element->owner = this;
  }
}

bool ObjSet::Rename(ObjBase* element, const KorString& newName) {
  if (element->name == newName) return true;
  if (Get(newName) != nullptr) return false;
  if (index != nullptr) index->Erase(element);
  element->name = newName;
  if (index != nullptr) index->Insert(element);
  return true;
}

// What needs memory comes first, so that an element is in the set whole or not at all.
bool ObjSet::TakeName(ObjBase* element) {
  if (index == nullptr) {
    if (Get(element->name) != nullptr) return false;
    if (count < kSearchedMembers) return true;
    auto made = std::make_unique<Index>();
    for (ObjBase* member = head; member != nullptr; member = member->next) made->Insert(member);
    index = std::move(made);
  }
  return index->Insert(element);
}

void ObjSet::Link(ObjBase* element, ObjBase* after) {
  element->previous = after;
  element->next = after == nullptr ? head : after->next;
  (element->previous == nullptr ? head : element->previous->next) = element;
  (element->next == nullptr ? tail : element->next->previous) = element;
}

void ObjSet::Unlink(ObjBase* element) {
  (element->previous == nullptr ? head : element->previous->next) = element->next;
  (element->next == nullptr ? tail : element->next->previous) = element->previous;
}
