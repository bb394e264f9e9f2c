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

bool IsMarked(const ObjInstAttr& value) {
  return value.HasMarks() || value.GetPreviousValue() != nullptr;
}

bool IsMarked(const ObjTypeAttr& attribute) {
  return attribute.HasMarks() || attribute.GetPreviousDefinition() != nullptr;
}

template <typename T>
bool AnyMarked(const ObjSetOf<T>& set);

bool IsMarked(const ObjInst& instance) {
  return instance.HasMarks() || AnyMarked(instance.Attributes());
}

bool IsMarked(const ObjType& type) {
  return type.HasMarks() || AnyMarked(type.Attributes()) || AnyMarked(type.Instances());
}

template <typename T>
bool AnyMarked(const ObjSetOf<T>& set) {
  for (const T* member : set) {
    if (IsMarked(*member)) return true;
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

bool HasMarks(const ObjInv& document) {
  return AnyMarked(document.Objects());
}

}  // namespace obj_inv_content
