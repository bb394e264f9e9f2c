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

// Whether anything in the document has a mark, a place or a previous state.
bool HasMarks(const ObjInv& document);

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

}  // namespace obj_inv_content
