// What people read must say what the program knows: the example, the manual pages, the help.
#include "description/host_reader.h"
#include "zansim_run.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <utility>

namespace zansim {
namespace {

using Keys = KeyUse::Keys;

class DocumentsTest : public ZansimTest {
 protected:
  // What zansim prints for an option.
  static std::string printed(const std::string& option) {
    const RunResult result = Program({ZANSIM_PROGRAM, option}).finish();
    EXPECT_EQ(result.status, 0) << result.output;
    return result.output;
  }
};

Keys lowered(const Keys& keys) {
  Keys result;
  for (auto [kind, key] : keys) {
    std::transform(kind.begin(), kind.end(), kind.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    result.emplace(kind, key);
  }
  return result;
}

// What is in the first set but not in the second.
std::string missing(const Keys& from, const Keys& in) {
  Keys result;
  std::set_difference(from.begin(), from.end(), in.begin(), in.end(),
                      std::inserter(result, result.end()));
  return result.empty() ? "" : fmt::format("{}", result);
}

// The items of a manual page's lists that begin with the macro, by subsection; an item may name
// several things, between commas.
Keys itemsOf(const std::string& page, const std::string& macro) {
  std::ifstream file(std::string(ZANSIM_MANUALS) + "/" + page);
  EXPECT_TRUE(file) << page;
  Keys items;
  std::string section;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(".Ss ")) section = line.substr(4);
    if (line.starts_with(".Sh ")) section.clear();
    if (!line.starts_with(".It " + macro + " ")) continue;
    std::istringstream words(line.substr(5 + macro.size()));
    for (std::string word; words >> word;) {
      if (word != ",") items.emplace(section, word);
    }
  }
  return items;
}

TEST_F(DocumentsTest, TheExampleUsesEveryKey) {
  KeyUse keys;
  const HostReading reading = readHost(printed("--example"), "example", &keys);
  ASSERT_TRUE(reading.host) << fmt::format("{}", fmt::join(reading.problems, "\n"));
  EXPECT_GT(keys.known.size(), 150U);
  EXPECT_EQ(missing(keys.known, keys.used), "");
}

TEST_F(DocumentsTest, TheExampleRuns) {
  workspace.write("host.json", printed("--example"));
  EXPECT_EQ(output(ZANSIM_PROBE " name:0 name:3; ls /dev | grep -c zanthe"),
            "Zanthe KV100\nZanthe KV100\n5\n");
}

TEST_F(DocumentsTest, TheManualNamesEveryKey) {
  KeyUse keys;
  readHost(printed("--example"), "example", &keys);
  const Keys known = lowered(keys.known);
  const Keys documented = lowered(itemsOf("zansim-host.5", "Cm"));
  EXPECT_EQ(missing(known, documented), "") << "is not in the manual";
  EXPECT_EQ(missing(documented, known), "") << "is only in the manual";
}

TEST_F(DocumentsTest, TheManualNamesEveryOption) {
  Keys options;
  std::istringstream help(printed("--help"));
  for (std::string line; std::getline(help, line);) {
    const std::size_t at = line.find("--");
    if (!line.starts_with("  -") || at == std::string::npos) continue;
    const std::size_t end = std::min(line.find_first_of(" ,=", at), line.size());
    options.emplace("", line.substr(at + 1, end - at - 1));
  }
  ASSERT_GE(options.size(), 10U);
  Keys documented;
  for (const auto& item : itemsOf("zansim.1", "Fl")) {
    if (item.second.starts_with('-')) documented.insert(item);
  }
  EXPECT_EQ(missing(options, documented), "") << "is not in the manual";
  EXPECT_EQ(missing(documented, options), "") << "is only in the manual";
}

}  // namespace
}  // namespace zansim
