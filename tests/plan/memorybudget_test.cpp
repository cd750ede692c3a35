#include "plan/memorybudget.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t kKiB = 1024;
constexpr std::uint32_t kMost = 131072 * kKiB;

std::uint32_t budgetOf(const std::string& text) {
  std::istringstream report(text);
  return memoryBudget(report);
}

std::string report(const std::string& unused, const std::string& buffers,
                   const std::string& cached) {
  return "MemTotal:       262144 kB\nMemFree:        " + unused +
         " kB\nBuffers:        " + buffers + " kB\nCached:         " + cached +
         " kB\nSwapCached:     0 kB\n";
}

TEST(MemoryBudget, IsWhatIsFreeOrCouldBeLessAReserve) {
  EXPECT_EQ(budgetOf(report("20000", "300", "4000")), (20000 + 300 + 4000 - 8192) * kKiB);
}

TEST(MemoryBudget, EachOfTheThreeValuesCounts) {
  EXPECT_EQ(budgetOf(report("10000", "0", "0")), 1808 * kKiB);
  EXPECT_EQ(budgetOf(report("0", "10000", "0")), 1808 * kKiB);
  EXPECT_EQ(budgetOf(report("0", "0", "10000")), 1808 * kKiB);
}

TEST(MemoryBudget, BelowTheReserveIsNothing) {
  EXPECT_EQ(budgetOf(report("4000", "1000", "3000")), 0u);
  EXPECT_EQ(budgetOf(report("0", "0", "0")), 0u);
}

TEST(MemoryBudget, ExactlyTheReserveIsNothing) {
  EXPECT_EQ(budgetOf(report("8192", "0", "0")), 0u);
  EXPECT_EQ(budgetOf(report("8193", "0", "0")), kKiB);
}

TEST(MemoryBudget, IsCut) {
  EXPECT_EQ(budgetOf(report("200000", "0", "0")), kMost);
  EXPECT_EQ(budgetOf(report("139263", "0", "0")), kMost - kKiB);
  EXPECT_EQ(budgetOf(report("139264", "0", "0")), kMost);
  EXPECT_EQ(budgetOf(report("139265", "0", "0")), kMost);
}

TEST(MemoryBudget, ASumThatNeedsMoreThan32BitsIsCut) {
  EXPECT_EQ(budgetOf(report("4294967295", "4294967295", "4294967295")), kMost);
  EXPECT_EQ(budgetOf(report("4294967295", "1", "0")), kMost);
}

TEST(MemoryBudget, ANumberOfMoreThan32BitsGivesNoMoreThanTheMost) {
  EXPECT_LE(budgetOf(report("99999999999999999999999", "0", "0")), kMost);
  EXPECT_LE(budgetOf(report("4294967296", "8193", "0")), kMost);
}

TEST(MemoryBudget, TheTotalDoesNotCountButHasToBeThere) {
  const std::string rest = "MemFree: 10000 kB\nBuffers: 0 kB\nCached: 0 kB\n";
  EXPECT_EQ(budgetOf("MemTotal: 0 kB\n" + rest), 1808 * kKiB);
  EXPECT_EQ(budgetOf("MemTotal: none\n" + rest), 0u);
  EXPECT_EQ(budgetOf(rest), 0u);
}

TEST(MemoryBudget, SpaceInFrontOfTheNumbersDoesNotCount) {
  EXPECT_EQ(budgetOf("MemTotal:1\nMemFree:\t10000\nBuffers:0\nCached:   0"), 1808 * kKiB);
}

TEST(MemoryBudget, WhatStandsBehindTheNumbersDoesNotCount) {
  EXPECT_EQ(budgetOf("MemTotal: 1x\nMemFree: 10000MB\nBuffers: 0 0\nCached: 0.9\n"), 1808 * kKiB);
}

TEST(MemoryBudget, ALineTooFewIsNothing) {
  EXPECT_EQ(budgetOf(""), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1 kB\n"), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1 kB\nMemFree: 20000 kB\n"), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1 kB\nMemFree: 20000 kB\nBuffers: 0 kB\n"), 0u);
}

TEST(MemoryBudget, TheLastLineNeedsNoEnd) {
  EXPECT_EQ(budgetOf("MemTotal: 1 kB\nMemFree: 20000 kB\nBuffers: 0 kB\nCached: 0 kB"),
            (20000 - 8192) * kKiB);
}

// As newer kernels have it.
TEST(MemoryBudget, AnotherLineBetweenIsNothing) {
  EXPECT_EQ(budgetOf("MemTotal: 1 kB\nMemFree: 20000 kB\nMemAvailable: 30000 kB\n"
                     "Buffers: 0 kB\nCached: 0 kB\n"),
            0u);
}

TEST(MemoryBudget, AnEmptyLineBetweenIsNothing) {
  EXPECT_EQ(budgetOf("MemTotal: 1 kB\n\nMemFree: 20000 kB\nBuffers: 0 kB\nCached: 0 kB\n"), 0u);
}

TEST(MemoryBudget, AnotherOrderIsNothing) {
  EXPECT_EQ(budgetOf("MemFree: 20000 kB\nMemTotal: 1 kB\nBuffers: 0 kB\nCached: 0 kB\n"), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1 kB\nMemFree: 20000 kB\nCached: 0 kB\nBuffers: 0 kB\n"), 0u);
}

TEST(MemoryBudget, AnotherLabelIsNothing) {
  EXPECT_EQ(budgetOf("MemTotal: 1\nMemFree : 20000\nBuffers: 0\nCached: 0\n"), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1\nMemfree: 20000\nBuffers: 0\nCached: 0\n"), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1\n MemFree: 20000\nBuffers: 0\nCached: 0\n"), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1\nMemFree: 20000\nBuffers: 0\nSwapCached: 0\n"), 0u);
}

TEST(MemoryBudget, NoNumberIsNothing) {
  EXPECT_EQ(budgetOf(report("many", "0", "0")), 0u);
  EXPECT_EQ(budgetOf(report("20000", "", "0")), 0u);
  EXPECT_EQ(budgetOf(report("20000", "0", "-")), 0u);
}

TEST(MemoryBudget, GarbageIsNothing) {
  EXPECT_EQ(budgetOf(std::string(5000, 'x')), 0u);
  EXPECT_EQ(budgetOf(std::string(5000, '\0')), 0u);
  EXPECT_EQ(budgetOf("\n\n\n\n"), 0u);
  std::string nulInside = "MemTotal: 1\nMemFree@: 20000\nBuffers: 0\nCached: 0\n";
  nulInside[nulInside.find('@')] = '\0';
  EXPECT_EQ(budgetOf(nulInside), 0u);
}

TEST(MemoryBudget, ALineLongerThanTheBufferEndsTheReport) {
  const std::string filler(300, ' ');
  EXPECT_EQ(budgetOf("MemTotal: 1" + filler + "\nMemFree: 20000\nBuffers: 0\nCached: 0\n"), 0u);
  EXPECT_EQ(budgetOf("MemTotal: 1\nMemFree: 20000" + filler + "\nBuffers: 0\nCached: 0\n"), 0u);
}

TEST(MemoryBudget, AReportThatCannotBeReadIsNothing) {
  std::istringstream broken(report("20000", "0", "0"));
  broken.setstate(std::ios::badbit);
  EXPECT_EQ(memoryBudget(broken), 0u);
}

}  // namespace
