// The completion scripts in the shells that they are for, on simulated machines.
#include "support/host.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace zanctl {
namespace {

using Words = std::set<std::string>;

constexpr const char* kFirst = "GPU-a0000000-0000-0000-0000-000000000000";
constexpr const char* kSecond = "GPU-b0000000-0000-0000-0000-000000000000";

std::string twoGpus() {
  return fmt::format(R"({{"gpus": [{{"uuid": "{}"}}, {{"uuid": "{}"}}]}})", kFirst, kSecond);
}

struct Case {
  std::string typed;
  Words offered;  // what may stand behind the last blank, comma or "="
};

std::size_t lastWord(const std::string& line) { return line.find_last_of(" ,=") + 1; }

std::vector<std::string> linesOf(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// A line as completed, without what a shell adds to a word that is done.
std::string withoutEnd(std::string line) {
  line.erase(line.find_last_not_of(" ,=/") + 1);
  return line;
}

// The last words of a line in which all that is offered stands in place of the word typed.
Words offeredIn(const std::string& line, const std::string& typed) {
  std::istringstream in(line.substr(std::min(line.size(), typed.rfind(' ') + 1)));
  Words words;
  for (std::string word; in >> word;) {
    word = withoutEnd(word);
    words.insert(word.substr(lastWord(word)));
  }
  return words;
}

class Shell {
 public:
  Shell(std::string name, std::string command)
      : name_(std::move(name)), command_(std::move(command)) {}

  void expectOffers(Host& host, const std::vector<Case>& cases) const {
    SCOPED_TRACE(name_);
    write(host.directory(), cases);
    const Outcome run = host.runScript(fmt::format(
        "cd '{0}'; rm -f results; export HOME='{0}' "
        "TERM=dumb INPUTRC=/dev/null ZDOTDIR='{0}' cases='{0}/cases' results='{0}/results' "
        "drivers='{1}' scripts='{2}'\n{3}",
        host.directory().string(), ZANCTL_DRIVERS, ZANCTL_SHARE, command_));
    EXPECT_EQ((run.out + run.err).find("libzanml"), std::string::npos) << run.out << run.err;
    const std::vector<std::string> results = linesOf(host.directory() / "results");
    ASSERT_EQ(results.size(), cases.size() * 2) << run.out << run.err;
    for (std::size_t index = 0; index < cases.size(); ++index) {
      const auto& [typed, offered] = cases[index];
      const Words expected = offered.empty() ? offeredIn(typed, typed) : offered;
      EXPECT_EQ(offeredIn(results[2 * index], typed), expected) << typed;
      if (offered.size() != 1) continue;
      EXPECT_EQ(withoutEnd(results[2 * index + 1]),
                typed.substr(0, lastWord(typed)) + *offered.begin());
    }
  }

 private:
  // The cases as lines, and as the keys that complete them.
  static void write(const std::filesystem::path& directory, const std::vector<Case>& cases) {
    std::ofstream lines(directory / "cases");
    std::ofstream keys(directory / "keys");
    for (const Case& each : cases) {
      lines << each.typed << "\n";
      keys << each.typed << "\030a\030t" << each.typed << "\t\030t";
    }
  }

  std::string name_;
  std::string command_;
};

std::vector<Shell> shells() {
  const std::string bash = "bash --noprofile --rcfile \"$drivers/complete.bash\" -i <keys";
  return {
      {"bash", bash},
      {"bash that breaks words at blanks alone", "export wordbreaks=' '; " + bash},
      {"zsh", "cp \"$drivers/complete.zsh\" .zshrc; script -qec 'zsh -d -i' /dev/null </dev/null"},
      {"fish", "fish --no-config \"$drivers/complete.fish\""},
  };
}

TEST(Completion, offersWhatFits) {
  Host host = Host::described(twoGpus());
  const std::string directory = host.directory().string();
  std::filesystem::create_directory(host.directory() / "logs");
  std::ofstream(host.directory() / "log-of-today") << "";
  const std::vector<Case> cases = {
      {"zanctl ", {"dmon", "pmon", "topo", "vgpu", "stats", "daemon", "replay"}},
      {"zanctl d", {"dmon", "daemon"}},
      {"zanctl --query-c", {"--query-compute-apps"}},
      {"zanctl dmon --m", {}},
      {"zanctl topo --p", {"--p2p", "--p2pstatus"}},
      {"zanctl --query-gpu name,pci.bus", {"pci.bus", "pci.bus_id"}},
      {"zanctl -l 5 --query-gpu=memory.free,memory.", {"memory.total", "memory.used"}},
      {"zanctl --format=csv,no", {"noheader", "nounits"}},
      {"zanctl -q -d ECC,P", {"POWER", "PERFORMANCE", "PAGE_RETIREMENT", "PIDS"}},
      {"zanctl stats -d temp,pw", {"pwrDraw"}},
      {"zanctl dmon -o D", {"DJ", "DT", "DV"}},
      {"zanctl pmon --options=T", {"TD"}},
      {"zanctl topo -n ", {"0", "1", "2", "3", "4", "5"}},
      {"zanctl --ce ", {}},
      {"zanctl -i ", {"0", "1", kFirst, kSecond}},
      {"zanctl dmon --id=1,", {"0", kFirst, kSecond}},
      {"zanctl -i 00000000:17:00.0,GPU-b", {kSecond}},
      {"zanctl replay -f " + directory + "/log-", {directory + "/log-of-today"}},
      {"zanctl daemon --path=" + directory + "/log", {directory + "/logs"}},
  };
  for (const Shell& shell : shells()) shell.expectOffers(host, cases);
}

// The long options that begin the lines of a help, behind a short one or not.
Words optionsIn(const std::string& help) {
  Words options;
  std::istringstream lines(help);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t begin = line.find("--");
    const std::size_t shortOption = line.find_first_not_of(' ');
    if (begin == 0 || begin == std::string::npos || begin - shortOption > 4) continue;
    const std::size_t end =
        line.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789._-", begin);
    if (end > begin + 2) options.insert(line.substr(begin, end - begin));
  }
  return options;
}

TEST(Completion, knowsEveryOptionInAHelp) {
  Host host = Host::described(twoGpus());
  std::vector<Case> cases = {
      {"zanctl-exporter --collect=power,vg", {"vgpu"}},
      {"zanctl-exporter --web.listen-address=:1 --web.l", {"--web.listen-address"}},
      {"zanctl-health -q -i 0,GPU-b", {kSecond}},
      {"zantop --theme=", {"dark", "light"}},
      {"zansim --host one", {"one-gpu"}},
      {"zansim --virtual-clock -- printen", {"printenv"}},
  };
  for (const char* program : {"zanctl-exporter", "zanctl-health", "zansim", "zantop"}) {
    const Words options = optionsIn(host.runScript(std::string(program) + " --help").out);
    EXPECT_GT(options.size(), 10U) << program;
    cases.push_back({std::string(program) + " --", options});
  }
  for (const Shell& shell : shells()) shell.expectOffers(host, cases);
}

TEST(Completion, isSilentWithoutTheLibrary) {
  Host host = Host::described(R"({"library": false, "gpus": [{}]})");
  for (const Shell& shell : shells()) {
    shell.expectOffers(host, {{"zanctl -i ", {}}, {"zanctl stats -d te", {"temp"}}});
  }
}

}  // namespace
}  // namespace zanctl
