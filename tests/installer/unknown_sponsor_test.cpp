// A terminal whose security service ends its list of sponsors twice. Every test is a child process:
// a sponsor is found out once per process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <string>

#include "installer/marketplace_rules.h"
#include "support/install_result.h"
#include "tests/builders/child_process.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace wzapp_test;

class UnknownSponsorTest : public RulesTest {
 protected:
  UnknownSponsorTest() {
    workstation::TerminalProfile profile = testProfile();
    profile.sponsorId.clear();
    terminal.setProfile(profile);
    install("stays", "{}");
    writeUninstallManifest("stays", manifestFor("stays", "1"));
    installApplication("unknown");
  }
};

TEST_F(UnknownSponsorTest, CondemnsNobody) {
  runInChild([&] {
    const std::set<std::string> before = tree();
    AppIds removed;

    EXPECT_FALSE(applyMarketplaceRules(removed));

    EXPECT_EQ(tree(), before);
    EXPECT_THAT(removed, IsEmpty());
    EXPECT_THAT(lines, ElementsAre("postinstall\n", "Error: CMDiag failed (ret=-510)\n"));
    EXPECT_EQ(installResult(), kInstallError);
  });
}

// Any other answer is one: a terminal without a sponsor, which none of the lists has.
TEST_F(UnknownSponsorTest, IsNotThatOfAServiceThatRefuses) {
  runInChild([&] {
    unsetenv("WZ_TERMINAL");
    AppIds removed;

    EXPECT_TRUE(applyMarketplaceRules(removed));

    EXPECT_THAT(removed, ElementsAre("stays"));
    EXPECT_FALSE(terminal.exists(kApps + "/stays"));
  });
}

}  // namespace
}  // namespace wzapp
