// Assignments: named objects that the server gives to a module, such as a translation file. The
// protocol is in docs/assignments.md.

#pragma once

#include <cstdint>

#include "kor/container.h"
#include "kor/debug.h"
#include "kor/string.h"

// The keys of an assignment's container.
namespace assignment_key {
inline constexpr const char* kName = "AssignmentName";      // string, required
inline constexpr const char* kModule = "AssignmentModule";  // string, required: for which module
inline constexpr const char* kOperation = "AssignmentOperation";  // string, see below
inline constexpr const char* kContent = "AssignmentContent";      // string: the content itself
inline constexpr const char* kFileType = "FileType";              // string: strFILETYPE, for files
inline constexpr const char* kFilePath = "FilePath";  // string: the file with the content
}  // namespace assignment_key

// The operations; "assign" when the key is absent.
namespace assignment_operation {
inline constexpr const char* kAssign = "assign";
inline constexpr const char* kAdvertise = "advertise";
inline constexpr const char* kWithdraw = "withdraw";
}  // namespace assignment_operation

// Reads an assignment, decides what it means on this device, and calls the matching operation of
// the derived class. What was assigned before is remembered in the data folder, in assignments.ini:
// one section for each module, one key for each assignment, the checksum of the content as its
// value.
//
//   assign, not known           -> Assign()
//   assign, known, changed      -> Update()
//   assign, known, unchanged    -> nothing: a repeated delivery is harmless
//   advertise                   -> Advertise()
//   withdraw, known             -> Delete(), and it is forgotten
//   withdraw, not known         -> nothing
class KorAssignment {
 public:
  // The file type by which received files are known as assignments.
  static const KorString strFILETYPE;

  KorAssignment() = default;
  virtual ~KorAssignment();
  KorAssignment(const KorAssignment&) = delete;
  KorAssignment& operator=(const KorAssignment&) = delete;

  // Copies all that is needed out of the container, which the caller may clear then. The first flag
  // says where the content is: true, in the container itself (an action was invoked with it);
  // false, in a file that the container names, whose type must be strFILETYPE (a file was
  // received). The second flag is ignored. The result is told by IsValid().
  void Initialise(const KorString& moduleName, KorContainer* parameters, KorDebugContext* context,
                  bool contentInContainer, bool unused = false);

  // Whether this is a complete assignment for the module. What is missing in one that is meant for
  // the module is logged as a warning.
  bool IsValid() const { return valid; }

  // The code of the operation that was called; 0 when nothing had to be done or it is not valid. In
  // a process one assignment is performed at a time: an operation must not perform another.
  int64_t PerformAssignment();

  const KorString& GetName() const { return name; }
  // The content as it was assigned.
  const KorString& GetRawString() const { return content; }

 protected:
  virtual int64_t Assign();
  virtual int64_t Advertise();
  virtual int64_t Update();
  virtual int64_t Delete();

  // To be called by an operation that could not do its work: the assignment is then not remembered,
  // so that the same content is tried again when it is sent again.
  void SetFailed() { failed = true; }

 private:
  bool ReadParameters(const KorContainer& parameters, bool contentInContainer);
  bool ReadContent(const KorContainer& parameters, bool contentInContainer);
  bool Refuse(const KorString& reason);
  int64_t AssignOrUpdate();
  int64_t Withdraw();

  KorDebug debug{"KorAssignment", "Assignments"};
  KorString module;
  KorString name;
  KorString operation;
  KorString content;
  bool valid = false;
  bool failed = false;
};
