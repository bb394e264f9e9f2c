#include "mutation/mutator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace {

using mutation::Mutant;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::string_view kSample = R"(// A comment with 1 && 2.
#include <vector>

static_assert(sizeof(int) == 4);

namespace sample {

constexpr int kLimit = 10;

template <int N = 3>
int Count(const std::vector<int>& numbers) {
  const Lock lock(mutex);
  int count = 0;
  for (const int number : numbers) {
    if (number < 0) continue;
    if (number == kLimit && !numbers.empty()) return -1;
    ++count;
  }
  Log("counted");
  return count;
}

}  // namespace sample
)";

// The lines of the mutants as they would be.
std::vector<std::string> Afters(std::string_view source) {
  std::vector<std::string> afters;
  for (const Mutant& mutant : mutation::FindMutants(source)) {
    afters.push_back(mutation::After(source, mutant));
  }
  return afters;
}

// Of a function with that body.
std::vector<std::string> AftersOfBody(const std::string& body) {
  std::vector<std::string> afters = Afters("int F() {\n\n" + body + "\n}\n");
  return afters;
}

}  // namespace

TEST(Mutator, BreaksTheSampleInEveryWayOnce) {
  const std::vector<Mutant> mutants = mutation::FindMutants(kSample);

  std::set<std::string> sources;
  for (const Mutant& mutant : mutants) sources.insert(mutation::Apply(kSample, mutant));
  EXPECT_EQ(mutants.size(), 20u);
  EXPECT_EQ(sources.size(), mutants.size());
  EXPECT_FALSE(sources.contains(std::string(kSample)));
}

TEST(Mutator, IsTheSameEveryTime) {
  EXPECT_EQ(mutation::FindMutants(kSample), mutation::FindMutants(kSample));
}

TEST(Mutator, LeavesAloneWhatIsNoCode) {
  EXPECT_THAT(Afters("// if (a == 1) return true;\n"
                     "/* \"text\" */\n"
                     "#define LIMIT 5\n"
                     "#include \"kor/file.h\"\n"
                     "static_assert(1 + 1 == 2, \"numbers\");\n"
                     "template <int N = 1>\n"
                     "using Row = std::array<int, 3>;\n"
                     "extern \"C\" __attribute__((visibility(\"default\"))) int F();\n"
                     "void G(std::vector<int>&& numbers) KOR_EXCLUDES(lock);\n"
                     "struct S { virtual void H() const = 0; virtual ~S() = default; };\n"),
              IsEmpty());
}

TEST(Mutator, FlipsComparisons) {
  EXPECT_THAT(Afters("bool b = x == y;"), ElementsAre("bool b = x != y;"));
  EXPECT_THAT(Afters("bool b = x < y;"), ElementsAre("bool b = x <= y;", "bool b = x >= y;"));
  EXPECT_THAT(Afters("std::vector<int> v;"), IsEmpty());
}

TEST(Mutator, NegatesConditions) {
  EXPECT_THAT(AftersOfBody("while (Next()) F();"), Contains("while (!(Next())) F();"));
  EXPECT_THAT(AftersOfBody("if (!Next()) F();"), Contains("if (Next()) F();"));
  EXPECT_THAT(AftersOfBody("if (a && b) F();"),
              UnorderedElementsAre("if (!(a && b)) F();", "if (a || b) F();", "if (a && b) ;"));
  EXPECT_THAT(AftersOfBody("if (T* t = Next()) F();"), ElementsAre("if (T* t = Next()) ;"));
  EXPECT_THAT(Afters("int i = a ? b : c;"),
              ElementsAre("int i = a && false ? b : c;", "int i = a || true ? b : c;"));
}

TEST(Mutator, ChangesConstants) {
  EXPECT_THAT(Afters("uint32_t u = 16U;"), ElementsAre("uint32_t u = 17U;", "uint32_t u = 15U;"));
  EXPECT_THAT(Afters("int i = 0;"), ElementsAre("int i = 1;"));
  EXPECT_THAT(Afters("int i = 0x0f;"), ElementsAre("int i = 16;", "int i = 14;"));
  EXPECT_THAT(Afters("bool b = true;"), ElementsAre("bool b = false;"));
  EXPECT_THAT(Afters("char c = ';';"), ElementsAre("char c = 'x';"));
  EXPECT_THAT(Afters("char c = '\\n';"), ElementsAre("char c = 'x';"));
}

TEST(Mutator, ChangesTexts) {
  EXPECT_THAT(Afters(R"(auto t = "a";)"), ElementsAre(R"(auto t = "";)", R"(auto t = "b";)"));
  EXPECT_THAT(Afters(R"(auto t = "";)"), ElementsAre(R"(auto t = "mutant";)"));
  EXPECT_THAT(Afters("auto t = R\"re(9\")re\";"),
              ElementsAre("auto t = R\"re()re\";", "auto t = R\"re(8\")re\";"));
}

