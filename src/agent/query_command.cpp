#include "agent/query_command.h"

#include <unistd.h>

#include <string>

#include "agent/exit_code.h"
#include "agent/output.h"
#include "agent/query_result.h"
#include "agent/stored_inventory.h"
#include "agent/terminal_log.h"
#include "kor/container.h"
#include "korcore/obj_inv.h"

namespace agent {
namespace {

std::string Render(const QueryResult& result, QueryFormat format) {
  switch (format) {
    case QueryFormat::kJson:
      return QueryToJson(result);
    case QueryFormat::kCsv:
      return QueryToCsv(result, isatty(STDOUT_FILENO) != 0);
    case QueryFormat::kTable:
      break;
  }
  return QueryToTable(result, LayoutOfStandardOutput());
}

int End(int status, const KorString& reason) {
  Complain(reason);
  return status;
}

}  // namespace

int RunQuery(const CommonOptions& common, const QueryOptions& options) {
  const Result<Home> home = ChosenHome(common);
  if (!home.IsOk()) return End(kExitNotStarted, home.Reason());
  const Result<KorString> dump = InventoryDumpFile(home.Value());
  if (!dump.IsOk()) return End(kExitNotStarted, dump.Reason());
  KorContainer container;
  container.SetString("Query", KorString(options.sql));
  if (!ObjInv(nullptr).Query(dump.Value(), container)) {
    KorString reason;
    container.GetString("Error", reason);
    return End(kExitFailed, reason);
  }
  const QueryResult result = QueryResult::From(container);
  const Result<void> printed = WriteToStandardOutput(Render(result, options.format));
  if (!printed.IsOk()) return End(kExitNotWritten, printed.Reason());
  if (result.isTruncated) {
    Complain("the result is cut off at the limits of a query; there is more than this");
  }
  return kExitOk;
}

}  // namespace agent
