#include "agent/container_json.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace agent {
namespace {

using nlohmann::ordered_json;

constexpr int kMaximumDepth = 64;
// Of objects and lists; beyond what containers, with a list around each and a request around all,
// have.
constexpr size_t kMaximumLevels = 2 * kMaximumDepth + 8;
constexpr size_t kMaximumMembers = 1024;

// Reads a text without keeping it, up to its end or to what is too much.
class Limits : public nlohmann::json_sax<ordered_json> {
 public:
  explicit Limits(size_t valuesAtMost) : maximumValues(valuesAtMost) {}

  const std::string& Reason() const { return reason; }

  bool null() override { return Count(); }
  bool boolean(bool) override { return Count(); }
  bool number_integer(number_integer_t) override { return Count(); }
  bool number_unsigned(number_unsigned_t) override { return Count(); }
  bool number_float(number_float_t, const string_t&) override { return Count(); }
  bool string(string_t&) override { return Count(); }
  bool binary(binary_t&) override { return Count(); }
  bool start_object(size_t) override { return Count() && Open(); }
  bool end_object() override { return Close(); }
  bool start_array(size_t) override { return Count() && Open(); }
  bool end_array() override { return Close(); }
  bool key(string_t&) override {
    if (++members.back() <= kMaximumMembers) return true;
    return Refuse("an object has more than " + std::to_string(kMaximumMembers) + " members");
  }
  bool parse_error(size_t, const std::string&, const ordered_json::exception& error) override {
    return Refuse(std::string("it is not JSON: ") + error.what());
  }

 private:
  bool Refuse(std::string why) {
    reason = std::move(why);
    return false;
  }
  bool Count() {
    if (++values <= maximumValues) return true;
    return Refuse("it has more than " + std::to_string(maximumValues) + " values");
  }
  bool Open() {
    if (members.size() == kMaximumLevels) return Refuse("it is nested too deeply");
    members.push_back(0);
    return true;
  }
  bool Close() {
    members.pop_back();
    return true;
  }

  const size_t maximumValues;
  size_t values = 0;
  std::vector<size_t> members;  // of the open objects and lists, the outermost first
  std::string reason;
};

ordered_json ValueToJson(const KorContainer& container, const KorString& key,
                         KorContainer::Type type, size_t index) {
  switch (type) {
    case KorContainer::Type::kString: {
      KorString value;
      container.GetString(key, value, index);
      return value.Str();
    }
    case KorContainer::Type::kBool: {
      bool value = false;
      container.GetBool(key, value, index);
      return value;
    }
    case KorContainer::Type::kInt32: {
      int32_t value = 0;
      container.GetInt32(key, value, index);
      return value;
    }
    case KorContainer::Type::kContainer:
      break;
  }
  KorContainer value;
  container.GetContainer(key, value, index);
  return ContainerToJson(value);
}

// Where in the text a value is. Only a complaint spells it out.
struct Place {
  const Place* outer;
  const std::string& name;

