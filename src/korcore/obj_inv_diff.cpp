#include <cstddef>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_content.h"
#include "korcore/obj_inv_order.h"

namespace {

using obj_inv_content::Append;
using obj_inv_content::CopyOf;
using obj_inv_content::HoldsMarks;
using obj_inv_content::Insert;
using obj_inv_content::IsMarked;
using obj_inv_order::PlaceOf;

// Finds members of a set by their names. When they are asked for in the set's own order, as they
// nearly always are, it takes no look-up.
class Finder {
 public:
  explicit Finder(const ObjSet& searchedSet) : set(searchedSet), expected(set.Head()) {}

  // Null when absent.
  const ObjBase* Find(const KorString& name) {
    if (expected != nullptr && expected->GetName() == name) return Found(expected);
    wereAllExpected = false;
    const ObjBase* member = set.Get(name);
    return member == nullptr ? nullptr : Found(member);
  }

  // Whether all were there and asked for one after the other, from the first to the last.
  bool FoundAllInOrder() const { return wereAllExpected && expected == nullptr; }

 private:
  const ObjBase* Found(const ObjBase* member) {
    expected = ObjSet::After(member);
    return member;
  }

  const ObjSet& set;
  const ObjBase* expected;
  bool wereAllExpected = true;
};

template <typename T>
class FinderOf : public Finder {
 public:
  explicit FinderOf(const ObjSetOf<T>& searchedSet) : Finder(searchedSet) {}
  const T* Find(const KorString& name) { return static_cast<const T*>(Finder::Find(name)); }
};

// Walks the members of one set that another has too.
class CommonMembers {
 public:
  CommonMembers(const ObjSet& walkedSet, const ObjSet& otherSet)
      : at(walkedSet.Head()), other(otherSet) {}

  // Null at the end.
  const ObjBase* Next() {
    while (at != nullptr && other.Find(at->GetName()) == nullptr) at = ObjSet::After(at);
    const ObjBase* member = at;
    if (at != nullptr) at = ObjSet::After(at);
    return member;
  }

 private:
  const ObjBase* at;
  Finder other;
};

// Which of the positions stay when only those may that come one after the other in rising order,
// chosen greedily.
std::vector<bool> KeepRising(const std::vector<size_t>& positions) {
  std::vector<bool> kept(positions.size());
  size_t next = 0;
  for (size_t at = 0; at < positions.size(); ++at) {
    kept[at] = positions[at] >= next;
    if (kept[at]) next = positions[at] + 1;
  }
  return kept;
}

// The same from the end. Where one member moved towards the front, the walk from the front would
// lose all those that it overtook, and the other way round.
std::vector<bool> KeepFallingFromEnd(const std::vector<size_t>& positions) {
  std::vector<bool> kept(positions.size());
  size_t limit = static_cast<size_t>(-1);
  for (size_t at = positions.size(); at-- > 0;) {
    kept[at] = positions[at] < limit;
    if (kept[at]) limit = positions[at];
  }
  return kept;
}

std::vector<bool> KeepMost(const std::vector<size_t>& positions) {
  std::vector<bool> forward = KeepRising(positions);
  std::vector<bool> backward = KeepFallingFromEnd(positions);
  const auto count = [](const std::vector<bool>& kept) {
    size_t total = 0;
    for (const bool isKept : kept) total += isKept ? 1 : 0;
    return total;
  };
  return count(forward) >= count(backward) ? forward : backward;
}

// Which members of the new set, of those that both have, keep their order and which moved.
class Moves {
 public:
  Moves(const ObjSet& old, const ObjSet& now) {
    if (!SameOrder(old, now)) FindMoved(old, now);
  }

  bool IsMoved(const ObjBase* newMember) const { return moved.contains(newMember); }

  // Null when none is.
  const ObjBase* LastKept() const { return lastKept; }

 private:
  bool SameOrder(const ObjSet& old, const ObjSet& now) {
    CommonMembers inOld(old, now);
    CommonMembers inNew(now, old);
    while (const ObjBase* member = inNew.Next()) {
      if (inOld.Next()->GetName() != member->GetName()) return false;
      lastKept = member;
    }
    return true;
  }

  void FindMoved(const ObjSet& old, const ObjSet& now) {
    std::unordered_map<const ObjBase*, size_t> positionInOld;
    for (const ObjBase* member = old.Head(); member != nullptr; member = ObjSet::After(member)) {
      positionInOld.emplace(member, positionInOld.size());
    }
    std::vector<const ObjBase*> members;
    std::vector<size_t> positions;
    Finder inOld(old);
    for (const ObjBase* member = now.Head(); member != nullptr; member = ObjSet::After(member)) {
      const ObjBase* before = inOld.Find(member->GetName());
      if (before == nullptr) continue;
      members.push_back(member);
      positions.push_back(positionInOld[before]);
    }
    const std::vector<bool> kept = KeepMost(positions);
    for (size_t at = 0; at < members.size(); ++at) {
      if (kept[at]) {
        lastKept = members[at];
      } else {
        moved.insert(members[at]);
      }
    }
  }

  std::unordered_set<const ObjBase*> moved;
  const ObjBase* lastKept = nullptr;
};

template <typename T>
std::unique_ptr<T> NewModified(const T& now) {
  auto made = std::make_unique<T>(now.GetName());
  made->SetChange(ObjChange::kModified);
  return made;
}

class Comparison {
 public:
  // Lists in the empty set how the two differ.
  template <typename T>
  void Compare(const ObjSetOf<T>& old, const ObjSetOf<T>& now, ObjSetOf<T>& out) {
    if (ListModified(old, now, out)) return;
    const Moves moves(old, now);
    ListAddedAndMoved(old, now, moves, out);
    ListRemoved(old, now, moves, out);
  }

