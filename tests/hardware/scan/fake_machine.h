// A machine made of a table of commands and their results, and the fixture that scans it.

#pragma once

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "hardware/module/globals.h"
#include "kor/debug.h"
#include "kor/machine.h"
#include "korcore/obj_inv.h"

namespace scan_test {

// A command that nobody described is one that is not installed.
class FakeMachine : public KorMachine {
 public:
  KorCommandResult RunCommand(const KorString& command) override {
    ran.push_back(command.Str());
    const auto found = results.find(command.Str());
    if (found != results.end()) return found->second;
    return {KorCommandResult::Outcome::kExited, 127, ""};
  }
  bool FileExists(const KorString& path) override { return files.contains(path.Str()); }
  KorString HostName() override { return "host.example"; }
  KorString DistributionName() override { return "Example Linux 7 (Seven)"; }

  void Prints(const std::string& command, std::string output, int status = 0) {
    results[command] = {KorCommandResult::Outcome::kExited, status, std::move(output)};
  }
  size_t TimesRan(const std::string& command) const {
    size_t times = 0;
    for (const std::string& one : ran) times += one == command ? 1 : 0;
    return times;
  }

  std::map<std::string, KorCommandResult> results;
  std::set<std::string> files;
  std::vector<std::string> ran;
};

class RecordingContext : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override {
    lines.push_back(std::string(KorLogLevelName(record.level)) + " " + std::string(record.text));
  }
  std::vector<std::string> lines;
};

using Values = std::vector<std::pair<std::string, std::string>>;
using Names = std::vector<std::string>;

class ScanTest : public testing::Test {
 protected:
  ScanTest() : previous(KorMachine::SetCurrent(&machine)) {
    HardwareInventory::debugInv.SetContext(&log);
  }
  ~ScanTest() override {
    HardwareInventory::debugInv.SetContext(nullptr);
    KorMachine::SetCurrent(previous);
  }

  Names Classes() const {
    Names names;
    for (const ObjType* type : inventory.Objects()) names.push_back(type->GetName().Str());
    return names;
  }
  // "name type", with "unit" and (description) where there are any.
  Names Definitions(const char* className) const {
    Names definitions;
    for (const ObjTypeAttr* attribute : Class(className).Attributes()) {
      std::string text = attribute->GetName().Str() + " " + attribute->GetType().Str();
      if (!attribute->GetUnit().IsEmpty()) text += " \"" + attribute->GetUnit().Str() + "\"";
      if (!attribute->GetDesc().IsEmpty()) text += " (" + attribute->GetDesc().Str() + ")";
      definitions.push_back(text);
    }
    return definitions;
  }
  Names Instances(const char* className) const {
    Names names;
    for (const ObjInst* instance : Class(className).Instances()) {
      names.push_back(instance->GetName().Str());
    }
    return names;
  }
  // All values of an instance in the order in which they were made.
  Values ValuesOf(const char* className, const char* instanceName) const {
    Values values;
    for (const ObjInstAttr* attribute : Instance(className, instanceName).Attributes()) {
      values.emplace_back(attribute->GetName().Str(), attribute->GetValue().Str());
    }
    return values;
  }
  bool HasValue(const char* className, const char* instanceName, const char* attribute) const {
    return Instance(className, instanceName).Attributes().Get(attribute) != nullptr;
  }
  // "<absent>" when the instance has no such value.
  std::string ValueOf(const char* className, const char* instanceName,
                      const char* attribute) const {
    const ObjInstAttr* found = Instance(className, instanceName).Attributes().Get(attribute);
    return found == nullptr ? "<absent>" : found->GetValue().Str();
  }

  FakeMachine machine;
  RecordingContext log;
  ObjInv inventory{nullptr};

 private:
  const ObjType& Class(const char* name) const {
    const ObjType* type = inventory.Objects().Get(name);
    if (type == nullptr) throw std::runtime_error(std::string("no class ") + name);
    return *type;
  }
  const ObjInst& Instance(const char* className, const char* name) const {
    const ObjInst* instance = Class(className).Instances().Get(name);
    if (instance == nullptr) throw std::runtime_error(std::string("no instance ") + name);
    return *instance;
  }

  KorMachine* previous;
};

}  // namespace scan_test