  std::string Text() const { return outer == nullptr ? name : outer->Text() + "." + name; }
};

Failure Complaint(const Place* place, const char* what) {
  Failure failure;
  failure.reason.Printf(
      "%s: %s", place == nullptr ? std::string("the text") : "'" + place->Text() + "'", what);
  return failure;
}

KorContainer::Type TypeOf(const ordered_json& value) {
  if (value.is_boolean()) return KorContainer::Type::kBool;
  if (value.is_number()) return KorContainer::Type::kInt32;
  if (value.is_object()) return KorContainer::Type::kContainer;
  return KorContainer::Type::kString;
}

Result<KorContainer> ReadObject(const ordered_json& json, const Place* place, int depth);

Result<void> StoreNumber(KorContainer& container, const KorString& key, size_t index,
                         const ordered_json& value, const Place& place) {
  using Numbers = std::numeric_limits<int32_t>;
  // What is larger than the signed 64 bits is an unsigned number, and would turn negative.
  const bool fits = value.is_number_unsigned()
                        ? value.get<uint64_t>() <= static_cast<uint64_t>(Numbers::max())
                        : value.is_number_integer() && value.get<int64_t>() >= Numbers::min();
  if (!fits) {
    return Complaint(&place, "numbers are whole numbers from -2147483648 to 2147483647");
  }
  container.SetInt32(key, value.get<int32_t>(), index);
  return {};
}

Result<void> Store(KorContainer& container, const KorString& key, size_t index,
                   const ordered_json& value, const Place& place, int depth) {
  if (value.is_string()) {
    container.SetString(key, KorString(value.get_ref<const std::string&>()), index);
  } else if (value.is_boolean()) {
    container.SetBool(key, value.get<bool>(), index);
  } else if (value.is_number()) {
    return StoreNumber(container, key, index, value, place);
  } else if (value.is_object()) {
    const Result<KorContainer> inner = ReadObject(value, &place, depth + 1);
    if (!inner.IsOk()) return Failure{inner.Reason()};
    container.SetContainer(key, inner.Value(), index);
  } else {
    return Complaint(&place, value.is_null() ? "null is no value" : "lists cannot be nested");
  }
  return {};
}

Result<void> StoreMember(KorContainer& container, const KorString& key, const ordered_json& value,
                         const Place& place, int depth) {
  if (!value.is_array()) return Store(container, key, 0, value, place, depth);
  if (value.empty()) return Complaint(&place, "an empty list has no type; leave the key out");
  for (size_t index = 0; index < value.size(); ++index) {
    if (TypeOf(value[index]) != TypeOf(value[0])) {
      return Complaint(&place, "the values of a list must be of one type");
    }
    const Result<void> stored = Store(container, key, index, value[index], place, depth);
    if (!stored.IsOk()) return stored;
  }
  return {};
}

// Without a place it is the whole text.
Result<KorContainer> ReadObject(const ordered_json& json, const Place* place, int depth) {
  if (!json.is_object()) return Complaint(place, "an object is expected");
  if (depth > kMaximumDepth) return Complaint(place, "objects are nested too deeply");
  KorContainer container;
  for (const auto& [name, value] : json.items()) {
    const Result<void> stored =
        StoreMember(container, KorString(name), value, Place{place, name}, depth);
    if (!stored.IsOk()) return Failure{stored.Reason()};
  }
  return container;
}

}  // namespace

ordered_json ContainerToJson(const KorContainer& container) {
  ordered_json json = ordered_json::object();
  for (const KorString& key : container.Keys()) {
    KorContainer::Type type = KorContainer::Type::kString;
    container.TypeOf(key, type);
    const auto count = static_cast<size_t>(container.CountValues(key));
    ordered_json values = ordered_json::array();
    for (size_t index = 0; index < count; ++index) {
      values.push_back(ValueToJson(container, key, type, index));
    }
    json[key.Str()] = count == 1 ? std::move(values[0]) : std::move(values);
  }
  return json;
}

Result<KorContainer> ContainerFromJson(const ordered_json& json) {
  return ReadObject(json, nullptr, 1);
}

int64_t JsonInteger(const ordered_json& json) {
  return json.get_ref<const ordered_json::number_integer_t&>();
}

std::string JsonText(const ordered_json& json, int indentation) {
  return json.dump(indentation, ' ', false, ordered_json::error_handler_t::replace);
}

std::string ContainerToJsonText(const KorContainer& container, int indentation) {
  return JsonText(ContainerToJson(container), indentation);
}

Result<ordered_json> ParseJson(std::string_view text, size_t maximumValues) {
  // A reading of its own: the library's callback looks at all open levels, and at all that a list
  // holds, at the end of each object.
  Limits limits(maximumValues);
  if (!ordered_json::sax_parse(text, &limits)) return Failure{KorString(limits.Reason())};
  return ordered_json::parse(text);
}

Result<KorContainer> ContainerFromJsonText(std::string_view text) {
  const Result<ordered_json> json = ParseJson(text);
  if (!json.IsOk()) return Failure{json.Reason()};
  return ContainerFromJson(json.Value());
}

}  // namespace agent
