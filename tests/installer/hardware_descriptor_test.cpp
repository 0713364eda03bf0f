// How the dependency check describes other terminals than the one that the tests run on. Every test
// is a child process, and none of them is in a program with others: model and touch screen are
// found out once per process.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <ostream>
#include <string>

#include "installer/dependency_check.h"
#include "tests/builders/child_process.h"
#include "tests/builders/wrapped_calls.h"
#include "tests/installer/rules_fixture.h"

namespace wzapp {
namespace {

using testing::Contains;
using testing::Not;
using wzapp_test::kApps;
using wzapp_test::RulesTest;

struct TerminalCase {
  const char* name;
  const char* model;
  int width;
  int height;
  bool isColour;
  bool hasTouchDevice;
  std::string descriptor;
  std::string modelName;
};

void PrintTo(const TerminalCase& row, std::ostream* out) { *out << row.name; }

class HardwareDescriptorTest : public RulesTest, public testing::WithParamInterface<TerminalCase> {
 protected:
  void check(const std::string& platform) {
    lines.clear();
    terminal.writeFile(kApps + "/shop.mft",
                       R"({"imports_hardware":{"platforms":[")" + platform + R"("]}})");
    AppIds removed;
    EXPECT_TRUE(checkDependencies(removed));
  }

  void expectDescription(const std::string& descriptor, const std::string& model) {
    const std::string error =
        "Error: Platform " + descriptor + " or model " + model + " not supported\n";
    check("another");
    EXPECT_THAT(lines, Contains(error));
    check(descriptor);
    EXPECT_THAT(lines, Not(Contains(error)));
    check(model);
    EXPECT_THAT(lines, Not(Contains(error)));
  }

  wzapp_test::WrappedCalls calls;
};

TEST_P(HardwareDescriptorTest, TellsWhatTheTerminalIs) {
  const TerminalCase& row = GetParam();
  workstation::TerminalProfile profile = wzapp_test::testProfile();
  profile.model = row.model;
  profile.displayWidth = row.width;
  profile.displayHeight = row.height;
  profile.displayColour = row.isColour;
  terminal.setProfile(profile);
  calls.stat = [&row](const char* path, struct stat* status) {
    if (std::string(path) != "/sys/devices/platform/captouch.0") {
      return wzapp_test::realStat(path, status);
    }
    errno = ENOENT;
    return row.hasTouchDevice ? 0 : -1;
  };

  wzapp_test::runInChild([&] { expectDescription(row.descriptor, row.modelName); });
}

INSTANTIATE_TEST_SUITE_P(
    All, HardwareDescriptorTest,
    testing::Values(
        TerminalCase{"NoKeys", "T30", 480, 800, true, true, "480x800C0T", "T30"},
        TerminalCase{"Monochrome", "K271", 128, 64, false, false, "128x64M15N", "K271"},
        TerminalCase{"OddWidth", "N255k", 856, 480, true, true, "854x480C15T", "N255k"},
        TerminalCase{"NextWidth", "N255k", 857, 480, true, true, "857x480C15T", "N255k"},
        TerminalCase{"TouchByDevice", "K271", 320, 240, true, true, "320x240C15T", "K271"},
        TerminalCase{"OddHeight", "T7", 480, 856, true, true, "480x856C0T", "T7"}),
    [](const testing::TestParamInfo<TerminalCase>& row) { return row.param.name; });

class UnknownTerminalTest : public HardwareDescriptorTest {};

TEST_F(UnknownTerminalTest, IsDescribedByWhatStandsForNothing) {
  wzapp_test::runInChild([&] {
    unsetenv("WZ_TERMINAL");
    expectDescription("-1x-1C21T", "unkn");
  });
}

}  // namespace
}  // namespace wzapp
