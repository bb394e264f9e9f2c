#include "agent/document_json.h"

#include "agent/json_object_writer.h"

namespace agent {

std::string DefinitionToJson(const ObjDefinition& definition) {
  return R"({"type": )" + QuotedJson(definition.type) + R"(, "unit": )" +
         QuotedJson(definition.unit) + R"(, "description": )" + QuotedJson(definition.desc) + "}";
}

namespace {

void WriteClass(const ObjType& type, JsonObjectWriter& writer) {
  writer.Open(type.GetName());
  writer.Open("attributes");
  for (const ObjTypeAttr* attribute : type.Attributes()) {
    writer.Add(attribute->GetName(), DefinitionToJson(attribute->GetDefinition()));
  }
  writer.Close();
  writer.Open("instances");
  for (const ObjInst* instance : type.Instances()) {
    writer.Open(instance->GetName());
    for (const ObjInstAttr* value : instance->Attributes()) {
      writer.Add(value->GetName(), QuotedJson(value->GetValue()));
    }
    writer.Close();
  }
  writer.Close();
  writer.Close();
}

}  // namespace

std::string DocumentToJson(const ObjInv& document) {
  JsonObjectWriter writer;
  writer.Open();
  writer.Add("name", QuotedJson(document.GetName()));
  writer.Open("classes");
  for (const ObjType* type : document.Objects()) WriteClass(*type, writer);
  writer.Close();
  writer.Close();
  return writer.Take() + "\n";
}

}  // namespace agent