TEST(Mutator, LeavesConversionsAndEscapesWhole) {
  EXPECT_THAT(Afters(R"(auto t = "%gu\n";)"), ElementsAre(R"(auto t = "";)"));
}

TEST(Mutator, DropsStatements) {
  EXPECT_THAT(AftersOfBody("Call();\n"), ElementsAre(";"));
  EXPECT_THAT(AftersOfBody("value = other;\n"), ElementsAre(";"));
  EXPECT_THAT(AftersOfBody("Call(\n    first,\n    second);\n"), ElementsAre(";"));
}

TEST(Mutator, DropsDeclarationsThatAreOnlyMade) {
  EXPECT_THAT(AftersOfBody("const Lock lock(mutex);\nCall(x);"), Contains(";"));
  EXPECT_THAT(AftersOfBody("Text text(x);\nreturn text;"), IsEmpty());
}

TEST(Mutator, DropsReturnsThatHaveCodeAfterThem) {
  EXPECT_THAT(AftersOfBody("if (a) return b;\nreturn c;"), Contains("if (a) ;"));
  EXPECT_THAT(AftersOfBody("if (a) { return b; }\nreturn c;"), Contains("if (a) { ; }"));
  EXPECT_THAT(AftersOfBody("return c;"), IsEmpty());
  EXPECT_THAT(AftersOfBody("switch (a) {\ncase x:\nreturn b;\ndefault:\nreturn c;\n}"),
              ElementsAre("case x: ;"));
  EXPECT_THAT(AftersOfBody("Each([](T t) { return t; });\nreturn c;"),
              ElementsAre(";"));  // the call, not the body's return
}

TEST(Mutator, LooksIntoClassesAndLambdas) {
  EXPECT_THAT(Afters("class C {\n  void F() const {\n\n    Call();\n  }\n};\n"), ElementsAre(";"));
  EXPECT_THAT(AftersOfBody("Each([](T t) {\n  Use(t);\n});"), Contains(";"));
}

TEST(Mutator, SaysWhereAndWhat) {
  constexpr std::string_view kSource = "void F() {\n  Call(a,\n       b);\n}\n";
  const std::vector<Mutant> mutants = mutation::FindMutants(kSource);

  ASSERT_EQ(mutants.size(), 1u);
  EXPECT_EQ(mutants[0].kind, "statement");
  EXPECT_EQ(mutation::LineOf(kSource, mutants[0]), 2u);
  EXPECT_EQ(mutation::Before(kSource, mutants[0]), "void F() { Call(a, b);");
  EXPECT_EQ(mutation::After(kSource, mutants[0]), "void F() { ;");
  EXPECT_EQ(mutation::Apply(kSource, mutants[0]), "void F() {\n  ;\n}\n");
}

TEST(Mutator, AShortLineIsShownWithTheOneBeforeIt) {
  constexpr std::string_view kSource = "void F() {\n  Log(\"a message\");\n  i = true;\n}\n";
  const std::vector<Mutant> mutants = mutation::FindMutants(kSource);

  EXPECT_EQ(mutation::Before(kSource, mutants.front()), "Log(\"a message\");");
  EXPECT_EQ(mutation::Before(kSource, mutants.back()), "Log(\"a message\"); i = true;");
  EXPECT_EQ(mutation::After(kSource, mutants.back()), "Log(\"a message\"); i = false;");
}

TEST(SamplingOrder, TakesEveryMutantOnceAndEveryLineBeforeAnyAgain) {
  const std::vector<Mutant> mutants = mutation::FindMutants(kSample);

  const std::vector<size_t> order = mutation::SamplingOrder(kSample, mutants, "sample.cpp", 1);

  EXPECT_EQ(std::set<size_t>(order.begin(), order.end()).size(), mutants.size());
  const size_t lines = mutation::CountMutableLines(kSample, mutants);
  std::set<size_t> first;
  for (size_t i = 0; i < lines; ++i) first.insert(mutation::LineOf(kSample, mutants[order[i]]));
  EXPECT_EQ(first.size(), lines);
}

TEST(SamplingOrder, DependsOnSeedAndFile) {
  const std::vector<Mutant> mutants = mutation::FindMutants(kSample);
  const auto order = [&](const char* file, uint64_t seed) {
    return mutation::SamplingOrder(kSample, mutants, file, seed);
  };

  EXPECT_EQ(order("sample.cpp", 1), order("sample.cpp", 1));
  EXPECT_NE(order("sample.cpp", 1), order("sample.cpp", 2));
  EXPECT_NE(order("sample.cpp", 1), order("other.cpp", 1));
}

TEST(ShareOut, IsInProportionAndComplete) {
  EXPECT_THAT(mutation::ShareOut(10, {10, 20, 70}), ElementsAre(1, 2, 7));
  EXPECT_THAT(mutation::ShareOut(10, {1, 1, 1}), ElementsAre(4, 3, 3));
  EXPECT_THAT(mutation::ShareOut(3, {0, 0}), ElementsAre(0, 0));
}
