// The inventory document: classes with their attribute definitions, instances and values.
//
// All names and values are bytes. Names are unique within their level. Elements keep the order in
// which they were made. A document and all below it belong to one thread at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

#include "kor/container.h"
#include "kor/debug.h"
#include "kor/string.h"
#include "kor/xml_sax_parser.h"
#include "korcore/obj_base.h"

// One value of an instance.
class ObjInstAttr : public ObjBase {
 public:
  using ObjBase::ObjBase;

  const KorString& GetValue() const { return value; }
  void SetValue(const KorString& text) { value = text; }
  void SetValue(KorString&& text) { value = std::move(text); }

  // The value before the change, in a differential or a merge; null when there is none.
  const KorString* GetPreviousValue() const { return previousValue.get(); }
  void SetPreviousValue(const KorString& text) {
    previousValue = std::make_unique<KorString>(text);
  }

 private:
  KorString value;
  std::unique_ptr<KorString> previousValue;
};

// One instance of a class.
class ObjInst : public ObjBase {
 public:
  using ObjBase::ObjBase;

  ObjSetOf<ObjInstAttr>& Attributes() { return attributes; }
  const ObjSetOf<ObjInstAttr>& Attributes() const { return attributes; }

  // The value element of that name, made and appended when absent; null only without memory, which
  // is noted (kor/shortage.h): without an element here and there it is another inventory.
  ObjInstAttr* Ensure(const KorString& name);

 private:
  ObjSetOf<ObjInstAttr> attributes;
};

// What a definition says besides its name.
struct ObjDefinition {
  KorString type;
  KorString unit;
  KorString desc;

  bool operator==(const ObjDefinition&) const = default;
};

// One attribute definition of a class. The type is a label: values are text whatever it says.
class ObjTypeAttr : public ObjBase {
 public:
  explicit ObjTypeAttr(const KorString& initialName, const KorString& initialType = KorString())
      : ObjBase(initialName), definition{initialType, KorString(), KorString()} {}

  const KorString& GetType() const { return definition.type; }
  const KorString& GetUnit() const { return definition.unit; }
  const KorString& GetDesc() const { return definition.desc; }
  void SetType(const KorString& text) { definition.type = text; }
  void SetUnit(const KorString& text) { definition.unit = text; }
  void SetDesc(const KorString& text) { definition.desc = text; }

  const ObjDefinition& GetDefinition() const { return definition; }
  void SetDefinition(const ObjDefinition& newDefinition) { definition = newDefinition; }

  // The definition before the change, in a differential or a merge; null when there is none.
  const ObjDefinition* GetPreviousDefinition() const { return previousDefinition.get(); }
  void SetPreviousDefinition(const ObjDefinition& old) {
    previousDefinition = std::make_unique<ObjDefinition>(old);
  }

  // A full copy, owned by the caller. The argument is ignored.
  ObjTypeAttr* Clone(unsigned long what = 8) const;

 private:
  ObjDefinition definition;
  std::unique_ptr<ObjDefinition> previousDefinition;
};

// One class.
class ObjType : public ObjBase {
 public:
  using ObjBase::ObjBase;

  ObjSetOf<ObjTypeAttr>& Attributes() { return attributes; }
  const ObjSetOf<ObjTypeAttr>& Attributes() const { return attributes; }
  ObjSetOf<ObjInst>& Instances() { return instances; }
  const ObjSetOf<ObjInst>& Instances() const { return instances; }

  // The instance of that name, made and appended when absent.
  ObjInst* Ensure(const KorString& name);
  // The definition of that name, made and appended when absent; one that is there is returned
  // unchanged, whatever its type.
  ObjTypeAttr* Ensure(const KorString& name, const KorString& type);

 private:
  ObjSetOf<ObjTypeAttr> attributes;
  ObjSetOf<ObjInst> instances;
};

class ObjInvParser;

// What one query may cost.
struct ObjQueryLimits {
  size_t rows = 10'000;
  size_t bytes = 67'108'864;  // of all values together, with a share for each one's upkeep
  uint32_t milliseconds = 5'000;
};

