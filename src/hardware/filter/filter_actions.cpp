#include "hardware/filter/filter_actions.h"

#include "hardware/filter/filter_check.h"
#include "hardware/filter/hw_filter.h"
#include "hardware/inventory/scan_run.h"
#include "kor/file.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {
namespace {

bool CheckPaths(const KorString& source, const KorString& destination) {
  if (source.IsEmpty()) {
    debugInv.ErrorWithNL("Cannot apply filter, missing source file");
    return false;
  }
  if (!FileExists(source)) {
    debugInv.ErrorWithNL("Cannot apply filter, source file does not exist (%S)", source);
    return false;
  }
  if (destination.IsEmpty()) {
    debugInv.ErrorWithNL("Cannot apply filter, missing destination file");
    return false;
  }
  return true;
}

bool FilterInventory(const HwFilter& filter, const KorString& source,
                     const KorString& destination) {
  ObjInv inventory(KorAgentGetDebugContext());
  if (!inventory.Parse(source, nullptr)) {
    debugInv.ErrorWithNL("Failed to parse inventory (%S)", source);
    return false;
  }
  try {
    filter.ProcessAttrs(inventory);
  } catch (const HwFilterGivenUp& error) {
    debugInv.ErrorWithNL("Failed to filter inventory '%S': %s", source, error.what());
    return false;
  }
  if (!inventory.Save(destination)) {
    debugInv.ErrorWithNL("Failed to write inventory '%S'", destination);
    return false;
  }
  debugInv.TraceWithNL("Inventory has been filtered '%S' -> '%S'", source, destination);
  return true;
}

}  // namespace

uint32_t ActionHandler_HardwareInventoryGetWmiFilter(KorContainer* params) {
  bool check = false;
  params->GetBool("Check", check);
  const FilterCheckScope scope(check);
  HwFilter filter;
  if (!LoadInventoryFilter(filter)) return ACTIONDB_ERROR_FAILURE;
  filter.WmiToContainer(*params);
  return ACTIONDB_ERROR_SUCCESS;
}

uint32_t ActionHandler_HardwareInventoryApplyFilter(KorContainer* params) {
  KorString source;
  KorString destination;
  params->GetString("SrcFilePath", source);
  params->GetString("DstFilePath", destination);
  if (!CheckPaths(source, destination)) return ACTIONDB_ERROR_BADPARAM;
  if (FileExists(destination) && !FileDelete(destination)) {
    debugInv.ErrorWithNL("Failed to remove file (%S)", destination);
    return ACTIONDB_ERROR_FAILURE;
  }
  HwFilter filter;
  if (!LoadInventoryFilter(filter)) return ACTIONDB_ERROR_FAILURE;
  return FilterInventory(filter, source, destination) ? ACTIONDB_ERROR_SUCCESS
                                                      : ACTIONDB_ERROR_FAILURE;
}

}  // namespace HardwareInventory