  // Whether anything on either side had a mark, a place or a previous state.
  bool HasMetMarks() const { return hasMetMarks; }

 private:
  // False when there is more to say: not both have the same names in the same order.
  template <typename T>
  bool ListModified(const ObjSetOf<T>& old, const ObjSetOf<T>& now, ObjSetOf<T>& out) {
    FinderOf<T> inOld(old);
    for (const T* member : now) {
      const T* before = inOld.Find(member->GetName());
      if (before == nullptr) continue;
      hasMetMarks |= IsMarked(*before) || IsMarked(*member);
      if (std::unique_ptr<T> made = Modification(*before, *member)) Append(out, std::move(made));
    }
    return inOld.FoundAllInOrder();
  }

  // How the two, of one name, differ below; null when they do not.
  std::unique_ptr<ObjInstAttr> Modification(const ObjInstAttr& old, const ObjInstAttr& now) {
    if (old.GetValue() == now.GetValue()) return nullptr;
    auto made = NewModified(now);
    made->SetValue(now.GetValue());
    made->SetPreviousValue(old.GetValue());
    return made;
  }

  std::unique_ptr<ObjTypeAttr> Modification(const ObjTypeAttr& old, const ObjTypeAttr& now) {
    if (old.GetDefinition() == now.GetDefinition()) return nullptr;
    auto made = NewModified(now);
    made->SetDefinition(now.GetDefinition());
    made->SetPreviousDefinition(old.GetDefinition());
    return made;
  }

  std::unique_ptr<ObjInst> Modification(const ObjInst& old, const ObjInst& now) {
    ObjSetOf<ObjInstAttr> values;
    Compare(old.Attributes(), now.Attributes(), values);
    if (values.Count() == 0) return nullptr;
    auto made = NewModified(now);
    made->Attributes().Swap(values);
    return made;
  }

  std::unique_ptr<ObjType> Modification(const ObjType& old, const ObjType& now) {
    ObjSetOf<ObjTypeAttr> attributes;
    ObjSetOf<ObjInst> instances;
    Compare(old.Attributes(), now.Attributes(), attributes);
    Compare(old.Instances(), now.Instances(), instances);
    if (attributes.Count() + instances.Count() == 0) return nullptr;
    auto made = NewModified(now);
    made->Attributes().Swap(attributes);
    made->Instances().Swap(instances);
    return made;
  }

  // Puts them between the modified, which are listed already, in the new set's order.
  template <typename T>
  void ListAddedAndMoved(const ObjSetOf<T>& old, const ObjSetOf<T>& now, const Moves& moves,
                         ObjSetOf<T>& out) {
    FinderOf<T> inOld(old);
    ObjBase* last = nullptr;
    const auto stepTo = [&](const T& member) {
      ObjBase* next = last == nullptr ? out.Head() : ObjSet::After(last);
      const bool isListed = next != nullptr && next->GetName() == member.GetName();
      if (isListed) last = next;
      return isListed;
    };
    bool isPastKept = moves.LastKept() == nullptr;
    for (const T* member : now) {
      const T* before = inOld.Find(member->GetName());
      if (before == nullptr) {
        hasMetMarks |= HoldsMarks(*member);
        last = Insert(out, CopyOf(*member, ObjChange::kAdded), last);
        if (!isPastKept) last->SetPlace(PlaceOf(*member));
      } else if (moves.IsMoved(member)) {
        if (!stepTo(*member)) last = Insert(out, std::make_unique<T>(member->GetName()), last);
        last->SetPlace(PlaceOf(*member));
        last->SetPreviousPlace(PlaceOf(*before));
      } else {
        stepTo(*member);
      }
      isPastKept = isPastKept || member == moves.LastKept();
    }
  }

  template <typename T>
  void ListRemoved(const ObjSetOf<T>& old, const ObjSetOf<T>& now, const Moves& moves,
                   ObjSetOf<T>& out) {
    Finder inNew(now);
    const ObjBase* lastKept = moves.LastKept();
    const ObjBase* lastKeptInOld = lastKept == nullptr ? nullptr : old.Get(lastKept->GetName());
    bool isPastKept = lastKeptInOld == nullptr;
    for (const T* member : old) {
      if (inNew.Find(member->GetName()) == nullptr) {
        hasMetMarks |= HoldsMarks(*member);
        auto made = CopyOf(*member, ObjChange::kRemoved);
        if (!isPastKept) made->SetPreviousPlace(PlaceOf(*member));
        Append(out, std::move(made));
      }
      isPastKept = isPastKept || member == lastKeptInOld;
    }
  }

  bool hasMetMarks = false;
};

}  // namespace

bool ObjInv::Diff(const ObjInv& old, ObjInv& out) const {
  Comparison comparison;
  ObjSetOf<ObjType> made;
  comparison.Compare(old.objects, objects, made);
  if (!comparison.HasMetMarks()) {
    out.objects.Swap(made);
    return true;
  }
  out.objects.Clear();
  KorDebug log("Inventory", "Inventory documents");
  log.SetContext(context);
  log.ErrorWithNL("Failed to compare inventories: one of them is a differential or a merge");
  return false;
}