class ObjInv {
 public:
  // Messages about the document go to the context; null is allowed.
  explicit ObjInv(KorDebugContext* context);
  ~ObjInv();
  ObjInv(const ObjInv&) = delete;
  ObjInv& operator=(const ObjInv&) = delete;

  const KorString& GetName() const { return name; }
  void SetName(const KorString& text) { name = text; }

  // The kind of document: 0 not set, 1 whole, 2 differential, 3 whole merged with the differential.
  unsigned long GetType() const { return type; }
  void SetType(unsigned long kind) { type = kind; }
  const KorString& GetChecksum() const { return checksum; }
  void SetChecksum(const KorString& text) { checksum = text; }
  const KorString& GetLastChecksum() const { return lastChecksum; }
  void SetLastChecksum(const KorString& text) { lastChecksum = text; }

  ObjSetOf<ObjType>& Objects() { return objects; }
  const ObjSetOf<ObjType>& Objects() const { return objects; }

  // The class of that name, made and appended when absent.
  ObjType* Ensure(const KorString& name);

  // Removes everything: classes, name, kind and checksums.
  void Clear();

  // Replaces everything by a copy of what the other document holds, marks included.
  void CopyFrom(const ObjInv& other);

  // Replaces the classes of `out` by what must be known to make this document's classes out of the
  // old document's, and the other way round; none when they are equal. The documents' own names,
  // kinds and checksums are neither compared nor touched. False, with the reason logged and the
  // classes of `out` removed, when either document carries marks itself: what is already a
  // differential or a merge has no state of its own to compare.
  bool Diff(const ObjInv& old, ObjInv& out) const;

  // Makes the new document out of this one, the old. False, with the reason logged and nothing
  // changed, when the differential was not made from this document.
  bool Apply(const ObjInv& diff);

  // Lays the differential into this document, the new one it was made from: changes are marked and
  // what was removed is there again, marked so. False, with the reason logged and nothing changed,
  // when the differential does not belong to this document.
  bool Merge(const ObjInv& diff);

  // Replace the classes of `out` by the new or the old ones of this merge, without marks. The old
  // ones: false, with the reason logged and the classes of `out` removed, when the marks contradict
  // each other.
  void ReadNew(ObjInv& out) const;
  bool ReadOld(ObjInv& out) const;

  // Gives the document as XML (docs/file-formats.md) in pieces.
  void WriteXml(const std::function<void(std::string_view)>& write) const;

  // Replaces the file by this document as XML (docs/file-formats.md). Equal documents give equal
  // files, byte for byte. False on a write error and for a file that would be longer than that,
  // with the reason logged; the old file then stays.
  bool Save(const KorString& path, uint64_t mostBytes = kXmlSizeLimit) const;

  // Replaces this document by the one in the file. False, with file, line and reason logged and the
  // document empty, when the file cannot be read or is not such a document. The parser argument is
  // ignored.
  bool Parse(const KorString& path, ObjInvParser* parser);

  // Replaces the file by an SQLite database of this document (docs/file-formats.md). False on a
  // write error, with the reason logged; the old file then stays.
  bool Dump(const KorString& path) const;

  // Runs the statement in the container's "Query" on the dump at the path and replaces the
  // container's content by "Columns" (strings), "Rows" (containers with "Values", strings; no such
  // key without rows) and "Truncated" (bool), or by "Error" (string). Read-only; attached databases
  // and pragmas are refused. What the limits cut off makes "Truncated" true; a query that reaches
  // the time limit before its first row is an "Error". False when there is an "Error".
  bool Query(const KorString& path, KorContainer& container, const ObjQueryLimits& limits = {});

 private:
  KorDebugContext* context;
  KorString name;
  unsigned long type = 0;
  KorString checksum;
  KorString lastChecksum;
  ObjSetOf<ObjType> objects;
};

// Whether two documents are the same in every class, definition, instance and value, marks and
// order included; the documents' own name, kind and checksums are left out.
bool SameObjects(const ObjInv& left, const ObjInv& right);

// Whether they are the same in everything.
bool SameDocuments(const ObjInv& left, const ObjInv& right);
