#include <memory>
#include <utility>

#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_content.h"
#include "korcore/obj_inv_order.h"

namespace {

using obj_inv_content::Append;
using obj_inv_content::CopyOf;
using obj_inv_content::Insert;
using obj_inv_order::LooseMembers;
using obj_inv_order::StandsAt;

// Fills the element with the new state, marked. False when the difference belongs to another state;
// the reason is then the name of the element that does not fit.
bool Mark(const ObjInstAttr& now, const ObjInstAttr& diff, ObjInstAttr& out, KorString& reason) {
  out.SetValue(now.GetValue());
  if (diff.GetPreviousValue() == nullptr) return true;
  out.SetPreviousValue(*diff.GetPreviousValue());
  if (diff.GetValue() == now.GetValue()) return true;
  reason = now.GetName();
  return false;
}

bool Mark(const ObjTypeAttr& now, const ObjTypeAttr& diff, ObjTypeAttr& out, KorString& reason) {
  out.SetDefinition(now.GetDefinition());
  if (diff.GetPreviousDefinition() == nullptr) return true;
  out.SetPreviousDefinition(*diff.GetPreviousDefinition());
  if (diff.GetDefinition() == now.GetDefinition()) return true;
  reason = now.GetName();
  return false;
}

template <typename T>
bool MarkSet(const ObjSetOf<T>& now, const ObjSetOf<T>& diff, ObjSetOf<T>& out, KorString& reason);

bool Mark(const ObjInst& now, const ObjInst& diff, ObjInst& out, KorString& reason) {
  return MarkSet(now.Attributes(), diff.Attributes(), out.Attributes(), reason);
}

bool Mark(const ObjType& now, const ObjType& diff, ObjType& out, KorString& reason) {
  return MarkSet(now.Attributes(), diff.Attributes(), out.Attributes(), reason) &&
         MarkSet(now.Instances(), diff.Instances(), out.Instances(), reason);
}

template <typename T>
bool Fits(const T* now, const T& diff) {
  switch (diff.GetChange()) {
    case ObjChange::kRemoved:
      return now == nullptr;
    case ObjChange::kAdded:
      return now != nullptr && obj_inv_content::Same(*now, diff) && StandsAt(*now, diff.GetPlace());
    case ObjChange::kModified:
      return now != nullptr && StandsAt(*now, diff.GetPlace());
    case ObjChange::kNone:
      return now != nullptr && diff.GetPreviousPlace() != nullptr &&
             StandsAt(*now, diff.GetPlace());
  }
  return false;
}

// Null when it does not fit.
template <typename T>
std::unique_ptr<T> Marked(const T& now, const T& diff, KorString& reason) {
  if (diff.GetChange() == ObjChange::kAdded) return CopyOf(now, ObjChange::kAdded);
  auto made = std::make_unique<T>(now.GetName());
  made->SetChange(diff.GetChange());
  if (diff.GetPreviousPlace() != nullptr) made->SetPreviousPlace(*diff.GetPreviousPlace());
  if (!Mark(now, diff, *made, reason)) return nullptr;
  return made;
}

// What was removed comes back near where it was: where exactly it was, its previous place says.
template <typename T>
bool BringBack(const T& removed, ObjSetOf<T>& out) {
  auto made = CopyOf(removed, ObjChange::kRemoved);
  const ObjPlace* place = removed.GetPreviousPlace();
  ObjBase* after = out.Tail();
  if (place != nullptr) {
    made->SetPreviousPlace(*place);
    after = place->IsFirst() ? nullptr : out.Get(place->GetAfter());
    if (after == nullptr && !place->IsFirst()) return false;
  }
  return Insert(out, std::move(made), after) != nullptr;
}

template <typename T>
bool MarkSet(const ObjSetOf<T>& now, const ObjSetOf<T>& diff, ObjSetOf<T>& out, KorString& reason) {
  for (const T* change : diff) {
    if (Fits(now.Get(change->GetName()), *change)) continue;
    reason = change->GetName();
    return false;
  }
  for (const T* member : now) {
    const T* change = diff.Get(member->GetName());
    auto made = change == nullptr ? CopyOf(*member) : Marked(*member, *change, reason);
    if (made == nullptr) return false;
    Append(out, std::move(made));
  }
  for (const T* change : diff) {
    if (change->GetChange() != ObjChange::kRemoved || BringBack(*change, out)) continue;
    reason = change->GetName();
    return false;
  }
  return true;
}

// Fill the element with the old state; false when the marks say none.
bool ReadOldOf(const ObjInstAttr& merged, ObjInstAttr& out) {
  const bool isModified = merged.GetChange() == ObjChange::kModified;
  const KorString* previous = merged.GetPreviousValue();
  if (isModified != (previous != nullptr)) return false;
  out.SetValue(isModified ? *previous : merged.GetValue());
  return true;
}

bool ReadOldOf(const ObjTypeAttr& merged, ObjTypeAttr& out) {
  const bool isModified = merged.GetChange() == ObjChange::kModified;
  const ObjDefinition* previous = merged.GetPreviousDefinition();
  if (isModified != (previous != nullptr)) return false;
  out.SetDefinition(isModified ? *previous : merged.GetDefinition());
  return true;
}

template <typename T>
bool ReadOldSet(const ObjSetOf<T>& merged, ObjSetOf<T>& out);

bool ReadOldOf(const ObjInst& merged, ObjInst& out) {
  return ReadOldSet(merged.Attributes(), out.Attributes());
}

bool ReadOldOf(const ObjType& merged, ObjType& out) {
  return ReadOldSet(merged.Attributes(), out.Attributes()) &&
         ReadOldSet(merged.Instances(), out.Instances());
}

template <typename T>
bool ReadOldSet(const ObjSetOf<T>& merged, ObjSetOf<T>& out) {
  LooseMembers<T> loose;
  for (const T* member : merged) {
    if (member->GetChange() == ObjChange::kAdded) continue;
    const bool isRemoved = member->GetChange() == ObjChange::kRemoved;
    auto made = isRemoved ? CopyOf(*member) : std::make_unique<T>(member->GetName());
    if (!isRemoved && !ReadOldOf(*member, *made)) return false;
    if (isRemoved || member->GetPreviousPlace() != nullptr) {
      loose.Add(std::move(made), member->GetPreviousPlace());
    } else {
      Append(out, std::move(made));
    }
  }
  return loose.PutInto(out);
}

void ReadNewOf(const ObjInstAttr& merged, ObjInstAttr& out) {
  out.SetValue(merged.GetValue());
}

void ReadNewOf(const ObjTypeAttr& merged, ObjTypeAttr& out) {
  out.SetDefinition(merged.GetDefinition());
}

template <typename T>
void ReadNewSet(const ObjSetOf<T>& merged, ObjSetOf<T>& out);

void ReadNewOf(const ObjInst& merged, ObjInst& out) {
  ReadNewSet(merged.Attributes(), out.Attributes());
}

void ReadNewOf(const ObjType& merged, ObjType& out) {
  ReadNewSet(merged.Attributes(), out.Attributes());
  ReadNewSet(merged.Instances(), out.Instances());
}

template <typename T>
void ReadNewSet(const ObjSetOf<T>& merged, ObjSetOf<T>& out) {
  for (const T* member : merged) {
    if (member->GetChange() == ObjChange::kRemoved) continue;
    auto made = std::make_unique<T>(member->GetName());
    ReadNewOf(*member, *made);
    Append(out, std::move(made));
  }
}

}  // namespace

bool ObjInv::Merge(const ObjInv& diff) {
  ObjSetOf<ObjType> made;
  KorString reason;
  if (MarkSet(objects, diff.objects, made, reason)) {
    objects.Swap(made);
    return true;
  }
  KorDebug log("Inventory", "Inventory documents");
  log.SetContext(context);
  log.ErrorWithNL("Failed to merge a differential: '%S' does not fit", reason);
  return false;
}

void ObjInv::ReadNew(ObjInv& out) const {
  ObjSetOf<ObjType> made;
  ReadNewSet(objects, made);
  out.objects.Swap(made);
}

bool ObjInv::ReadOld(ObjInv& out) const {
  ObjSetOf<ObjType> made;
  const bool isReadable = ReadOldSet(objects, made);
  if (isReadable) {
    out.objects.Swap(made);
    return true;
  }
  out.objects.Clear();
  KorDebug log("Inventory", "Inventory documents");
  log.SetContext(context);
  log.ErrorWithNL(
      "Failed to read the old inventory out of a merge: its marks contradict each other");
  return false;
}
