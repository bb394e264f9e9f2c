#include "korcore/agent_context.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

class CollectingContext : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override { texts.emplace_back(record.text); }
  std::vector<std::string> texts;
};

TEST(AgentContext, FoldersAreHandedOnAsTheyAreGiven) {
  KorAgentSetConfigDir("/home/config/");
  KorAgentSetDataDir("/home/data");
  KorString config, data;
  KorAgentGetConfigDir(config);
  KorAgentGetDataDir(data);
  EXPECT_EQ("/home/config/", config);
  EXPECT_EQ("/home/data", data);
}

TEST(AgentContext, DebugContextAlsoTakesTheFrameworksMessages) {
  CollectingContext context;
  KorAgentSetDebugContext(&context);
  EXPECT_EQ(&context, KorAgentGetDebugContext());
  KorFrameworkLog().DetailWithNL("hello");
  KorAgentSetDebugContext(nullptr);
  KorFrameworkLog().DetailWithNL("not taken");
  EXPECT_EQ(nullptr, KorAgentGetDebugContext());
  EXPECT_EQ(std::vector<std::string>{"hello"}, context.texts);
}

}  // namespace
