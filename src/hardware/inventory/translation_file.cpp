#include "hardware/inventory/translation_file.h"

#include <cerrno>

#include "hardware/filter/default_translation_file.h"
#include "kor/file.h"
#include "kor/zip_archive.h"
#include "korcore/agent_context.h"

namespace HardwareInventory {
namespace {

bool Remove(const KorString& path) {
  if (FileDelete(path)) return true;
  debugInv.ErrorWithNL("Failed to remove file '%S'", path);
  return false;
}

void RemoveDownload() {
  if (FileDelete(strModuleFilterFileTmp)) return;
  debugInv.WarningWithNL("Failed to remove file '%S'", strModuleFilterFileTmp);
}

// Written whole or not at all: half a document would not be noticed as missing the next time.
bool CreateDefaultFile(const KorString& path) {
  debugInv.PrintWithNL("Creating default translation file '%S'", path);
  if (SaveFileFromString(path, KorString(DEFAULT_TRANSLATION_FILE))) return true;
  debugInv.ErrorWithNL("Failed to create file '%S'", path);
  return false;
}

// An empty file is made anew where it is the default one, and is used as it is where somebody has
// configured it.
bool GetLocalFile(const KorString& name, KorString& path) KOR_REQUIRES(mutexInv) {
  const bool isDefault = name.IsEqualTo(kDefaultTranslationFile, true);
  const KorString file = AbsoluteTranslationFile(name);
  if (FileGetSize(file) == 0) {
    if (!isDefault) {
      debugInv.WarningWithNL("Using empty translation file '%S'", file);
    } else if (!Remove(file)) {
      return false;
    }
  }
  if (!FileExists(file)) {
    const bool isMissing = MeansMissing(errno);
    if (!isDefault) {
      debugInv.ErrorWithNL("Translation file does not exist '%S'", file);
      return false;
    }
    // What cannot be looked at may be somebody's: who reads it says why.
    if (isMissing && !CreateDefaultFile(file)) return false;
  }
  path = file;
  return true;
}

// Whether the download is an archive of one entry. Its entry is then extracted; a failure to do so
// is logged and leaves no file.
bool ExtractDownload() KOR_REQUIRES(mutexInv) {
  ZipArchive archive(strModuleFilterFileTmp);
  if (archive.GetLastError() != 0 || archive.GetCount() != 1) return false;
  if (!archive.Extract(1, strModuleFilterFileNet)) {
    debugInv.ErrorWithNL("Failed to extract file from archive");
  }
  return true;
}

// What is not an archive of one entry is the translation file itself.
bool UnpackDownload() KOR_REQUIRES(mutexInv) {
  if (ExtractDownload()) {
    RemoveDownload();
    return true;
  }
  if (FileRename(strModuleFilterFileTmp, strModuleFilterFileNet)) return true;
  debugInv.ErrorWithNL("Failed to rename file '%S' to '%S'", strModuleFilterFileTmp,
                       strModuleFilterFileNet);
  RemoveDownload();
  return false;
}

bool GetNetFile(const KorString& url, KorString& path) KOR_REQUIRES(mutexInv) {
  if (FileExists(strModuleFilterFileNet) && !Remove(strModuleFilterFileNet)) return false;
  if (FileExists(strModuleFilterFileTmp) && !Remove(strModuleFilterFileTmp)) return false;
  if (FileCopyNet(url, strModuleFilterFileTmp) != 0) {
    debugInv.ErrorWithNL("Failed to retrieve file from URL '%S'", url);
    return false;
  }
  if (!UnpackDownload()) return false;
  if (!FileExists(strModuleFilterFileNet)) {
    debugInv.ErrorWithNL("File does not exist '%S'", strModuleFilterFileNet);
    return false;
  }
  if (FileGetSize(strModuleFilterFileNet) == 0) {
    debugInv.WarningWithNL("Using empty translation file '%S'", strModuleFilterFileNet);
  }
  path = strModuleFilterFileNet;
  return true;
}

}  // namespace

KorString AbsoluteTranslationFile(const KorString& name) {
  KorString drive;
  KorString directory;
  KorString baseName;
  KorString extension;
  SplitPath(name, drive, directory, baseName, extension);
  if (directory.StartsWith("/", true) || directory.StartsWith("\\", true)) return name;
  KorString configDir;
  KorAgentGetConfigDir(configDir);
  return CompletePath(configDir + name);
}

bool GetTranslationFile(KorString& path) {
  KorString name = hwConfig.GetTranslationFile(true);
  debugInv.PrintWithNL("Processing configured translation file '%S'", name);
  if (name.IsEmpty()) {
    name = strModuleFilterFileStd;
    debugInv.WarningWithNL("Translation file path is empty, using default '%S'", name);
  }
  const KorMutexLock lock(mutexInv);
  const bool isUrl = name.Find("://", 0) >= 0;
  return isUrl ? GetNetFile(name, path) : GetLocalFile(name, path);
}

}  // namespace HardwareInventory
