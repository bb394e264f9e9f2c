// Differentials: what is made from two documents turns the old one into the new one and lets both
// be read out of a merge; what was not made from them changes nothing.

#include "korcore/obj_inv.h"
#include "support.h"

namespace {

// Few, so that two documents have much in common; some contain one another, some need escapes.
KorString Name(fuzz::Bytes& bytes) {
  constexpr std::string_view kNames[] = {"a", "b", "c", "d", "ab", "", "<&\">", "\xFF\n"};
  return KorString(kNames[bytes.Below(std::size(kNames))]);
}

template <typename T>
T* AddTo(ObjSetOf<T>& set, const KorString& name) {
  auto made = std::make_unique<T>(name);
  return set.Add(made.get()) ? made.release() : nullptr;
}

ObjPlace Place(fuzz::Bytes& bytes) {
  return bytes.Bit() ? ObjPlace::First() : ObjPlace::After(Name(bytes));
}

// Marks that nobody has made by comparing.
void Mark(ObjBase& element, fuzz::Bytes& bytes) {
  const size_t kind = bytes.Below(32);
  element.SetChange(static_cast<ObjChange>(kind & 3U));
  if ((kind & 4U) != 0) element.SetPlace(Place(bytes));
  if ((kind & 8U) != 0) element.SetPreviousPlace(Place(bytes));
}

void FillInstance(ObjInst& instance, fuzz::Bytes& bytes, bool marked) {
  for (size_t left = bytes.Below(5); left > 0; --left) {
    ObjInstAttr* value = AddTo(instance.Attributes(), Name(bytes));
    if (value == nullptr) continue;
    value->SetValue(Name(bytes));
    if (!marked) continue;
    Mark(*value, bytes);
    if (bytes.Bit()) value->SetPreviousValue(Name(bytes));
  }
}

void FillClass(ObjType& type, fuzz::Bytes& bytes, bool marked) {
  for (size_t left = bytes.Below(4); left > 0; --left) {
    ObjTypeAttr* definition = AddTo(type.Attributes(), Name(bytes));
    if (definition == nullptr) continue;
    definition->SetDefinition({Name(bytes), KorString(), KorString()});
    if (!marked) continue;
    Mark(*definition, bytes);
    if (bytes.Bit()) definition->SetPreviousDefinition({Name(bytes), KorString(), Name(bytes)});
  }
  for (size_t left = bytes.Below(5); left > 0; --left) {
    ObjInst* instance = AddTo(type.Instances(), Name(bytes));
    if (instance == nullptr) continue;
    if (marked) Mark(*instance, bytes);
    FillInstance(*instance, bytes, marked);
  }
}

void Fill(ObjInv& document, fuzz::Bytes& bytes, bool marked) {
  for (size_t left = bytes.Below(5); left > 0; --left) {
    ObjType* type = AddTo(document.Objects(), Name(bytes));
    if (type == nullptr) continue;
    if (marked) Mark(*type, bytes);
    FillClass(*type, bytes, marked);
  }
}

// The same after a way through a file.
void Store(const fuzz::Folder& folder, ObjInv& document) {
  const KorString path = folder.Path("document.xml");
  ObjInv read(nullptr);
  fuzz::Require(document.Save(path) && read.Parse(path, nullptr), "it can be saved and read");
  fuzz::Require(SameDocuments(document, read), "Parse(Save(d)) = d");
  document.CopyFrom(read);
}

void CheckApply(const ObjInv& old, const ObjInv& changed, const ObjInv& difference) {
  ObjInv made(nullptr);
  made.CopyFrom(old);
  fuzz::Require(made.Apply(difference), "a differential can be applied to the old document");
  fuzz::Require(SameObjects(made, changed), "Apply(Diff(old, new)) = new");
}

void CheckMerge(const fuzz::Folder& folder, const ObjInv& old, const ObjInv& changed,
                const ObjInv& difference) {
  ObjInv merge(nullptr);
  merge.CopyFrom(changed);
  fuzz::Require(merge.Merge(difference), "a differential can be merged into the new document");
  Store(folder, merge);
  ObjInv made(nullptr);
  merge.ReadNew(made);
  fuzz::Require(SameObjects(made, changed), "the new document can be read out of a merge");
  fuzz::Require(merge.ReadOld(made), "an old document can be read out of a merge");
  fuzz::Require(SameObjects(made, old), "the old document can be read out of a merge");
}

// It may happen to fit. When it does not, nothing may change.
void CheckForeign(const ObjInv& document, const ObjInv& foreign, KorDebugContext& log) {
  ObjInv target(&log);
  target.CopyFrom(document);
  if (!target.Apply(foreign)) {
    fuzz::Require(SameDocuments(target, document),
                  "a differential that does not fit changes nothing");
  }
  target.CopyFrom(document);
  if (!target.Merge(foreign)) {
    fuzz::Require(SameDocuments(target, document), "a merge that fails changes nothing");
  }
  ObjInv out(nullptr);
  target.CopyFrom(foreign);
  target.ReadNew(out);
  if (!target.ReadOld(out)) {
    fuzz::Require(out.Objects().Count() == 0, "nothing is given where the marks contradict");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);

  fuzz::Bytes bytes(fuzz::View(data, size));
  ObjInv old(&log), changed(&log), foreign(&log), difference(&log);
  Fill(old, bytes, false);
  Fill(changed, bytes, false);
  Fill(foreign, bytes, true);

  fuzz::Require(changed.Diff(old, difference), "two documents without marks can be compared");
  fuzz::Require((difference.Objects().Count() == 0) == SameObjects(old, changed),
                "a differential is empty when nothing has changed, and only then");
  Store(folder, difference);
  CheckApply(old, changed, difference);
  CheckMerge(folder, old, changed, difference);
  CheckForeign(old, difference, log);
  CheckForeign(old, foreign, log);
  return 0;
}
