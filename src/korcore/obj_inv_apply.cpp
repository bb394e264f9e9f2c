#include <utility>

#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_content.h"
#include "korcore/obj_inv_order.h"

namespace {

using obj_inv_content::Append;
using obj_inv_content::CopyOf;
using obj_inv_order::LooseMembers;
using obj_inv_order::StandsAt;

// Fills the element with the new state of the old one. False when the difference was made from
// another state; the reason is then the name of the element that does not fit.
bool Renew(const ObjInstAttr& old, const ObjInstAttr& diff, ObjInstAttr& out, KorString& reason) {
  const KorString* previous = diff.GetPreviousValue();
  out.SetValue(previous == nullptr ? old.GetValue() : diff.GetValue());
  if (previous == nullptr || *previous == old.GetValue()) return true;
  reason = old.GetName();
  return false;
}

bool Renew(const ObjTypeAttr& old, const ObjTypeAttr& diff, ObjTypeAttr& out, KorString& reason) {
  const ObjDefinition* previous = diff.GetPreviousDefinition();
  out.SetDefinition(previous == nullptr ? old.GetDefinition() : diff.GetDefinition());
  if (previous == nullptr || *previous == old.GetDefinition()) return true;
  reason = old.GetName();
  return false;
}

template <typename T>
bool RenewSet(const ObjSetOf<T>& old, const ObjSetOf<T>& diff, ObjSetOf<T>& out, KorString& reason);

bool Renew(const ObjInst& old, const ObjInst& diff, ObjInst& out, KorString& reason) {
  return RenewSet(old.Attributes(), diff.Attributes(), out.Attributes(), reason);
}

bool Renew(const ObjType& old, const ObjType& diff, ObjType& out, KorString& reason) {
  return RenewSet(old.Attributes(), diff.Attributes(), out.Attributes(), reason) &&
         RenewSet(old.Instances(), diff.Instances(), out.Instances(), reason);
}

template <typename T>
bool Fits(const T* old, const T& diff) {
  switch (diff.GetChange()) {
    case ObjChange::kAdded:
      return old == nullptr;
    case ObjChange::kRemoved:
      return old != nullptr && obj_inv_content::Same(*old, diff) &&
             StandsAt(*old, diff.GetPreviousPlace());
    case ObjChange::kModified:
      return old != nullptr && StandsAt(*old, diff.GetPreviousPlace());
    case ObjChange::kNone:
      return old != nullptr && diff.GetPlace() != nullptr &&
             StandsAt(*old, diff.GetPreviousPlace());
  }
  return false;
}

// Copies what keeps its order.
template <typename T>
bool RenewKept(const ObjSetOf<T>& old, const ObjSetOf<T>& diff, ObjSetOf<T>& out,
               KorString& reason) {
  for (const T* member : old) {
    const T* change = diff.Get(member->GetName());
    if (change == nullptr) {
      Append(out, CopyOf(*member));
    } else if (change->GetChange() != ObjChange::kRemoved && change->GetPlace() == nullptr) {
      auto made = std::make_unique<T>(member->GetName());
      if (!Renew(*member, *change, *made, reason)) return false;
      Append(out, std::move(made));
    }
  }
  return true;
}

template <typename T>
bool RenewSet(const ObjSetOf<T>& old, const ObjSetOf<T>& diff, ObjSetOf<T>& out,
              KorString& reason) {
  LooseMembers<T> loose;
  for (const T* change : diff) {
    const T* member = old.Get(change->GetName());
    if (!Fits(member, *change)) {
      reason = change->GetName();
      return false;
    }
    if (member == nullptr) {
      loose.Add(CopyOf(*change), change->GetPlace());
    } else if (change->GetChange() != ObjChange::kRemoved && change->GetPlace() != nullptr) {
      auto made = std::make_unique<T>(member->GetName());
      if (!Renew(*member, *change, *made, reason)) return false;
      loose.Add(std::move(made), change->GetPlace());
    }
  }
  if (!RenewKept(old, diff, out, reason)) return false;
  if (loose.PutInto(out)) return true;
  reason = "(the order of the elements)";
  return false;
}

}  // namespace

bool ObjInv::Apply(const ObjInv& diff) {
  ObjSetOf<ObjType> made;
  KorString reason;
  if (RenewSet(objects, diff.objects, made, reason)) {
    objects.Swap(made);
    return true;
  }
  KorDebug log("Inventory", "Inventory documents");
  log.SetContext(context);
  log.ErrorWithNL("Failed to apply a differential: '%S' does not fit", reason);
  return false;
}
