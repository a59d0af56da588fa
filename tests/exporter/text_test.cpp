// What goes into the text formats and what comes with the requests for them.
#include "exporter/labels.h"
#include "exporter/options.h"
#include "exporter/scrape_headers.h"

#include <gtest/gtest.h>

#include <array>

namespace zanctl::exporter {
namespace {

using namespace std::chrono_literals;

TEST(LabelValue, isEscapedValidAndShort) {
  EXPECT_EQ(labelValue("a\\b\"c\nd"), R"(a\\b\"c\nd)");
  EXPECT_EQ(labelValue("\u00e9\u20ac\U0001f600"), "\u00e9\u20ac\U0001f600");
  // No byte alone, no overlong form, no surrogate, nothing beyond the last character, no half.
  EXPECT_EQ(labelValue("a\x80"
                       "b"),
            "a?b");
  EXPECT_EQ(labelValue("\xc0\xaf\xe0\x80\xaf"), "?????");
  EXPECT_EQ(labelValue("\xed\xa0\x80"), "???");
  EXPECT_EQ(labelValue("\xf4\x90\x80\x80"), "????");
  EXPECT_EQ(labelValue("ab\xe2\x82"), "ab??");
  EXPECT_EQ(labelValue(std::string(300, 'x')).size(), 256U);
  EXPECT_EQ(labelValue(std::string(255, 'x') + "\u20ac"), std::string(255, 'x'));
  EXPECT_EQ(labelValue(std::string(300, '"')).size(), 512U);
}

TEST(AcceptHeader, choosesWhatIsWantedMost) {
  const auto isOpen = [](const char* accept) {
    return formatFor(accept) == TextFormat::openMetrics;
  };
  EXPECT_TRUE(
      isOpen("application/openmetrics-text;version=1.0.0,application/openmetrics-text;"
             "version=0.0.1;q=0.75,text/plain;version=0.0.4;q=0.5,*/*;q=0.1"));
  EXPECT_TRUE(isOpen("text/plain; q=0.3, Application/OpenMetrics-Text; version=\"1.0.0\"; q=0.4"));
  for (const char* accept :
       {static_cast<const char*>(nullptr), "", "*/*", "text/html", ";;,=,q",
        "application/openmetrics-text;version=2.0.0", "application/openmetrics-text;q=0",
        "application/openmetrics-text;q=0.2,text/plain"}) {
    EXPECT_FALSE(isOpen(accept)) << (accept == nullptr ? "none" : accept);
  }
}

TEST(TimeoutHeader, leavesTimeForTheWay) {
  EXPECT_EQ(deadlineFor(nullptr), 9500ms);
  EXPECT_EQ(deadlineFor("15"), 14500ms);
  EXPECT_EQ(deadlineFor("1e9"), 599'500ms);
  EXPECT_EQ(deadlineFor("1.2"), 700ms);
  EXPECT_EQ(deadlineFor("1"), 500ms);
  EXPECT_EQ(deadlineFor("0.0001"), 1ms);
  for (const char* none : {"", "x", "-1", "nan", "inf", "0"}) {
    EXPECT_EQ(deadlineFor(none), 9500ms) << none;
  }
}

TEST(Groups, replaceAndLessenTheDefault) {
  const auto groupsOf = [](const char* first, const char* second) {
    std::array<std::string, 3> words = {"zanctl-exporter", first, second};
    std::array<char*, 3> argv = {words[0].data(), words[1].data(), words[2].data()};
    return std::get<Options>(parseOptions(argv)).groups;
  };
  EXPECT_EQ(groupsOf("--collect=power,vgpu", "--no-collect=vgpu"), collector::kPower);
  EXPECT_EQ(groupsOf("--no-collect=engines", "--processes"),
            (collector::defaultGroups() & ~collector::kEngines) | collector::kProcessNames);
  EXPECT_EQ(groupsOf("--collect=", "--once"), 0U);
}

}  // namespace
}  // namespace zanctl::exporter
