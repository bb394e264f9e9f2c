#include "hardware/filter/modify_xml_file.h"

#include <memory>

#include "kor/file.h"
#include "kor/ini_file.h"
#include "kor/markup_tree.h"
#include "korcore/action_db.h"

namespace HardwareInventory {
namespace {

const char* const kRoot = "HWINVCONFIG";
const char* const kClassList = "HWINVWMILIST";

// Two edits at once would write the same temporary file. Held around mutexInv, never within it.
KorMutex editLock;

struct Edit {
  KorString className;
  KorString classId;
  KorContainer values;
};

struct AttributeEdit {
  KorString name;
  KorString type;
  KorString action;
};

KorString FileToEdit() {
  KorString path;
  // The default repeats the section's name; without the setting there is no file to edit.
  IniFile(strModuleIniFile)
      .GetEntryValue("HardwareInventory", "TranslationFile", path, "HardwareInventory");
  return path;
}

MarkupElementNode* Append(MarkupElementNode& parent, const char* name) {
  auto child = std::make_unique<MarkupElementNode>(name);
  MarkupElementNode* element = child.get();
  parent.AddChild(child.release());
  return element;
}

void AppendText(MarkupElementNode& parent, const char* name, const KorString& text) {
  Append(parent, name)->AddChild(std::make_unique<MarkupTextNode>(text).release());
}

MarkupElementNode* FindOrAppend(MarkupElementNode& parent, const char* name) {
  MarkupElementNode* child = parent.FindElement(name, 0);
  return child != nullptr ? child : Append(parent, name);
}

// The text that the child element begins with; null when there is none.
MarkupTextNode* TextOf(const MarkupElementNode& parent, const char* name) {
  const MarkupElementNode* child = parent.FindElement(name, 0);
  MarkupNode* first = child == nullptr ? nullptr : child->GetChildAt(0);
  return first == nullptr ? nullptr : first->CastAsTextNode();
}

bool HasText(const MarkupElementNode& parent, const char* name, const KorString& text) {
  const MarkupTextNode* node = TextOf(parent, name);
  return node != nullptr ? node->GetData() == text : text.IsEmpty();
}

void ReplaceText(const MarkupElementNode& parent, const char* name, const KorString& text) {
  if (MarkupTextNode* node = TextOf(parent, name)) node->SetData(text);
}

MarkupElementNode* AppendClass(MarkupElementNode& list, const Edit& edit) {
  MarkupElementNode* entry = Append(list, "HWWMICLASS");
  AppendText(*entry, "CLASSNAME", edit.className);
  AppendText(*entry, "CLASSID", edit.classId);
  AppendText(*entry, "ACTION", "Accept");
  Append(*entry, "ATTRIBUTES");
  return entry;
}

MarkupElementNode* FindOrAppendClass(MarkupElementNode& list, const Edit& edit) {
  for (size_t i = 0; MarkupElementNode* entry = list.FindElement("HWWMICLASS", i); ++i) {
    if (HasText(*entry, "CLASSNAME", edit.className) && HasText(*entry, "CLASSID", edit.classId)) {
      return entry;
    }
  }
  return AppendClass(list, edit);
}

// Every attribute of the name is updated. Only where there is none, one is added; "*" stands for
// all attributes of the class and has no type.
void EditAttribute(MarkupElementNode& attributes, const AttributeEdit& edit) {
  bool found = false;
  for (size_t k = 0; MarkupElementNode* entry = attributes.FindElement("ATTRIBUTE", k); ++k) {
    if (!HasText(*entry, "ATTRNAME", edit.name)) continue;
    ReplaceText(*entry, "ATTRTYPE", edit.type);
    ReplaceText(*entry, "ATTRACTION", edit.action);
    found = true;
  }
  if (found) return;
  MarkupElementNode* entry = Append(attributes, "ATTRIBUTE");
  AppendText(*entry, "ATTRNAME", edit.name);
  if (edit.name != "*") AppendText(*entry, "ATTRTYPE", edit.type);
  AppendText(*entry, "ATTRACTION", edit.action);
}

void EditTree(MarkupElementNode& root, const Edit& edit) {
  MarkupElementNode* entry = FindOrAppendClass(*FindOrAppend(root, kClassList), edit);
  const int32_t count = edit.values.CountValues("AttrName");
  for (int32_t j = 0; j < count; ++j) {
    const auto index = static_cast<size_t>(j);
    AttributeEdit attribute;
    edit.values.GetString("AttrName", attribute.name, index);
    edit.values.GetString("AttrType", attribute.type, index);
    edit.values.GetString("AttrAction", attribute.action, index);
    EditAttribute(*FindOrAppend(*entry, "ATTRIBUTES"), attribute);
  }
}

// Readers hold the module's lock, so they see the old file or the new one.
void Replace(const KorString& path, const KorString& content) KOR_EXCLUDES(mutexInv) {
  const KorString temporary = path + "~";
  FileDelete(temporary);
  if (!SaveFileFromString(temporary, content)) return;
  const KorMutexLock lock(mutexInv);
  if (FileRename(temporary, path)) return;
  debugInv.ErrorWithNL("Failed to rename file '%S' to '%S'", temporary, path);
  FileDelete(temporary);
}

void EditFile(const KorString& path, const Edit& edit) KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(editLock);
  MarkupTree tree;
  MarkupElementNode* root = tree.ParseFile(path) ? tree.FetchNode(kRoot) : nullptr;
  if (root == nullptr) {
    // To write it anew would throw away what somebody may want to mend.
    debugInv.ErrorWithNL("Cannot edit '%S', it is not a translation file", path);
    return;
  }
  EditTree(*root, edit);
  Replace(path, KorString("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n") + root->ToString());
}

}  // namespace

uint32_t ActionHandler_HardwareInvModifyXMLFile(KorContainer* params) {
  Edit edit;
  params->GetString("ClassName", edit.className);
  params->GetString("ClassID", edit.classId);
  params->GetContainer("Values", edit.values);
  params->Clear();
  EditFile(FileToEdit(), edit);
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace HardwareInventory
