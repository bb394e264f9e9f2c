#include "support/random_document.h"

#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

// The check does not see the literals that use it.
using std::string_view_literals::operator""sv;  // NOLINT(misc-unused-using-decls)

// Names are drawn from few, so that documents have many in common.
constexpr std::array kNames = {
    ""sv,   "a"sv,         "ab"sv,       "abc"sv,      "abcd"sv,          "A"sv,
    "0"sv,  "1"sv,         "10"sv,       "Capacity"sv, "Physical Disk"sv, "\xC3\xA9"sv,
    "\0"sv, "a\0"sv,       "\n"sv,       " "sv,        "\xFF"sv,          "\"quoted\" <&>'"sv,
    "\t"sv, "Capacity "sv, "capacity"sv, "instance"sv, "document"sv,      "\xF4\x8F\xB8\x80"sv};

constexpr std::array kTexts = {"2006"sv,
                               "]]>"sv,
                               "<value name=\"x\">&amp;&#10;</value>"sv,
                               "line\nline\r\nline\rtab\t end "sv,
                               "  "sv,
                               "\xEF\xBF\xBE"sv,           // U+FFFE
                               "\xEF\xBF\xBF"sv,           // U+FFFF
                               "\xED\xA0\x80"sv,           // a surrogate
                               "\xC0\x80"sv,               // overlong
                               "\xF4\x90\x80\x80"sv,       // beyond the last code point
                               "\xF4\x8F\xBF\xBF"sv,       // the last code point
                               "\xF4\x8F\xB8\x80"sv,       // U+10FE00
                               "\xF4\x8F\xBB\xBF"sv,       // U+10FEFF
                               "\xF4\x8F\xBC\x80"sv,       // U+10FF00
                               "\xF4\x8F\xB7\xBF"sv,       // U+10FDFF
                               "\xC2\x85 \xE2\x80\xA8"sv,  // line ends elsewhere
                               "\x7F\xC2\x9B"sv,
                               "\xE2\x82"sv,  // cut off
                               "K\xC3\xB6ln \xF0\x9F\x92\xBE"sv,
                               "\xEF\xBB\xBF"sv};

}  // namespace

uint64_t RandomDocuments::Seed() {
  const char* given = std::getenv("KOR_TEST_SEED");
  return given != nullptr ? std::strtoull(given, nullptr, 10) : std::random_device()();
}

KorString RandomDocuments::Text() {
  switch (Below(5)) {
    case 0:
      return KorString(kTexts[Below(kTexts.size())]);
    case 1:
      return KorString(kNames[Below(kNames.size())]);
    case 2:
      return KorString(kTexts[Below(kTexts.size())]) + KorString(kTexts[Below(kTexts.size())]);
    case 3:
      return KorString(std::to_string(Below(1000)));
    default:
      break;
  }
  std::string bytes(Below(OneIn(20) ? 300 : 8), '\0');
  for (char& byte : bytes) byte = static_cast<char>(Below(256));
  return KorString(bytes);
}

KorString RandomDocuments::Name() {
  return OneIn(4) ? Text() : KorString(kNames[Below(kNames.size())]);
}

ObjDefinition RandomDocuments::Definition() {
  ObjDefinition definition;
  definition.type = OneIn(2) ? KorString("Integer") : Text();
  if (OneIn(3)) definition.unit = Text();
  if (OneIn(3)) definition.desc = Text();
  return definition;
}

void RandomDocuments::FillInstance(ObjInst& instance) {
  for (size_t count = Below(OneIn(10) ? 20 : 5); count > 0; --count) {
    instance.Ensure(Name())->SetValue(Text());
  }
}

void RandomDocuments::FillClass(ObjType& type) {
  for (size_t count = Below(5); count > 0; --count) {
    type.Ensure(Name(), KorString())->SetDefinition(Definition());
  }
  for (size_t count = Below(OneIn(20) ? 30 : 4); count > 0; --count) {
    FillInstance(*type.Ensure(Name()));
  }
}

