#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "kor/container.h"
#include "kor/xml_sax_parser.h"

namespace {

constexpr size_t kMaximumDepth = 64;
// A key is looked for among all keys of its container, so an endless file would take endless time.
constexpr size_t kMaximumValues = 16384;

constexpr std::string_view kContainerName = "container";
constexpr std::string_view kKeyName = "key";
constexpr std::string_view kXmlBlanks = " \t\r\n";

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(kXmlBlanks) == std::string_view::npos;
}

std::string_view Trimmed(std::string_view text) {
  const size_t first = text.find_first_not_of(kXmlBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kXmlBlanks) - first + 1);
}

std::optional<bool> ReadBool(std::string_view text) {
  if (Trimmed(text) == "true") return true;
  if (Trimmed(text) == "false") return false;
  return std::nullopt;
}

std::optional<int32_t> ReadInt32(std::string_view text) {
  const std::string_view digits = Trimmed(text);
  int32_t value = 0;
  const char* const end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value);
  if (digits.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return value;
}

// Builds the tree while the file is read; refuses whatever the format does not know.
class ContainerReader : public CsXmlSaxParser {
 public:
  // To be called once, after ParseFile() was true.
  KorContainer TakeResult() { return std::move(result); }

 protected:
  void OnElementInit(const char* name) override {
    if (leafType || (open.empty() && name != kContainerName)) return Unexpected(name);
    if (open.size() == kMaximumDepth) return Stop("containers are nested too deeply");
    if (++valueCount > kMaximumValues) return Stop("too many values");
    key.reset();
  }

  void OnElementAttr(const char* name, const char* value) override {
    if (open.empty() || name != kKeyName) {
      KorString reason;
      reason.Printf("unexpected attribute \"%s\"", name);
      return Stop(reason);
    }
    key = KorString(value);
  }

  void OnElementStart(const char* name) override {
    if (!open.empty() && !key) {
      KorString reason;
      reason.Printf("element \"%s\" has no key", name);
      return Stop(reason);
    }
    if (name == kContainerName) {
      open.push_back({key.value_or(KorString()), KorContainer()});
      return;
    }
    leafType = name;
    text.clear();
    if (*leafType != "string" && *leafType != "bool" && *leafType != "int32") Unexpected(name);
  }

  void OnElementData(const char* data, unsigned long length) override {
    const std::string_view piece(data, length);
    if (leafType) {
      text += piece;
    } else if (!IsBlank(piece)) {
      Stop("text outside of a value");
    }
  }

  void OnElementEnd(const char* /*name*/) override {
    if (leafType) {
      StoreLeaf();
      leafType.reset();
      return;
    }
    Level closed = std::move(open.back());
    open.pop_back();
    if (open.empty()) {
      result = std::move(closed.content);
    } else {
      StopUnless(
          open.back().content.SetContainer(closed.key, closed.content, NextIndex(closed.key)),
          closed.key);
    }
  }

 private:
  struct Level {
    KorString key;
    KorContainer content;
  };

  void Unexpected(std::string_view name) {
    KorString reason;
    reason.Printf("unexpected element \"%s\"", name);
    Stop(reason);
  }

  void StopUnless(bool stored, const KorString& storedKey) {
    if (stored) return;
    KorString reason;
    reason.Printf("the values of key \"%S\" are not all of one type", storedKey);
    Stop(reason);
  }

  void StopAtBadValue() {
    KorString reason;
    reason.Printf("bad %s value \"%s\"", *leafType, text);
    Stop(reason);
  }

  size_t NextIndex(const KorString& ofKey) const {
    const int32_t count = open.back().content.CountValues(ofKey);
    return count < 0 ? 0 : static_cast<size_t>(count);
  }

  void StoreLeaf() {
    KorContainer& content = open.back().content;
    const size_t index = NextIndex(*key);
    if (*leafType == "bool") {
      const std::optional<bool> value = ReadBool(text);
      if (!value) return StopAtBadValue();
      StopUnless(content.SetBool(*key, *value, index), *key);
    } else if (*leafType == "int32") {
      const std::optional<int32_t> value = ReadInt32(text);
      if (!value) return StopAtBadValue();
      StopUnless(content.SetInt32(*key, *value, index), *key);
    } else {
      StopUnless(content.SetString(*key, KorString(text), index), *key);
    }
  }

  std::vector<Level> open;              // the containers that are not closed yet, the root first
  std::optional<KorString> key;         // of the element that has begun last
  std::optional<std::string> leafType;  // the name of the value element being read
  std::string text;                     // its character data so far
  size_t valueCount = 0;
  KorContainer result;
};

}  // namespace

bool KorContainer::LoadFromXMLFile(const KorString& path) {
  ContainerReader reader;
  if (!reader.ParseFile(path)) return false;
  *this = reader.TakeResult();
  return true;
}
