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
using obj_inv_order::PlaceOf;

// Walks the members of one set that another has too.
class CommonMembers {
 public:
  CommonMembers(const ObjSet& walkedSet, const ObjSet& otherSet)
      : at(walkedSet.Head()), other(otherSet) {}

  // Null at the end.
  const ObjBase* Next() {
    while (at != nullptr && other.Get(at->GetName()) == nullptr) at = ObjSet::After(at);
    const ObjBase* member = at;
    if (at != nullptr) at = ObjSet::After(at);
    return member;
  }

 private:
  const ObjBase* at;
  const ObjSet& other;
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
    CommonMembers inNew(now, old);
    while (const ObjBase* member = inNew.Next()) {
      members.push_back(member);
      positions.push_back(positionInOld[old.Get(member->GetName())]);
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

// Fills the element with how the two, of one name, differ; false when they do not.
bool Differ(const ObjInstAttr& old, const ObjInstAttr& now, ObjInstAttr& out) {
  if (old.GetValue() == now.GetValue()) return false;
  out.SetValue(now.GetValue());
  out.SetPreviousValue(old.GetValue());
  return true;
}

bool Differ(const ObjTypeAttr& old, const ObjTypeAttr& now, ObjTypeAttr& out) {
  if (old.GetDefinition() == now.GetDefinition()) return false;
  out.SetDefinition(now.GetDefinition());
  out.SetPreviousDefinition(old.GetDefinition());
  return true;
}

template <typename T>
bool SetsDiffer(const ObjSetOf<T>& old, const ObjSetOf<T>& now, ObjSetOf<T>& out);

bool Differ(const ObjInst& old, const ObjInst& now, ObjInst& out) {
  return SetsDiffer(old.Attributes(), now.Attributes(), out.Attributes());
}

bool Differ(const ObjType& old, const ObjType& now, ObjType& out) {
  const bool attributesDiffer = SetsDiffer(old.Attributes(), now.Attributes(), out.Attributes());
  const bool instancesDiffer = SetsDiffer(old.Instances(), now.Instances(), out.Instances());
  return attributesDiffer || instancesDiffer;
}

// Null when nothing is to be said of the member.
template <typename T>
std::unique_ptr<T> DifferenceOf(const T& old, const T& now, bool isMoved) {
  auto made = std::make_unique<T>(now.GetName());
  const bool isModified = Differ(old, now, *made);
  if (!isModified && !isMoved) return nullptr;
  if (isModified) made->SetChange(ObjChange::kModified);
  if (isMoved) {
    made->SetPlace(PlaceOf(now));
    made->SetPreviousPlace(PlaceOf(old));
  }
  return made;
}

template <typename T>
void ListAddedAndModified(const ObjSetOf<T>& old, const ObjSetOf<T>& now, const Moves& moves,
                          ObjSetOf<T>& out) {
  bool isPastKept = moves.LastKept() == nullptr;
  for (const T* member : now) {
    const T* before = old.Get(member->GetName());
    std::unique_ptr<T> made;
    if (before == nullptr) {
      made = CopyOf(*member, ObjChange::kAdded);
      if (!isPastKept) made->SetPlace(PlaceOf(*member));
    } else {
      made = DifferenceOf(*before, *member, moves.IsMoved(member));
    }
    if (made != nullptr) Append(out, std::move(made));
    isPastKept = isPastKept || member == moves.LastKept();
  }
}

template <typename T>
void ListRemoved(const ObjSetOf<T>& old, const ObjSetOf<T>& now, const Moves& moves,
                 ObjSetOf<T>& out) {
  const ObjBase* lastKept = moves.LastKept();
  const ObjBase* lastKeptInOld = lastKept == nullptr ? nullptr : old.Get(lastKept->GetName());
  bool isPastKept = lastKeptInOld == nullptr;
  for (const T* member : old) {
    if (now.Get(member->GetName()) == nullptr) {
      auto made = CopyOf(*member, ObjChange::kRemoved);
      if (!isPastKept) made->SetPreviousPlace(PlaceOf(*member));
      Append(out, std::move(made));
    }
    isPastKept = isPastKept || member == lastKeptInOld;
  }
}

template <typename T>
bool SetsDiffer(const ObjSetOf<T>& old, const ObjSetOf<T>& now, ObjSetOf<T>& out) {
  const Moves moves(old, now);
  ListAddedAndModified(old, now, moves, out);
  ListRemoved(old, now, moves, out);
  return out.Count() != 0;
}

}  // namespace

bool ObjInv::Diff(const ObjInv& old, ObjInv& out) const {
  if (obj_inv_content::HasMarks(*this) || obj_inv_content::HasMarks(old)) {
    out.objects.Clear();
    KorDebug log("Inventory", "Inventory documents");
    log.SetContext(context);
    log.ErrorWithNL("Failed to compare inventories: one of them is a differential or a merge");
    return false;
  }
  ObjSetOf<ObjType> made;
  SetsDiffer(old.objects, objects, made);
  out.objects.Swap(made);
  return true;
}
