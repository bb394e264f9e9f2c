#include "agent/difference_text.h"

#include <stdlib.h>
#include <unistd.h>

#include <string_view>

#include "agent/display_text.h"

namespace agent {
namespace {

constexpr std::string_view kPlain = "\x1b[0m";

struct Mark {
  char letter;
  std::string_view colour;
};

Mark MarkOf(const ObjBase& element) {
  switch (element.GetChange()) {
    case ObjChange::kAdded:
      return {'+', "\x1b[32m"};
    case ObjChange::kRemoved:
      return {'-', "\x1b[31m"};
    case ObjChange::kModified:
      return {'~', "\x1b[33m"};
    case ObjChange::kNone:
      break;
  }
  return {'>', "\x1b[36m"};
}

// An empty text would be overlooked.
std::string Shown(const KorString& text) {
  return text.IsEmpty() ? "(empty)" : DisplayText(text.View());
}

std::string Movement(const ObjBase& element) {
  const bool moved = element.GetPlace() != nullptr && element.GetPreviousPlace() != nullptr;
  if (!moved) return {};
  const ObjPlace& place = *element.GetPlace();
  return place.IsFirst() ? " (moved to the front)"
                         : " (moved after " + Shown(place.GetAfter()) + ")";
}

void AppendPart(std::string_view name, const KorString& text, const KorString* previous,
                std::string& out) {
  const bool isSaid = previous == nullptr ? !text.IsEmpty() : *previous != text;
  if (!isSaid) return;
  out += out.empty() ? "" : ", ";
  out += std::string(name) + " ";
  if (previous != nullptr) out += Shown(*previous) + " -> ";
  out += Shown(text);
}

std::string Value(const ObjInstAttr& value) {
  if (value.GetChange() == ObjChange::kNone) return {};
  const KorString* previous = value.GetPreviousValue();
  return ": " + (previous == nullptr ? "" : Shown(*previous) + " -> ") + Shown(value.GetValue());
}

class Writer {
 public:
  explicit Writer(bool colours) : inColour(colours) {}

  void Write(const ObjType& type) {
    Line(type, 0, Shown(type.GetName()));
    for (const ObjTypeAttr* attribute : type.Attributes()) {
      Line(*attribute, 1, "definition " + Shown(attribute->GetName()) + DefinitionText(*attribute));
    }
    for (const ObjInst* instance : type.Instances()) Write(*instance);
  }

  std::string Take() { return std::move(text); }

 private:
  void Write(const ObjInst& instance) {
    Line(instance, 1, "#" + DisplayText(instance.GetName().View()));
    for (const ObjInstAttr* value : instance.Attributes()) {
      Line(*value, 2, Shown(value->GetName()) + Value(*value));
    }
  }

  void Line(const ObjBase& element, size_t depth, const std::string& content) {
    const Mark mark = MarkOf(element);
    if (inColour) text += mark.colour;
    text += mark.letter;
    text.append(1 + 2 * depth, ' ');
    text += content + Movement(element);
    if (inColour) text += kPlain;
    text += '\n';
  }

  const bool inColour;
  std::string text;
};

}  // namespace

std::string DefinitionText(const ObjTypeAttr& attribute) {
  const ObjDefinition* previous = attribute.GetPreviousDefinition();
  std::string out;
  AppendPart("type", attribute.GetType(), previous ? &previous->type : nullptr, out);
  AppendPart("unit", attribute.GetUnit(), previous ? &previous->unit : nullptr, out);
  AppendPart("description", attribute.GetDesc(), previous ? &previous->desc : nullptr, out);
  return out.empty() ? out : ": " + out;
}

std::string DifferenceToText(const ObjInv& difference, bool inColour) {
  Writer writer(inColour);
  for (const ObjType* type : difference.Objects()) writer.Write(*type);
  return writer.Take();
}

bool StandardOutputWantsColour() {
  const char* refusal = getenv("NO_COLOR");
  if (refusal != nullptr && *refusal != '\0') return false;
  const char* terminal = getenv("TERM");
  if (terminal != nullptr && std::string_view(terminal) == "dumb") return false;
  return isatty(STDOUT_FILENO) != 0;
}

}  // namespace agent
