#include "agent/near_miss.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using agent::DidYouMean;
using agent::NearMiss;

const std::vector<std::string> kCommands = {"inventory", "show", "diff", "query", "status"};

TEST(NearMiss, EachKindOfSlipIsForgiven) {
  EXPECT_EQ("inventory", NearMiss("invetory", kCommands));    // missing
  EXPECT_EQ("inventory", NearMiss("inventtory", kCommands));  // too many
  EXPECT_EQ("inventory", NearMiss("inventary", kCommands));   // wrong
  EXPECT_EQ("inventory", NearMiss("invenotry", kCommands));   // swapped
}

TEST(NearMiss, SwappedNeighboursAreOneSlip) {
  EXPECT_EQ("show", NearMiss("sohw", kCommands));
}

TEST(NearMiss, CaseIsNoSlip) {
  EXPECT_EQ("BIOS", NearMiss("bios", {"BIOS", "Bus"}));
  EXPECT_EQ("Logical Disk", NearMiss("LOGICAL-DISK", {"Physical Disk", "Logical Disk"}));
}

TEST(NearMiss, WhatIsTooFarIsNotMeant) {
  EXPECT_EQ(std::nullopt, NearMiss("frobnicate", kCommands));
  EXPECT_EQ(std::nullopt, NearMiss("slow!", {"show"}));
  EXPECT_EQ(std::nullopt, NearMiss("x", {"diff"}));
}

TEST(NearMiss, NearestWins) {
  EXPECT_EQ("Processor", NearMiss("Processors", {"Processes", "Processor"}));
}

TEST(NearMiss, FirstOfEqualsWins) {
  EXPECT_EQ("stats", NearMiss("statu", {"stats", "status"}));
  EXPECT_EQ("status", NearMiss("statu", {"status", "stats"}));
}

TEST(NearMiss, EmptyWordOrNoCandidatesHaveNone) {
  EXPECT_EQ(std::nullopt, NearMiss("", kCommands));
  EXPECT_EQ(std::nullopt, NearMiss("show", {}));
}

TEST(NearMiss, EndlessWordHasNone) {
  const std::string word(100000, 'a');
  EXPECT_EQ(std::nullopt, NearMiss(word, {word}));
}

TEST(DidYouMean, AsksOnlyWhereThereIsANearMiss) {
  EXPECT_EQ("; did you mean 'query'?", DidYouMean("qeury", kCommands));
  EXPECT_EQ("", DidYouMean("frobnicate", kCommands));
}

}  // namespace
