// Every value of the recorded machines' documents is explained, and so is every one that is absent.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "agent/explanation.h"
#include "agent/run_trace.h"
#include "hardware/inventory/scan_run.h"
#include "hardware/module/globals.h"
#include "kor/machine.h"
#include "kor/recording.h"
#include "support/captured_log.h"

namespace {

const std::filesystem::path kFolder = KOR_SOURCE_DIR "/tests/machines";

std::vector<std::string> Machines() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    if (entry.path().extension() == ".machine") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The machine's document, and what its scan told.
class ExplainedMachine : public testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    KorString error;
    const KorString file((kFolder / (GetParam() + ".machine")).string());
    ASSERT_TRUE(recording.Load(file, error)) << error.CStr();
    KorReplayMachine machine(recording);
    KorMachine* const before = KorMachine::SetCurrent(&machine);
    const CapturedLog log(HardwareInventory::debugInv);
    for (const auto& scanner : HardwareInventory::Scanners()) scanner.scan(document);
    KorMachine::SetCurrent(before);
  }

  // All of the class.
  std::vector<agent::Explanation> Explain(const ObjType& type) const {
    const auto explained = agent::Explain(trace, document, {type.GetName().Str(), "", ""});
    if (explained.IsOk()) return explained.Value();
    ADD_FAILURE() << explained.Reason().CStr();
    return {};
  }

  const KorString* ValueOf(const agent::TracedKey& key) const {
    const ObjType* const type = document.Objects().Get(KorString(key.className));
    const ObjInstAttr* const value =
        type->Instances().Get(KorString(key.instance))->Attributes().Get(KorString(key.attribute));
    return value == nullptr ? nullptr : &value->GetValue();
  }

  // Whether a run of the command printed the line.
  bool Printed(const std::string& command, const std::string& line) const {
    return std::any_of(recording.runs.begin(), recording.runs.end(), [&](const auto& run) {
      return run.command.Str() == command && run.result.output.find(line) != std::string::npos;
    });
  }

  void ExpectTrueSources(const agent::Explanation& explained, const std::string& what) const {
    for (const agent::TracedSource& source : explained.sources) {
      ASSERT_TRUE(source.command.has_value()) << what;
      for (const std::string& line : source.lines) {
        EXPECT_TRUE(Printed(source.command->line, line)) << what << ": " << line;
      }
    }
  }

  KorRecording recording;
  agent::RunTrace trace;
  ObjInv document{nullptr};
};

std::string Joined(const agent::Explanation& explained) {
  std::string text;
  for (const agent::TracedSource& source : explained.sources) {
    for (const std::string& line : source.lines) text += line + "\n";
  }
  return text;
}

std::string NameOf(const agent::TracedKey& key) {
  return key.className + "/" + key.instance + "/" + key.attribute;
}

// What no command says.
bool IsKnownOtherwise(const agent::TracedKey& key) {
  const std::set<std::string> names = {"Computer System/Name", "Operating System/Caption",
                                       "Logical Disk/Type"};
  return names.contains(key.className + "/" + key.attribute);
}

}  // namespace

TEST_P(ExplainedMachine, EveryValueHasItsCommandAndItsLineOrSaysHowItWasMade) {
  size_t values = 0;
  size_t explanations = 0;
  for (const ObjType* type : document.Objects()) {
    for (const ObjInst* instance : type->Instances()) values += instance->Attributes().Count();
    if (type->Instances().Count() == 0) continue;
    for (const agent::Explanation& explained : Explain(*type)) {
      if (!explained.value) continue;
      ++explanations;
      const std::string what = NameOf(explained.key);
      const KorString* const value = ValueOf(explained.key);
      ASSERT_NE(value, nullptr) << what;
      EXPECT_EQ(explained.value, value->Str()) << what;
      EXPECT_EQ(explained.absentBecause, "") << what;
      ExpectTrueSources(explained, what);
      EXPECT_EQ(explained.sources.empty(), IsKnownOtherwise(explained.key)) << what;
      EXPECT_TRUE(!explained.how.empty() ||
                  Joined(explained).find(value->Str()) != std::string::npos)
          << what;
    }
  }
  EXPECT_GT(values, 0U);
  EXPECT_EQ(explanations, values);
}

TEST_P(ExplainedMachine, EveryAbsentValueHasItsReason) {
  for (const ObjType* type : document.Objects()) {
    if (type->Instances().Count() == 0) continue;
    size_t absent = 0;
    size_t values = 0;
    for (const ObjInst* instance : type->Instances()) values += instance->Attributes().Count();
    for (const agent::Explanation& explained : Explain(*type)) {
      if (explained.value) continue;
      ++absent;
      const std::string what = NameOf(explained.key);
      EXPECT_EQ(ValueOf(explained.key), nullptr) << what;
      EXPECT_NE(explained.absentBecause, "") << what;
      EXPECT_NE(explained.absentBecause, "its scanner did not look for it") << what;
      EXPECT_FALSE(explained.sources.empty()) << what;
      ExpectTrueSources(explained, what);
    }
    EXPECT_EQ(absent + values, type->Attributes().Count() * type->Instances().Count());
  }
}

TEST_P(ExplainedMachine, EveryEmptyClassHasItsReason) {
  for (const ObjType* type : document.Objects()) {
    if (type->Instances().Count() != 0) continue;
    const std::vector<agent::Explanation> all = Explain(*type);
    ASSERT_EQ(all.size(), 1U);
    const agent::Explanation& explained = all.front();
    EXPECT_NE(explained.absentBecause, "") << type->GetName().CStr();
    EXPECT_NE(explained.absentBecause, "its scanner made none") << type->GetName().CStr();
    EXPECT_NE(explained.absentBecause, "its scanner asked for nothing") << type->GetName().CStr();
    ExpectTrueSources(explained, type->GetName().Str());
  }
}

INSTANTIATE_TEST_SUITE_P(Machines, ExplainedMachine, testing::ValuesIn(Machines()),
                         [](const auto& one) { return one.param; });

TEST(ExplainedMachines, AreMany) {
  EXPECT_GE(Machines().size(), 14U);
}
