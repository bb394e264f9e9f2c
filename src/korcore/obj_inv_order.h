// The order of a set's members, told by the places of the few that cannot be told from the rest.
//
// A set of known order (the kept members), loose members that stand right after a named one or at
// the front, and loose members without a place, which stand at the end in the order in which they
// are listed: together they give exactly one order.

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "korcore/obj_inv.h"

namespace obj_inv_order {

// Where the member stands in its set.
inline ObjPlace PlaceOf(const ObjBase& member) {
  const ObjBase* before = ObjSet::Before(&member);
  return before == nullptr ? ObjPlace::First() : ObjPlace::After(before->GetName());
}

// True without a place.
inline bool StandsAt(const ObjBase& member, const ObjPlace* place) {
  return place == nullptr || PlaceOf(member) == *place;
}

template <typename T>
class LooseMembers {
 public:
  // A null place is the end. The place must live until the members are put into their set.
  void Add(std::unique_ptr<T> element, const ObjPlace* place) {
    if (place == nullptr) {
      atEnd.push_back(elements.size());
    } else if (place->IsFirst()) {
      atFront = elements.size();
    } else {
      followers.emplace(place->GetAfter().View(), elements.size());
    }
    elements.push_back(std::move(element));
  }

  // Puts all of them into the set of the kept ones. False when their places contradict each other
  // or a name is there twice; the set then holds some of them.
  bool PutInto(ObjSetOf<T>& set) {
    if (elements.empty()) return true;
    if (atFront != kNobody && !Put(set, atFront, nullptr)) return false;
    size_t nextAtEnd = 0;
    ObjBase* member = set.Head();
    while (true) {
      if (member != nullptr && !PutFollowerOf(set, member)) return false;
      if (member != nullptr && ObjSet::After(member) != nullptr) {
        member = ObjSet::After(member);
      } else if (nextAtEnd < atEnd.size()) {
        if (!Put(set, atEnd[nextAtEnd++], set.Tail())) return false;
        member = set.Tail();
      } else {
        // Fewer when two want the same place or one wants a place after nobody.
        return placed == elements.size();
      }
    }
  }

 private:
  static constexpr size_t kNobody = static_cast<size_t>(-1);

  bool PutFollowerOf(ObjSetOf<T>& set, ObjBase* member) {
    const auto found = followers.find(member->GetName().View());
    return found == followers.end() || Put(set, found->second, member);
  }

  bool Put(ObjSetOf<T>& set, size_t which, ObjBase* after) {
    if (!set.Insert(elements[which].get(), after)) return false;
    static_cast<void>(elements[which].release());
    ++placed;
    return true;
  }

  std::vector<std::unique_ptr<T>> elements;
  std::vector<size_t> atEnd;
  std::unordered_map<std::string_view, size_t> followers;
  size_t atFront = kNobody;
  size_t placed = 0;
};

}  // namespace obj_inv_order
