#include "cli/precheck.h"

#include <gtest/gtest.h>

#include <vector>

namespace zanctl {
namespace {

using Argv = std::vector<const char*>;

TEST(Precheck, refusesBundlesAndAttachedValues) {
  for (const Argv& argv : {Argv{"zanctl", "-qx"}, Argv{"zanctl", "-i0"}, Argv{"zanctl", "-hh"},
                           Argv{"zanctl", "-f", "-out"}, Argv{"-zanctl"}}) {
    EXPECT_TRUE(hasForbiddenShape(argv)) << argv.back();
  }
  for (const Argv& argv : {Argv{"zanctl"}, Argv{"zanctl", "-q", "-x"}, Argv{"zanctl", "--ce", "7E"},
                           Argv{"zanctl", "-"}, Argv{"zanctl", "--"}, Argv{"zanctl", "-i", "-5"},
                           Argv{"zanctl", ""}}) {
    EXPECT_FALSE(hasForbiddenShape(argv)) << argv.back();
  }
}

TEST(Precheck, letsHelpStandAloneOrBehindASubcommand) {
  for (const char* help : {"-h", "--help"}) {
    EXPECT_FALSE(hasForbiddenShape(Argv{"zanctl", help}));
    for (const char* word : {"pmon", "dmon", "topo", "vgpu", "stats", "daemon", "replay"}) {
      EXPECT_FALSE(hasForbiddenShape(Argv{"zanctl", word, help})) << word;
    }
    EXPECT_TRUE(hasForbiddenShape(Argv{"zanctl", "-q", help}));
    EXPECT_TRUE(hasForbiddenShape(Argv{"zanctl", help, "dmon"}));
    EXPECT_TRUE(hasForbiddenShape(Argv{"zanctl", help, help}));
    EXPECT_TRUE(hasForbiddenShape(Argv{"zanctl", "dmon", "-i", help}));
  }
}

}  // namespace
}  // namespace zanctl
