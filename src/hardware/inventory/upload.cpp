#include "hardware/inventory/upload.h"

#include "hardware/inventory/neighbours.h"
#include "kor/file.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>

namespace HardwareInventory {
namespace {

constexpr unsigned long kWhole = 1;
constexpr unsigned long kDifferential = 2;
constexpr unsigned long kWholeWithDifferential = 3;

uint32_t Now() {
  return static_cast<uint32_t>(std::time(nullptr));
}

void RemoveOrWarn(const KorString& path) {
  if (!FileDelete(path)) debugInv.WarningWithNL("Failed to remove file '%S'", path);
}

void DropUnchanged() KOR_REQUIRES(mutexInv) {
  debugInv.PrintWithNL("Not sending unchanged hardware inventory");
  FileDelete(strModuleLastDataFile);
}

// What is known of the inventory last sent when another one is to be sent.
struct Comparison {
  explicit Comparison(KorDebugContext* context) : diff(context) {}

  KorString lastSum;
  KorString sentSum;
  ObjInv diff;
  // Without it an empty `diff` says nothing.
  bool isComputed = false;

  bool HasChanges() const { return isComputed && diff.Objects().Count() != 0; }
  bool HasEqualSums() const { return lastSum == sentSum; }
};

// Reads the inventory last sent and computes and keeps the difference.
void ComputeDifference(ObjInv& document, Comparison& comparison) KOR_REQUIRES(mutexInv) {
  ObjInv sent(KorAgentGetDebugContext());
  if (!sent.Parse(strModuleSentDataFile, nullptr)) {
    debugInv.WarningWithNL("Failed to parse last sent inventory (%S)", strModuleSentDataFile);
    return;
  }
  if (!document.Diff(sent, comparison.diff)) {
    debugInv.WarningWithNL("Failed to compute inventory delta");
    return;
  }
  comparison.isComputed = true;
  if (!comparison.diff.Save(strModuleDiffDataFile)) {
    debugInv.WarningWithNL("Failed to save inventory delta");
  }
}

// The inventory last sent serves once: should the sending fail, the next upload is a whole one.
void UseUpSentInventory(ObjInv& document, Comparison& comparison) KOR_REQUIRES(mutexInv) {
  if (FileExists(strModuleDiffDataFile)) RemoveOrWarn(strModuleDiffDataFile);
  if (!FileExists(strModuleSentDataFile)) return;
  ComputeDifference(document, comparison);
  // Without its sum the server could not tell which inventory a difference is to.
  if (comparison.sentSum.IsEmpty()) comparison.isComputed = false;
  RemoveOrWarn(strModuleSentDataFile);
}

ObjInv& ChooseDifferential(Comparison& comparison) {
  comparison.diff.SetType(kDifferential);
  comparison.diff.SetChecksum(comparison.lastSum);
  comparison.diff.SetLastChecksum(comparison.sentSum);
  return comparison.diff;
}

ObjInv& ChooseWhole(ObjInv& document, Comparison& comparison) {
  document.SetType(kWhole);
  document.SetChecksum(comparison.lastSum);
  if (!comparison.HasChanges()) return document;
  if (document.Merge(comparison.diff)) {
    document.SetType(kWholeWithDifferential);
    document.SetLastChecksum(comparison.sentSum);
  } else {
    debugInv.WarningWithNL("Failed to merge inventory with diff");
  }
  return document;
}

// The files and the configuration after a successful sending.
void RecordSent() KOR_REQUIRES(mutexInv) {
  if (FileExists(strModuleSentDataFile)) RemoveOrWarn(strModuleSentDataFile);
  if (!FileRename(strModuleLastDataFile, strModuleSentDataFile)) {
    debugInv.WarningWithNL("Failed to rename file '%S' to '%S'", strModuleLastDataFile,
                           strModuleSentDataFile);
  }
  hwConfig.SetLastInventorySent(Now(), true);
  hwConfig.Write(strModuleIniFile, kConfigLastInventorySent);
}

// As of the file that it is stored in.
KorString SumOf(const ObjInv& document) {
  std::string xml;
  document.WriteXml([&xml](std::string_view piece) { xml += piece; });
  return TextMd5(KorString(std::move(xml)));
}

// Sums of the two files. Without a Sent file nothing will be computed that a differential could
// tell.
void ReadSums(Comparison& comparison, bool differential) KOR_REQUIRES(mutexInv) {
  comparison.lastSum = FileMd5(strModuleLastDataFile);
  if (FileExists(strModuleSentDataFile)) {
    comparison.sentSum = FileMd5(strModuleSentDataFile);
  } else if (differential) {
    debugInv.PrintWithNL("No diff will be sent as there is no last sent inventory");
  }
}

bool IsUnconnected() {
  KorContainer topology;
  KorString word;
  return InvokeLocalAction("IdentityGetDeviceTopology", topology) &&
         topology.GetString("Topology", word) && word == "_DB_DEVTYPE_UNCONNECTED_";
}

}  // namespace

bool IsTimeToSendInventory() {
  const uint32_t gap = hwConfig.GetUploadGap(true);
  const uint32_t last = hwConfig.GetLastInventorySent(true);
  // In 32 bits, as the times are kept: a sum past them wraps.
  return gap == 0 || gap + last < Now();
}

bool ProcessUpload(ObjInv& document, bool differential, bool force, bool bypass) {
  const KorMutexLock lock(mutexInv);
  if (!IsTimeToSendInventory() && !force) {
    debugInv.PrintWithNL("Gap since last inventory sent is too short");
    return true;
  }
  fUploadRequested = false;
  if (!FileExists(strModuleLastDataFile)) {
    debugInv.PrintWithNL("Inventory has not been processed yet");
    return true;
  }
  Comparison comparison(KorAgentGetDebugContext());
  ReadSums(comparison, differential);
  // What cannot be read is known all the same; without its sum, no difference could follow.
  if (comparison.lastSum.IsEmpty()) comparison.lastSum = SumOf(document);
  if (comparison.HasEqualSums() && !force) {
    DropUnchanged();
    return true;
  }
  comparison.diff.SetName("HWINVENTORY");
  UseUpSentInventory(document, comparison);
  if (differential && comparison.isComputed && !comparison.HasChanges() && !force) {
    DropUnchanged();
    return true;
  }
  ObjInv& chosen = differential && comparison.HasChanges() ? ChooseDifferential(comparison)
                                                           : ChooseWhole(document, comparison);
  chosen.SetName("HWINVENTORY");
  if (!ProcessSend(chosen, bypass)) return false;
  RecordSent();
  return true;
}

bool ProcessSend(const ObjInv& document, bool bypass) {
  const KorString& path = strModuleUpldDataFile;
  if (FileExists(path) && !FileDelete(path)) {
    debugInv.ErrorWithNL("Failed to remove file '%S'", path);
    return false;
  }
  document.Save(path);
  if (!FileExists(path)) {
    debugInv.ErrorWithNL("Failed to save inventory '%S'", path);
    return false;
  }
  KorContainer file;
  file.SetString("FileName", "");
  file.SetBool("Upstream", true);
  file.SetBool("Bypass", bypass);
  file.SetString("FileType", "HardwareInventory2");
  file.SetString("FileLabel", "HardwareInventory2");
  file.SetString("CopyPath", path);
  if (IsUnconnected()) {
    file.SetBool("Unconnected", true);
    file.SetString("FilePath", path);
  }
  return InvokeLocalAction("FileStoreReceiveFile", file);
}

void ProcessUploadStatus(const KorString& status, const KorString& entry) {
  debugInv.PrintWithNL("Sending status '%S' for entry '%S'", status, entry);
  KorContainer identity;
  if (!InvokeLocalAction("IdentityGetGUID", identity)) {
    debugInv.ErrorWithNL("Cannot get our GUID while sending status");
    return;
  }
  KorString guid;
  if (!identity.GetString("GUID", guid)) return;
  KorContainer parameters;
  parameters.SetString("EntryName", entry);
  parameters.SetString("Status", status);
  parameters.SetString("DeviceGUID", guid);
  KorString logInfo;
  logInfo.Printf("Hardware status from device '%S': status '%S' for entry '%S'", guid, status,
                 entry);
  if (!CallServerAction("K42DbHardwareGiveStatus", parameters, logInfo)) {
    debugInv.ErrorWithNL("Failed to call AsynchronousActions to send status");
  }
}

}  // namespace HardwareInventory
