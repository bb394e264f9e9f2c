#include "agent/report/known_values.h"

#include "agent/report/measures.h"

namespace agent {
namespace {

const ObjInst* FirstInstance(const ObjInv& document, const char* type) {
  const ObjType* known = document.Objects().Get(type);
  if (known == nullptr || known->Instances().Count() == 0) return nullptr;
  return *known->Instances().begin();
}

}  // namespace

std::string KnownValue(const ObjInst& instance, const char* attribute) {
  const ObjInstAttr* value = instance.Attributes().Get(attribute);
  if (value == nullptr) return {};
  KorString text = value->GetValue();
  text.Trim();
  return text.Str();
}

std::optional<uint64_t> KnownNumber(const ObjInst& instance, const char* attribute) {
  return WholeNumber(KnownValue(instance, attribute));
}

std::string FirstValue(const ObjInv& document, const char* type, const char* attribute) {
  const ObjInst* instance = FirstInstance(document, type);
  return instance == nullptr ? std::string() : KnownValue(*instance, attribute);
}

std::optional<uint64_t> FirstNumber(const ObjInv& document, const char* type,
                                    const char* attribute) {
  return WholeNumber(FirstValue(document, type, attribute));
}

std::vector<const ObjInst*> InstancesOf(const ObjInv& document, const char* type) {
  std::vector<const ObjInst*> instances;
  const ObjType* known = document.Objects().Get(type);
  if (known == nullptr) return instances;
  for (const ObjInst* instance : known->Instances()) instances.push_back(instance);
  return instances;
}

}  // namespace agent
