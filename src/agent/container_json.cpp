#include "agent/container_json.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

namespace agent {
namespace {

using nlohmann::ordered_json;

constexpr int kMaximumDepth = 64;
// Of objects and lists; beyond what containers, with a list around each and a request around all,
// have.
constexpr size_t kMaximumLevels = 2 * kMaximumDepth + 8;
constexpr size_t kMaximumMembers = 1024;

// Watches the reading of a text, which it ends by an exception.
class ReadingLimits {
 public:
  using Event = ordered_json::parse_event_t;

  void Take(Event event) {
    if (event == Event::object_start || event == Event::array_start) {
      if (members.size() == kMaximumLevels) throw std::length_error("it is nested too deeply");
      members.push_back(0);
    } else if (event == Event::object_end || event == Event::array_end) {
      members.pop_back();
    } else if (event == Event::key && ++members.back() > kMaximumMembers) {
      throw std::length_error("an object has more than " + std::to_string(kMaximumMembers) +
                              " members");
    }
  }

 private:
  std::vector<size_t> members;  // of the open objects and lists, the outermost first
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

// Knows where in the text it is, for its complaints.
class Reader {
 public:
  Result<KorContainer> ReadObject(const ordered_json& json, const std::string& place, int depth) {
    if (!json.is_object()) return Complaint(place, "an object is expected");
    if (depth > kMaximumDepth) return Complaint(place, "objects are nested too deeply");
    KorContainer container;
    for (const auto& [name, value] : json.items()) {
      const std::string inner = place.empty() ? name : place + "." + name;
      const Result<void> stored = StoreMember(container, KorString(name), value, inner, depth);
      if (!stored.IsOk()) return Failure{stored.Reason()};
    }
    return container;
  }

 private:
  static Failure Complaint(const std::string& place, const char* what) {
    Failure failure;
    failure.reason.Printf("%s: %s", place.empty() ? std::string("the text") : "'" + place + "'",
                          what);
    return failure;
  }

  Result<void> StoreMember(KorContainer& container, const KorString& key, const ordered_json& value,
                           const std::string& place, int depth) {
    if (!value.is_array()) return Store(container, key, 0, value, place, depth);
    if (value.empty()) return Complaint(place, "an empty list has no type; leave the key out");
    for (size_t index = 0; index < value.size(); ++index) {
      const Result<void> stored = Store(container, key, index, value[index], place, depth);
      if (!stored.IsOk()) return stored;
    }
    return {};
  }

  Result<void> Store(KorContainer& container, const KorString& key, size_t index,
                     const ordered_json& value, const std::string& place, int depth) {
    KorContainer::Type type = KorContainer::Type::kString;
    const size_t valuesBefore = index;
    if (valuesBefore > 0 && container.TypeOf(key, type) && type != TypeOf(value)) {
      return Complaint(place, "the values of a list must be of one type");
    }
    if (value.is_string()) {
      container.SetString(key, KorString(value.get<std::string>()), index);
    } else if (value.is_boolean()) {
      container.SetBool(key, value.get<bool>(), index);
    } else if (value.is_number()) {
      return StoreNumber(container, key, index, value, place);
    } else if (value.is_object()) {
      const Result<KorContainer> inner = ReadObject(value, place, depth + 1);
      if (!inner.IsOk()) return Failure{inner.Reason()};
      container.SetContainer(key, inner.Value(), index);
    } else {
      return Complaint(place, value.is_null() ? "null is no value" : "lists cannot be nested");
    }
    return {};
  }

  static KorContainer::Type TypeOf(const ordered_json& value) {
    if (value.is_boolean()) return KorContainer::Type::kBool;
    if (value.is_number()) return KorContainer::Type::kInt32;
    if (value.is_object()) return KorContainer::Type::kContainer;
    return KorContainer::Type::kString;
  }

  static Result<void> StoreNumber(KorContainer& container, const KorString& key, size_t index,
                                  const ordered_json& value, const std::string& place) {
    using Limits = std::numeric_limits<int32_t>;
    // What is larger than the signed 64 bits is an unsigned number, and would turn negative.
    const bool fits = value.is_number_unsigned()
                          ? value.get<uint64_t>() <= static_cast<uint64_t>(Limits::max())
                          : value.is_number_integer() && value.get<int64_t>() >= Limits::min();
    if (!fits) {
      return Complaint(place, "numbers are whole numbers from -2147483648 to 2147483647");
    }
    container.SetInt32(key, value.get<int32_t>(), index);
    return {};
  }
};

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
  return Reader().ReadObject(json, "", 1);
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

Result<ordered_json> ParseJson(std::string_view text) {
  ReadingLimits limits;
  const auto watch = [&limits](int /*depth*/, ReadingLimits::Event event, ordered_json& /*value*/) {
    limits.Take(event);
    return true;
  };
  try {
    return ordered_json::parse(text, watch);
  } catch (const ordered_json::exception& error) {
    return Failure{KorString(std::string("it is not JSON: ") + error.what())};
  } catch (const std::length_error& error) {
    return Failure{KorString(error.what())};
  }
}

Result<KorContainer> ContainerFromJsonText(std::string_view text) {
  const Result<ordered_json> json = ParseJson(text);
  if (!json.IsOk()) return Failure{json.Reason()};
  return ContainerFromJson(json.Value());
}

}  // namespace agent
