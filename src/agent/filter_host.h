// A translation file in the hands of the inventory module, away from the agent's own home.

#pragma once

#include <memory>
#include <utility>
#include <variant>

#include "agent/command_line.h"
#include "agent/home.h"
#include "agent/host.h"
#include "agent/result.h"
#include "agent/stop_signal.h"
#include "kor/container.h"
#include "kor/string.h"

namespace agent {

// The modules in a temporary home, with the file as the configured translation file.
class FilterHost {
 public:
  struct Failed {
    KorString reason;
    int status;  // to end with
  };

  // With hideFindings, what the module says about the file does not go to standard error.
  static std::variant<std::unique_ptr<FilterHost>, Failed> Open(const CommonOptions& common,
                                                                const KorString& file,
                                                                bool hideFindings);

  KorLogDispatcher& Log() { return host->Log(); }

  // The action's result; a signal ends what the action does.
  static uint32_t Invoke(const KorString& action, KorContainer& container);

  // The status to end with: that of a signal, if one came.
  static int Ended(int status);

 private:
  explicit FilterHost(TemporaryHome&& temporaryHome) : home(std::move(temporaryHome)) {}

  const StopSignal stop;  // so that the temporary home is removed in any case
  TemporaryHome home;
  std::unique_ptr<Host> host;
};

}  // namespace agent
