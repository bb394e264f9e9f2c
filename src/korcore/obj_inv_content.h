// Copying and comparing what elements hold, whatever marks they carry.

#pragma once

#include <memory>
#include <utility>

#include "korcore/obj_inv.h"

namespace obj_inv_content {

// Copies what the element holds into an empty one. Everything below gets the mark and no other.
void Copy(const ObjInstAttr& from, ObjInstAttr& to, ObjChange mark);
void Copy(const ObjTypeAttr& from, ObjTypeAttr& to, ObjChange mark);
void Copy(const ObjInst& from, ObjInst& to, ObjChange mark);
void Copy(const ObjType& from, ObjType& to, ObjChange mark);

// Names included, marks left out.
bool Same(const ObjInstAttr& left, const ObjInstAttr& right);
bool Same(const ObjTypeAttr& left, const ObjTypeAttr& right);
bool Same(const ObjInst& left, const ObjInst& right);
bool Same(const ObjType& left, const ObjType& right);

// Whether the element itself has a mark, a place or a previous state.
inline bool IsMarked(const ObjBase& element) {
  return element.HasMarks();
}
inline bool IsMarked(const ObjInstAttr& value) {
  return value.HasMarks() || value.GetPreviousValue() != nullptr;
}
inline bool IsMarked(const ObjTypeAttr& attribute) {
  return attribute.HasMarks() || attribute.GetPreviousDefinition() != nullptr;
}

// Whether it or anything below it has.
inline bool HoldsMarks(const ObjInstAttr& value) {
  return IsMarked(value);
}
inline bool HoldsMarks(const ObjTypeAttr& attribute) {
  return IsMarked(attribute);
}
bool HoldsMarks(const ObjInst& instance);
bool HoldsMarks(const ObjType& type);

template <typename T>
std::unique_ptr<T> CopyOf(const T& element, ObjChange mark = ObjChange::kNone) {
  auto copy = std::make_unique<T>(element.GetName());
  copy->SetChange(mark);
  Copy(element, *copy, mark);
  return copy;
}

// False when the name is there already; the element is then gone.
template <typename T>
bool Append(ObjSetOf<T>& set, std::unique_ptr<T> element) {
  if (!set.Add(element.get())) return false;
  static_cast<void>(element.release());
  return true;
}

// The element, now right after that member; null is the front. Null when the name is there already;
// the element is then gone.
template <typename T>
T* Insert(ObjSetOf<T>& set, std::unique_ptr<T> element, ObjBase* after) {
  return set.Insert(element.get(), after) ? element.release() : nullptr;
}

}  // namespace obj_inv_content
