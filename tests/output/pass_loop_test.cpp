#include "output/pass_loop.h"

#include "request/option_values.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>

#include <sys/stat.h>

namespace zanctl {
namespace {

class PassLoopTest : public testing::Test {
 protected:
  PassLoopTest() : name(testing::TempDir() + "pass_loop_" + std::to_string(getpid())) {}
  ~PassLoopTest() override { std::remove(name.c_str()); }

  [[nodiscard]] std::string content() const {
    std::ifstream file(name);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string name;
  std::ostringstream messages;
};

TEST_F(PassLoopTest, runsThePassesCounted) {
  Output output(name, messages);
  LoopPlan plan;
  plan.passCount = 3;
  const LoopEnd end = runPasses(
      output, plan, [](const Pass& pass) { pass.text() += std::to_string(pass.number) + "\n"; });
  EXPECT_EQ(end, LoopEnd::finished);
  EXPECT_EQ(content(), "0\n1\n2\n");
  struct stat status {};
  ASSERT_EQ(stat(name.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0133U, 0U) << "neither executable nor writable for others";
}

TEST_F(PassLoopTest, endsWhenTheFileVanishes) {
  for (const bool directoryInstead : {false, true}) {
    messages.str("");
    Output output(name, messages);
    int passes = 0;
    const LoopEnd end = runPasses(output, LoopPlan{}, [&](const Pass&) {
      if (++passes < 2) return;
      std::remove(name.c_str());
      if (directoryInstead) mkdir(name.c_str(), 0700);
    });
    EXPECT_EQ(end, LoopEnd::outputLost);
    EXPECT_EQ(passes, 2);
    EXPECT_EQ(messages.str(), "Failed to write the log file " + name + "\n");
  }
  std::remove(name.c_str());
}

TEST_F(PassLoopTest, looksForTheFileAfterTheLastPassOnlyWhereAsked) {
  for (const LastPass lastPass : {LastPass::unchecked, LastPass::checked}) {
    Output output(name, messages);
    LoopPlan plan = onceOrEvery(0);
    plan.lastPass = lastPass;
    const LoopEnd end = runPasses(output, plan, [&](const Pass&) { std::remove(name.c_str()); });
    EXPECT_EQ(end == LoopEnd::outputLost, lastPass == LastPass::checked);
  }
}

TEST_F(PassLoopTest, endsWithThePassThatSaysSo) {
  Output output("", messages);
  std::uint64_t last = 0;
  const LoopEnd end = runPassesUntilStopped(output, LoopPlan{}, [&last](const Pass& pass) {
    last = pass.number;
    return last == 2 ? AfterPass::stop : AfterPass::goOn;
  });
  EXPECT_EQ(end, LoopEnd::finished);
  EXPECT_EQ(last, 2U);
}

TEST_F(PassLoopTest, endsAtOnceWhenTheDiskIsFull) {
  Output output("/dev/full", messages);
  int passes = 0;
  const LoopEnd end = runPasses(output, onceOrEvery(1), [&](const Pass& pass) {
    ++passes;
    pass.text() += "line\n";
  });
  EXPECT_EQ(end, LoopEnd::outputLost);
  EXPECT_EQ(passes, 1);
  EXPECT_EQ(messages.str(), "Failed to write the log file /dev/full\n");
}

TEST(OptionText, readsTheNumberAtTheStart) {
  EXPECT_EQ(decimalNumber("5x"), 5);
  EXPECT_EQ(decimalNumber(" 7"), 7);
  EXPECT_EQ(decimalNumber("-3"), -3);
  EXPECT_EQ(decimalNumber("4294967296"), 4294967296);
  std::ostringstream refusals;
  EXPECT_EQ(readLoop("4294967297", refusals), 4294967297U);
  EXPECT_EQ(decimalNumber(""), 0);
  EXPECT_EQ(decimalNumber("abc"), 0);
  EXPECT_EQ(decimalNumber("99999999999999999999"), 0);
}

TEST(OptionText, keepsEmptyPieces) {
  EXPECT_EQ(splitAtCommas(""), (std::vector<std::string_view>{""}));
  EXPECT_EQ(splitAtCommas(",a,"), (std::vector<std::string_view>{"", "a", ""}));
}

}  // namespace
}  // namespace zanctl
