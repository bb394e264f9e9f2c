#include "agent/difference_json.h"

#include "agent/document_json.h"
#include "agent/json_object_writer.h"

namespace agent {
namespace {

const char* ChangeName(ObjChange change) {
  switch (change) {
    case ObjChange::kAdded:
      return "added";
    case ObjChange::kRemoved:
      return "removed";
    case ObjChange::kModified:
      return "modified";
    case ObjChange::kNone:
      break;
  }
  return nullptr;
}

void AddPlace(const KorString& key, const ObjPlace* place, JsonObjectWriter& writer) {
  if (place == nullptr) return;
  writer.Add(key, place->IsFirst() ? R"({"first": true})"
                                   : R"({"after": )" + QuotedJson(place->GetAfter()) + "}");
}

void OpenElement(const ObjBase& element, JsonObjectWriter& writer) {
  writer.Open(element.GetName());
  const char* change = ChangeName(element.GetChange());
  if (change != nullptr) writer.Add("change", QuotedJson(change));
  AddPlace("place", element.GetPlace(), writer);
  AddPlace("oldPlace", element.GetPreviousPlace(), writer);
}

// Each of the two is JSON, or null where there is no such state.
void AddStates(ObjChange change, const std::string* before, const std::string& now,
               JsonObjectWriter& writer) {
  if (change == ObjChange::kRemoved) {
    writer.Add("old", now);
  } else if (change != ObjChange::kNone) {
    if (before != nullptr) writer.Add("old", *before);
    writer.Add("new", now);
  }
}

void Write(const ObjInstAttr& value, JsonObjectWriter& writer) {
  OpenElement(value, writer);
  std::string before;
  const KorString* previous = value.GetPreviousValue();
  if (previous != nullptr) before = QuotedJson(*previous);
  AddStates(value.GetChange(), previous == nullptr ? nullptr : &before,
            QuotedJson(value.GetValue()), writer);
  writer.Close();
}

void Write(const ObjTypeAttr& attribute, JsonObjectWriter& writer) {
  OpenElement(attribute, writer);
  std::string before;
  const ObjDefinition* previous = attribute.GetPreviousDefinition();
  if (previous != nullptr) before = DefinitionToJson(*previous);
  AddStates(attribute.GetChange(), previous == nullptr ? nullptr : &before,
            DefinitionToJson(attribute.GetDefinition()), writer);
  writer.Close();
}

void Write(const ObjInst& instance, JsonObjectWriter& writer) {
  OpenElement(instance, writer);
  writer.Open("values");
  for (const ObjInstAttr* value : instance.Attributes()) Write(*value, writer);
  writer.Close();
  writer.Close();
}

void Write(const ObjType& type, JsonObjectWriter& writer) {
  OpenElement(type, writer);
  writer.Open("attributes");
  for (const ObjTypeAttr* attribute : type.Attributes()) Write(*attribute, writer);
  writer.Close();
  writer.Open("instances");
  for (const ObjInst* instance : type.Instances()) Write(*instance, writer);
  writer.Close();
  writer.Close();
}

}  // namespace

std::string DifferenceToJson(const ObjInv& difference) {
  JsonObjectWriter writer;
  writer.Open();
  writer.Add("equal", difference.Objects().Count() == 0 ? "true" : "false");
  writer.Open("classes");
  for (const ObjType* type : difference.Objects()) Write(*type, writer);
  writer.Close();
  writer.Close();
  return writer.Take() + "\n";
}

}  // namespace agent
