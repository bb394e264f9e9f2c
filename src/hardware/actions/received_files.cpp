#include "hardware/actions/action_handlers.h"
#include "hardware/actions/file_store_codes.h"
#include "hardware/actions/not_yet.h"

uint32_t HardwareInventory::ActionHandler_HardwareReceiveFile(KorContainer* container) {
  KorString fileType;
  KorString filePath;
  container->GetString("FileType", fileType);
  container->GetString("FilePath", filePath);
  if (fileType != "HardwareInventoryReset") return ReceiveAssignment(container);
  container->Clear();
  debugInv.PrintWithNL("Received file of type '%S'", fileType);
  KorContainer reset;
  reset.LoadFromXMLFile(filePath);
  ActionHandler_HardwareInventoryReset(&reset);
  return FILESTORE_ERROR_HANDLEROK;
}
