#include "agent/terminal_log.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "kor/debug.h"
#include "kor/input_position.h"
#include "support/temporary_folder.h"

namespace {

// What a terminal log wrote while the steps ran, times left out.
template <typename Steps>
std::string Written(const agent::TerminalLog::Options& options, Steps steps) {
  const TemporaryFolder folder;
  const int descriptor = open(folder.Path("out").CStr(), O_WRONLY | O_CREAT, 0600);
  KorLogDispatcher dispatcher;
  KorDebug debug("Test", "");
  debug.SetContext(&dispatcher);
  {
    agent::TerminalLog terminal(dispatcher, options, descriptor);
    steps(debug);
  }
  close(descriptor);
  std::string text = folder.Read("out");
  for (size_t z = text.find("Z "); z != std::string::npos; z = text.find("Z ")) {
    text.erase(z - 23, 25);
  }
  return text;
}

TEST(TerminalLog, WritesTheLevelAndAbove) {
  EXPECT_EQ("warning Test: loud\n", Written({}, [](KorDebug& debug) {
              debug.PrintWithNL("quiet");
              debug.WarningWithNL("loud");
            }));
}

TEST(TerminalLog, ProgressIsOneLineErasedAtTheEnd) {
  EXPECT_EQ("\r\x1b[KScanning system\r\x1b[KScanning keyboard\r\x1b[K",
            Written({.level = KorLogLevel::kWarning, .hideFindings = false, .showProgress = true},
                    [](KorDebug& debug) {
                      debug.PrintWithNL("Inventory starting");
                      debug.PrintWithNL("Scanning system");
                      debug.PrintWithNL("Scanning keyboard");
                    }));
}

TEST(TerminalLog, MessageDoesNotGetIntoTheLineOfTheProgress) {
  EXPECT_EQ("\r\x1b[KScanning system\r\x1b[Kwarning Test: oh\n\r\x1b[KScanning system\r\x1b[K",
            Written({.level = KorLogLevel::kWarning, .hideFindings = false, .showProgress = true},
                    [](KorDebug& debug) {
                      debug.PrintWithNL("Scanning system");
                      debug.WarningWithNL("oh");
                    }));
}

TEST(TerminalLog, WithoutATerminalThereIsNoProgress) {
  EXPECT_EQ("", Written({}, [](KorDebug& debug) { debug.PrintWithNL("Scanning system"); }));
}

TEST(TerminalLog, FindingsOfAnInputFileCanBeLeftToOthers) {
  EXPECT_EQ("error Test: shown\n",
            Written({.level = KorLogLevel::kWarning, .hideFindings = true, .showProgress = false},
                    [](KorDebug& debug) {
                      {
                        const KorInputPositionScope position("file.xml");
                        debug.WarningWithNL("hidden");
                      }
                      debug.ErrorWithNL("shown");
                    }));
}

}  // namespace
