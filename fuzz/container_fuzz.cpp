// Containers from XML files, and assignments that are made of them.

#include "agent/container_json.h"
#include "kor/container.h"
#include "kor/file.h"
#include "korcore/assignment.h"
#include "support.h"

namespace {

class CountedAssignment : public KorAssignment {
 public:
  size_t done = 0;

 protected:
  int64_t Assign() override { return Count(); }
  int64_t Update() override { return Count(); }
  int64_t Delete() override { return Count(); }

 private:
  int64_t Count() {
    ++done;
    return 0;
  }
};

size_t Perform(KorContainer container, bool contentInContainer, KorDebugContext& log) {
  CountedAssignment assignment;
  assignment.Initialise("Test", &container, &log, contentInContainer, false);
  if (!assignment.IsValid()) return 0;
  fuzz::Require(!assignment.GetName().IsEmpty(), "an assignment has a name");
  assignment.PerformAssignment();
  return assignment.done;
}

void CheckAssignment(KorContainer container, const fuzz::Folder& folder, KorDebugContext& log) {
  // A path in a container is the host's own; one of the input could name any device.
  if (container.CountValues(assignment_key::kFilePath) > 0) {
    container.SetString(assignment_key::kFilePath, folder.Path("input.xml"));
  }
  for (const bool contentInContainer : {true, false}) {
    fuzz::Require(Perform(container, contentInContainer, log) <= 1, "an assignment is done once");
    fuzz::Require(Perform(container, contentInContainer, log) == 0, "a repeated one is not done");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);
  KorAgentSetDataDir(folder.Path(""));

  KorContainer container;
  container.SetBool("Before", true);
  if (!container.LoadFromXMLFile(folder.Write("input.xml", fuzz::View(data, size)))) {
    fuzz::Require(container.Keys().size() == 1, "a container that cannot be read stays as it was");
    return 0;
  }
  const auto again = agent::ContainerFromJsonText(agent::ContainerToJsonText(container));
  fuzz::Require(again.IsOk() && again.Value() == container, "FromJson(ToJson(c)) = c");
  FileDelete(folder.Path("assignments.ini"), 1);
  CheckAssignment(container, folder, log);
  return 0;
}
