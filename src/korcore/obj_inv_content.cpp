#include "korcore/obj_inv_content.h"

namespace obj_inv_content {

namespace {

template <typename T>
void CopySet(const ObjSetOf<T>& from, ObjSetOf<T>& to, ObjChange mark) {
  for (const T* member : from) Append(to, CopyOf(*member, mark));
}

template <typename T>
bool SameSets(const ObjSetOf<T>& left, const ObjSetOf<T>& right) {
  if (left.Count() != right.Count()) return false;
  auto other = right.begin();
  for (const T* member : left) {
    if (!Same(*member, **other)) return false;
    ++other;
  }
  return true;
}

template <typename T>
bool AnyMarked(const ObjSetOf<T>& set) {
  for (const T* member : set) {
    if (HoldsMarks(*member)) return true;
  }
  return false;
}

}  // namespace

void Copy(const ObjInstAttr& from, ObjInstAttr& to, ObjChange /*mark*/) {
  to.SetValue(from.GetValue());
}

void Copy(const ObjTypeAttr& from, ObjTypeAttr& to, ObjChange /*mark*/) {
  to.SetDefinition(from.GetDefinition());
}

void Copy(const ObjInst& from, ObjInst& to, ObjChange mark) {
  CopySet(from.Attributes(), to.Attributes(), mark);
}

void Copy(const ObjType& from, ObjType& to, ObjChange mark) {
  CopySet(from.Attributes(), to.Attributes(), mark);
  CopySet(from.Instances(), to.Instances(), mark);
}

bool Same(const ObjInstAttr& left, const ObjInstAttr& right) {
  return left.GetName() == right.GetName() && left.GetValue() == right.GetValue();
}

bool Same(const ObjTypeAttr& left, const ObjTypeAttr& right) {
  return left.GetName() == right.GetName() && left.GetDefinition() == right.GetDefinition();
}

bool Same(const ObjInst& left, const ObjInst& right) {
  return left.GetName() == right.GetName() && SameSets(left.Attributes(), right.Attributes());
}

bool Same(const ObjType& left, const ObjType& right) {
  return left.GetName() == right.GetName() && SameSets(left.Attributes(), right.Attributes()) &&
         SameSets(left.Instances(), right.Instances());
}

bool HoldsMarks(const ObjInst& instance) {
  return IsMarked(instance) || AnyMarked(instance.Attributes());
}

bool HoldsMarks(const ObjType& type) {
  return IsMarked(type) || AnyMarked(type.Attributes()) || AnyMarked(type.Instances());
}

}  // namespace obj_inv_content
