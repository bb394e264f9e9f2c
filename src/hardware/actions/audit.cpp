#include "hardware/actions/action_handlers.h"
#include "hardware/filter/hw_filter.h"
#include "hardware/inventory/scan_run.h"
#include "hardware/scan/scanners.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

// An audit leaves out the system and does not translate what it finds.
uint32_t HardwareInventory::ActionHandler_HardwareAuditNow(KorContainer*) {
  HwFilter filter;
  if (!LoadInventoryFilter(filter)) return ACTIONDB_ERROR_SUCCESS;
  ObjInv document(KorAgentGetDebugContext());
  for (const Scanner& scanner : Scanners()) {
    if (scanner.scan != ScanSystem) RunScanner(scanner, document);
  }
  debugInv.TraceWithNL("Hardware Inventory finished");
  return ACTIONDB_ERROR_SUCCESS;
}
