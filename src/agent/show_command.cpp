#include "agent/show_command.h"

#include <string>

#include "agent/difference_json.h"
#include "agent/difference_text.h"
#include "agent/document_json.h"
#include "agent/document_table.h"
#include "agent/exit_code.h"
#include "agent/output.h"
#include "agent/stored_inventory.h"
#include "agent/terminal_log.h"

namespace agent {
namespace {

Result<KorString> ChooseFile(const CommonOptions& common, const ShowOptions& options) {
  if (!options.file.empty()) return KorString(options.file);
  const Result<Home> home = ChosenHome(common);
  if (!home.IsOk()) return Failure{home.Reason()};
  return options.sent ? SentInventoryFile(home.Value()) : LatestInventoryFile(home.Value());
}

std::string RenderWhole(const ObjInv& document, Format format) {
  return format == Format::kJson ? DocumentToJson(document)
                                 : DocumentToTables(document, LayoutOfStandardOutput());
}

std::string Render(const ObjInv& document, Format format) {
  if (format == Format::kXml) {
    std::string xml;
    document.WriteXml([&xml](std::string_view piece) { xml += piece; });
    return xml;
  }
  switch (KindOf(document)) {
    case DocumentKind::kWhole:
      break;
    case DocumentKind::kDifferential:
      return format == Format::kJson ? DifferenceToJson(document)
                                     : DifferenceToText(document, StandardOutputWantsColour());
    case DocumentKind::kMerge: {
      ObjInv now(nullptr);
      now.SetName(document.GetName());
      document.ReadNew(now);
      return RenderWhole(now, format);
    }
  }
  return RenderWhole(document, format);
}

int End(int status, const KorString& reason) {
  Complain(reason);
  return status;
}

}  // namespace

int RunShow(const CommonOptions& common, const ShowOptions& options) {
  const Result<KorString> file = ChooseFile(common, options);
  if (!file.IsOk()) return End(kExitNotStarted, file.Reason());
  DocumentReader reader;
  const Result<std::unique_ptr<ObjInv>> document = reader.Read(file.Value());
  if (!document.IsOk()) return End(kExitNotStarted, document.Reason());
  const Result<void> printed = WriteToStandardOutput(Render(*document.Value(), options.format));
  return printed.IsOk() ? kExitOk : End(kExitNotWritten, printed.Reason());
}

}  // namespace agent
