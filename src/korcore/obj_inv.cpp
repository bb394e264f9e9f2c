#include "korcore/obj_inv.h"

#include <new>

#include "kor/shortage.h"

namespace {

template <typename T, typename... Rest>
T* EnsureIn(ObjSetOf<T>& set, const KorString& name, const Rest&... rest) {
  if (T* found = set.Get(name)) return found;
  try {
    auto made = std::make_unique<T>(name, rest...);
    return set.Add(made.get()) ? made.release() : nullptr;
  } catch (const std::bad_alloc&) {
    KorNoteShortage();
    return nullptr;
  }
}

// The members of one set as copies in another, which is empty.
template <typename T, typename CopyMember>
void CopySet(const ObjSetOf<T>& from, ObjSetOf<T>& to, CopyMember copyMember) {
  for (const T* member : from) {
    auto made = std::make_unique<T>(member->GetName());
    made->CopyMarks(*member);
    copyMember(*member, *made);
    if (to.Add(made.get())) static_cast<void>(made.release());
  }
}

void CopyValue(const ObjInstAttr& from, ObjInstAttr& to) {
  to.SetValue(from.GetValue());
  if (from.GetPreviousValue() != nullptr) to.SetPreviousValue(*from.GetPreviousValue());
}

void CopyDefinition(const ObjTypeAttr& from, ObjTypeAttr& to) {
  to.SetDefinition(from.GetDefinition());
  if (from.GetPreviousDefinition() != nullptr) {
    to.SetPreviousDefinition(*from.GetPreviousDefinition());
  }
}

void CopyInstance(const ObjInst& from, ObjInst& to) {
  CopySet(from.Attributes(), to.Attributes(), CopyValue);
}

void CopyClass(const ObjType& from, ObjType& to) {
  CopySet(from.Attributes(), to.Attributes(), CopyDefinition);
  CopySet(from.Instances(), to.Instances(), CopyInstance);
}

template <typename T>
bool SameTargets(const T* left, const T* right) {
  if (left == nullptr || right == nullptr) return left == right;
  return *left == *right;
}

template <typename T, typename SameMember>
bool SameSets(const ObjSetOf<T>& left, const ObjSetOf<T>& right, SameMember sameMember) {
  if (left.Count() != right.Count()) return false;
  auto other = right.begin();
  for (const T* member : left) {
    if (member->GetName() != (*other)->GetName() || !member->SameMarks(**other) ||
        !sameMember(*member, **other)) {
      return false;
    }
    ++other;
  }
  return true;
}

bool SameValues(const ObjInstAttr& left, const ObjInstAttr& right) {
  return left.GetValue() == right.GetValue() &&
         SameTargets(left.GetPreviousValue(), right.GetPreviousValue());
}

bool SameDefinitions(const ObjTypeAttr& left, const ObjTypeAttr& right) {
  return left.GetDefinition() == right.GetDefinition() &&
         SameTargets(left.GetPreviousDefinition(), right.GetPreviousDefinition());
}

bool SameInstances(const ObjInst& left, const ObjInst& right) {
  return SameSets(left.Attributes(), right.Attributes(), SameValues);
}

bool SameClasses(const ObjType& left, const ObjType& right) {
  return SameSets(left.Attributes(), right.Attributes(), SameDefinitions) &&
         SameSets(left.Instances(), right.Instances(), SameInstances);
}

}  // namespace

ObjInstAttr* ObjInst::Ensure(const KorString& valueName) {
  return EnsureIn(attributes, valueName);
}

ObjTypeAttr* ObjTypeAttr::Clone(unsigned long /*what*/) const {
  auto copy = std::make_unique<ObjTypeAttr>(GetName());
  copy->CopyMarks(*this);
  CopyDefinition(*this, *copy);
  return copy.release();
}

ObjInst* ObjType::Ensure(const KorString& instanceName) {
  return EnsureIn(instances, instanceName);
}

ObjTypeAttr* ObjType::Ensure(const KorString& attributeName, const KorString& type) {
  return EnsureIn(attributes, attributeName, type);
}

ObjInv::ObjInv(KorDebugContext* debugContext) : context(debugContext) {}

ObjInv::~ObjInv() = default;

ObjType* ObjInv::Ensure(const KorString& className) {
  return EnsureIn(objects, className);
}

void ObjInv::Clear() {
  objects.Clear();
  name.Clear();
  type = 0;
  checksum.Clear();
  lastChecksum.Clear();
}

void ObjInv::CopyFrom(const ObjInv& other) {
  if (&other == this) return;
  objects.Clear();
  name = other.name;
  type = other.type;
  checksum = other.checksum;
  lastChecksum = other.lastChecksum;
  CopySet(other.objects, objects, CopyClass);
}

bool SameObjects(const ObjInv& left, const ObjInv& right) {
  return SameSets(left.Objects(), right.Objects(), SameClasses);
}

bool SameDocuments(const ObjInv& left, const ObjInv& right) {
  return left.GetName() == right.GetName() && left.GetType() == right.GetType() &&
         left.GetChecksum() == right.GetChecksum() &&
         left.GetLastChecksum() == right.GetLastChecksum() && SameObjects(left, right);
}
