#include "agent/file_store.h"

#include <utility>

#include "agent/delivery_meaning.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

KorString NameOf(const KorString& path) {
  KorString drive, directory, name, extension;
  SplitPath(path, drive, directory, name, extension);
  return name + extension;
}

}  // namespace

FileStore::FileStore(DeliveryQueue& fileQueue, std::function<void()> added)
    : queue(fileQueue), onAdded(std::move(added)) {
  ActionDbRegisterAction(
      "FileStoreReceiveFile (string FileName, bool Upstream, bool Bypass, string FileType, "
      "string FileLabel, string CopyPath)",
      [this](KorContainer* container) { return Receive(*container); }, this);
}

FileStore::~FileStore() {
  ActionDbDropModule(this);
}

uint32_t FileStore::Receive(const KorContainer& parameters) {
  ParameterReader reader(parameters);
  const KorString path = reader.String("CopyPath");
  const KorString type = reader.String("FileType");
  const KorString label = reader.String("FileLabel", type);
  KorString name = reader.String("FileName");
  const bool upstream = reader.Bool("Upstream", true);
  const bool bypass = reader.Bool("Bypass", false);
  const bool unconnected = reader.Bool("Unconnected", false);
  if (path.IsEmpty() || type.IsEmpty() || reader.HasWrongType()) return ACTIONDB_ERROR_BADPARAM;
  if (!upstream) {
    KorFrameworkLog().ErrorWithNL("The file '%S' is not accepted: files go upstream only", path);
    return ACTIONDB_ERROR_FAILURE;
  }
  if (name.IsEmpty()) name = NameOf(path);
  KorContainer meaning = BeginMeaning("File");
  meaning.SetString("FileType", type);
  meaning.SetString("FileLabel", label);
  meaning.SetString("FileName", name);
  meaning.SetBool("Bypass", bypass);
  if (unconnected) meaning.SetBool("Unconnected", true);
  const Result<std::string> id = queue.AddFile(path, meaning);
  if (!id.IsOk()) {
    KorFrameworkLog().ErrorWithNL("The file '%S' is not accepted for delivery: %S", path,
                                  id.Reason());
    return ACTIONDB_ERROR_FAILURE;
  }
  KorFrameworkLog().DetailWithNL("The file '%S' of type '%S' waits for delivery as %s", path, type,
                                 id.Value());
  onAdded();
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace agent