void RandomDocuments::Fill(ObjInv& document) {
  document.SetName(Text());
  if (OneIn(2)) document.SetType(OneIn(5) ? engine() : Below(4));
  if (OneIn(2)) document.SetChecksum(Text());
  if (OneIn(2)) document.SetLastChecksum(Text());
  for (size_t count = Below(OneIn(20) ? 20 : 4); count > 0; --count) {
    FillClass(*document.Ensure(Name()));
  }
}

ObjPlace RandomDocuments::Place() {
  return OneIn(3) ? ObjPlace::First() : ObjPlace::After(Name());
}

void RandomDocuments::Mark(ObjBase& element) {
  element.SetChange(static_cast<ObjChange>(Below(4)));
  if (OneIn(4)) element.SetPlace(Place());
  if (OneIn(4)) element.SetPreviousPlace(Place());
}

void RandomDocuments::AddMarks(ObjInv& document) {
  for (ObjType* type : document.Objects()) {
    if (OneIn(2)) Mark(*type);
    for (ObjTypeAttr* attribute : type->Attributes()) {
      if (OneIn(2)) Mark(*attribute);
      if (OneIn(3)) attribute->SetPreviousDefinition(Definition());
    }
    for (ObjInst* instance : type->Instances()) {
      if (OneIn(2)) Mark(*instance);
      for (ObjInstAttr* value : instance->Attributes()) {
        if (OneIn(2)) Mark(*value);
        if (OneIn(3)) value->SetPreviousValue(Text());
      }
    }
  }
}

ObjBase* RandomDocuments::Any(ObjSet& set) {
  if (set.Count() == 0) return nullptr;
  ObjBase* member = set.Head();
  for (size_t skip = Below(set.Count()); skip > 0; --skip) member = ObjSet::After(member);
  return member;
}

void RandomDocuments::MutateOrder(ObjSet& set) {
  if (set.Count() < 2) return;
  if (OneIn(8)) {
    for (size_t count = set.Count(); count > 1; --count) set.Move(set.Tail(), Any(set));
  }
  ObjBase* moved = Any(set);
  set.Move(moved, OneIn(4) ? nullptr : Any(set));
}

void RandomDocuments::MutateNames(ObjSet& set) {
  if (set.Count() == 0) return;
  switch (Below(4)) {
    case 0:
      MutateOrder(set);
      break;
    case 1:
      Any(set)->SetName(Name());
      break;
    case 2: {
      std::unique_ptr<ObjBase> removed(set.Del(Any(set)->GetName()));
      if (OneIn(3) && set.Add(removed.get())) static_cast<void>(removed.release());
      break;
    }
    default: {
      // Two names exchanged: every element is there, and none is what it was.
      ObjBase* left = Any(set);
      ObjBase* right = Any(set);
      const KorString leftName = left->GetName();
      const KorString rightName = right->GetName();
      if (left == right || !left->SetName(KorString("in between"))) break;
      right->SetName(leftName);
      left->SetName(rightName);
    }
  }
}

void RandomDocuments::MutateInstance(ObjInst& instance) {
  if (OneIn(3)) MutateNames(instance.Attributes());
  if (OneIn(3)) FillInstance(instance);
  if (OneIn(3) && instance.Attributes().Count() != 0) {
    static_cast<ObjInstAttr*>(Any(instance.Attributes()))->SetValue(Text());
  }
}

void RandomDocuments::MutateClass(ObjType& type) {
  if (OneIn(3)) MutateNames(type.Attributes());
  if (OneIn(3)) MutateNames(type.Instances());
  if (OneIn(4)) FillClass(type);
  if (OneIn(3) && type.Attributes().Count() != 0) {
    static_cast<ObjTypeAttr*>(Any(type.Attributes()))->SetDefinition(Definition());
  }
  for (ObjInst* instance : type.Instances()) {
    if (OneIn(3)) MutateInstance(*instance);
  }
}

void RandomDocuments::Mutate(ObjInv& document) {
  if (OneIn(3)) MutateNames(document.Objects());
  if (OneIn(4)) FillClass(*document.Ensure(Name()));
  for (ObjType* type : document.Objects()) {
    if (OneIn(2)) MutateClass(*type);
  }
}
