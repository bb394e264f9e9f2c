#include "kor/debug.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

constexpr std::chrono::milliseconds kTime{1769862896789};  // 2026-01-31T12:34:56.789Z

KorString LineOf(std::string_view text, KorLogLevel level = KorLogLevel::kWarning,
                 std::chrono::milliseconds time = kTime) {
  return KorLogLine(
      {std::chrono::system_clock::time_point(time), level, "HardwareInventory", text, nullptr});
}

class Recorder : public KorDebugContext {
 public:
  explicit Recorder(KorLogLevel lowest) : lowestLevel(lowest) {}
  bool Wants(KorLogLevel level) const override { return level >= lowestLevel; }
  void Write(const KorLogRecord& record) override {
    texts.emplace_back(record.text);
    levels.push_back(record.level);
    loggers.emplace_back(record.logger);
    lines.push_back(record.position == nullptr ? 0 : record.position->line);
  }

  std::vector<std::string> texts;
  std::vector<KorLogLevel> levels;
  std::vector<std::string> loggers;
  std::vector<uint64_t> lines;

 private:
  KorLogLevel lowestLevel;
};

TEST(LogLine, TextIsCutAfter64KiB) {
  const std::string text(64 * 1024, 'x');
  const KorLogRecord whole{{}, KorLogLevel::kError, "Kor", text, nullptr};
  EXPECT_TRUE(KorLogLine(whole).View().ends_with("Kor: " + text));
  const std::string longer = text + "y";
  const KorLogRecord cut{{}, KorLogLevel::kError, "Kor", longer, nullptr};
  EXPECT_TRUE(KorLogLine(cut).View().ends_with("Kor: " + text + "... (65537 bytes)"));
}

TEST(LogLine, HasTimeLevelLoggerAndText) {
  EXPECT_EQ(LineOf("text"), "2026-01-31T12:34:56.789Z warning HardwareInventory: text");
}

TEST(LogLine, TimeIsPaddedAndBeforeTheEpochCountsDown) {
  using std::chrono::milliseconds;
  EXPECT_EQ(LineOf("", KorLogLevel::kTrace, milliseconds(0)),
            "1970-01-01T00:00:00.000Z trace HardwareInventory: ");
  EXPECT_EQ(LineOf("", KorLogLevel::kError, milliseconds(-1)),
            "1969-12-31T23:59:59.999Z error HardwareInventory: ");
}

TEST(LogLine, NoValueCanForgeALine) {
  EXPECT_EQ(LineOf("a\nb\rc\td\\e\x1b\x7f\0f"s),
            "2026-01-31T12:34:56.789Z warning HardwareInventory: "
            "a\\nb\\rc\\td\\\\e\\x1b\\x7f\\x00f");
}

TEST(LogLine, BytesAboveAsciiStand) {
  EXPECT_EQ(LineOf("\xc3\xa9\xff"),
            "2026-01-31T12:34:56.789Z warning HardwareInventory: \xc3\xa9\xff");
}

TEST(LogLevel, NamesGoBothWays) {
  for (const auto level : {KorLogLevel::kTrace, KorLogLevel::kDetail, KorLogLevel::kPrint,
                           KorLogLevel::kWarning, KorLogLevel::kError}) {
    KorLogLevel found = level == KorLogLevel::kTrace ? KorLogLevel::kError : KorLogLevel::kTrace;
    EXPECT_TRUE(KorLogLevelFromName(KorString(KorLogLevelName(level)), found));
    EXPECT_EQ(found, level);
  }
}

TEST(LogLevel, LetterCaseIsIgnoredAndOtherWordsAreNone) {
  KorLogLevel level = KorLogLevel::kPrint;
  EXPECT_TRUE(KorLogLevelFromName("WaRning", level));
  EXPECT_EQ(level, KorLogLevel::kWarning);
  EXPECT_FALSE(KorLogLevelFromName("warn", level));
  EXPECT_FALSE(KorLogLevelFromName("", level));
  EXPECT_EQ(level, KorLogLevel::kWarning);
}

TEST(Debug, WritesTheFormattedTextToItsContext) {
  Recorder recorder(KorLogLevel::kTrace);
  KorDebug log("Name", "What it is for");
  log.SetContext(&recorder);

  log.TraceWithNL("plain");
  log.DetailWithNL("file '%S'", KorString("a b"));
  log.PrintWithNL("%u of %gu", 3U, uint64_t{2000});
  log.WarningWithNL("%s %d", "text", -1);
  log.ErrorWithNL("100 %%");

  EXPECT_EQ(recorder.texts,
            (std::vector<std::string>{"plain", "file 'a b'", "3 of 2000", "text -1", "100 %"}));
  EXPECT_EQ(recorder.levels, (std::vector<KorLogLevel>{KorLogLevel::kTrace, KorLogLevel::kDetail,
                                                       KorLogLevel::kPrint, KorLogLevel::kWarning,
                                                       KorLogLevel::kError}));
  EXPECT_EQ(recorder.loggers.front(), "Name");
  EXPECT_EQ(log.GetDescription(), "What it is for");
}

TEST(Debug, WhatNobodyWantsIsNotWritten) {
  Recorder recorder(KorLogLevel::kWarning);
  KorDebug log("Name", "");
  log.SetContext(&recorder);
  log.PrintWithNL("quiet");
  log.WarningWithNL("loud");
  EXPECT_EQ(recorder.texts, std::vector<std::string>{"loud"});
}

TEST(Debug, GivesThePlaceInTheInputFile) {
  Recorder recorder(KorLogLevel::kTrace);
  KorDebug log("Name", "");
  log.SetContext(&recorder);
  {
    KorInputPositionScope scope("some.xml");
    scope.SetLine(12);
    log.WarningWithNL("inside");
  }
  log.WarningWithNL("outside");
  EXPECT_EQ(recorder.lines, (std::vector<uint64_t>{12, 0}));
}

TEST(Debug, WithoutAContextWarningsGoToStandardError) {
  KorDebug log("Lonely", "");
  testing::internal::CaptureStderr();
  log.PrintWithNL("not shown");
  log.WarningWithNL("first\nsecond");
  const std::string printed = testing::internal::GetCapturedStderr();
  EXPECT_EQ(printed.substr(printed.find(' ')), " warning Lonely: first\\nsecond\n");
}

TEST(Debug, AMessageThatCannotBeWrittenThrowsNothingAndIsTold) {
  class WithoutMemory : public KorDebugContext {
   public:
    bool Wants(KorLogLevel) const override { return true; }
    void Write(const KorLogRecord&) override { throw std::bad_alloc(); }
  } context;
  KorDebug log("Name", "");
  log.SetContext(&context);
  testing::internal::CaptureStderr();
  EXPECT_NO_THROW(log.ErrorWithNL("The run failed: %s", "reason"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "error Name: The run failed: %s (the message lacks its values: not enough memory)\n");
}

TEST(Debug, ANullContextGoesBackToTheDefault) {
  Recorder recorder(KorLogLevel::kTrace);
  KorDebug log("Name", "");
  log.SetContext(&recorder);
  log.SetContext(nullptr);
  EXPECT_FALSE(log.Wants(KorLogLevel::kPrint));
  EXPECT_TRUE(log.Wants(KorLogLevel::kError));
}

TEST(Debug, TheFrameworkHasItsOwnLogger) {
  EXPECT_EQ(KorFrameworkLog().GetName(), "Kor");
}

}  // namespace
