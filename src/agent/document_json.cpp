#include "agent/document_json.h"

#include <nlohmann/json.hpp>

namespace agent {
namespace {

std::string Quoted(const KorString& text) {
  using nlohmann::ordered_json;
  return ordered_json(text.Str()).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

// Writes nested objects member by member. Building the tree in memory first would look every key up
// among all the others.
class ObjectWriter {
 public:
  void Open(const KorString& key) {
    BeginMember(key);
    Open();
  }

  void Open() {
    json += '{';
    ++depth;
    isEmpty = true;
  }

  void Close() {
    --depth;
    if (!isEmpty) NewLine();
    json += '}';
    isEmpty = false;
  }

  // The value is JSON already.
  void Add(const KorString& key, const std::string& value) {
    BeginMember(key);
    json += value;
    isEmpty = false;
  }

  std::string Take() { return std::move(json); }

 private:
  void BeginMember(const KorString& key) {
    if (!isEmpty) json += ',';
    NewLine();
    json += Quoted(key);
    json += ": ";
  }

  void NewLine() {
    json += '\n';
    json.append(2 * depth, ' ');
  }

  std::string json;
  size_t depth = 0;
  bool isEmpty = true;  // the innermost object, so far
};

std::string DefinitionToJson(const ObjTypeAttr& attribute) {
  return R"({"type": )" + Quoted(attribute.GetType()) + R"(, "unit": )" +
         Quoted(attribute.GetUnit()) + R"(, "description": )" + Quoted(attribute.GetDesc()) + "}";
}

void WriteClass(const ObjType& type, ObjectWriter& writer) {
  writer.Open(type.GetName());
  writer.Open("attributes");
  for (const ObjTypeAttr* attribute : type.Attributes()) {
    writer.Add(attribute->GetName(), DefinitionToJson(*attribute));
  }
  writer.Close();
  writer.Open("instances");
  for (const ObjInst* instance : type.Instances()) {
    writer.Open(instance->GetName());
    for (const ObjInstAttr* value : instance->Attributes()) {
      writer.Add(value->GetName(), Quoted(value->GetValue()));
    }
    writer.Close();
  }
  writer.Close();
  writer.Close();
}

}  // namespace

std::string DocumentToJson(const ObjInv& document) {
  ObjectWriter writer;
  writer.Open();
  writer.Add("name", Quoted(document.GetName()));
  writer.Open("classes");
  for (const ObjType* type : document.Objects()) WriteClass(*type, writer);
  writer.Close();
  writer.Close();
  return writer.Take() + "\n";
}

}  // namespace agent
