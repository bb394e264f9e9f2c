#include "hardware/actions/action_handlers.h"
#include "hardware/actions/file_store_codes.h"
#include "hardware/filter/hardware_assignment.h"
#include "korcore/agent_context.h"

namespace HardwareInventory {
namespace {

uint32_t ReceiveTranslationFile(KorContainer* container) {
  HardwareAssignment assignment;
  assignment.Initialise("HardwareInventory", container, KorAgentGetDebugContext(), false);
  container->Clear();
  if (!assignment.IsValid()) return FILESTORE_ERROR_HANDLERIGNORED;
  debugInv.PrintWithNL("Received file of type '%S'", KorAssignment::strFILETYPE);
  assignment.PerformAssignment();
  return FILESTORE_ERROR_HANDLEROK;
}

}  // namespace

uint32_t ActionHandler_HardwareReceiveFile(KorContainer* container) {
  KorString fileType;
  KorString filePath;
  container->GetString("FileType", fileType);
  container->GetString("FilePath", filePath);
  if (fileType != "HardwareInventoryReset") return ReceiveTranslationFile(container);
  container->Clear();
  debugInv.PrintWithNL("Received file of type '%S'", fileType);
  KorContainer reset;
  reset.LoadFromXMLFile(filePath);
  ActionHandler_HardwareInventoryReset(&reset);
  return FILESTORE_ERROR_HANDLEROK;
}

}  // namespace HardwareInventory
