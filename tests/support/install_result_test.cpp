#include "support/install_result.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/builders/collected_log.h"

namespace wzapp {
namespace {

using testing::ElementsAre;
using wzapp_test::collectLine;
using wzapp_test::Lines;

struct Change {
  InstallResult before;
  InstallResult afterError;
  InstallResult afterWarning;
};

class InstallResultTest : public testing::TestWithParam<Change> {
 protected:
  InstallResultTest() { setInstallLog(collectLine, &lines); }
  ~InstallResultTest() override {
    setInstallLog(nullptr, nullptr);
    setInstallResult(kInstallOk);
  }

  Lines lines;
};

TEST_P(InstallResultTest, AnErrorSetsItWhateverItWas) {
  setInstallResult(GetParam().before);

  reportError("Error: Failed reading '%s'\n", "a");

  EXPECT_EQ(installResult(), GetParam().afterError);
  EXPECT_THAT(lines, ElementsAre("Error: Failed reading 'a'\n"));
}

TEST_P(InstallResultTest, AWarningChangesNothingButSuccess) {
  setInstallResult(GetParam().before);

  reportWarning("Warning: Failed adding certificate '%s': Error %d\n", "a", -3);

  EXPECT_EQ(installResult(), GetParam().afterWarning);
  EXPECT_THAT(lines, ElementsAre("Warning: Failed adding certificate 'a': Error -3\n"));
}

TEST_P(InstallResultTest, ProgressLeavesItAsItIs) {
  setInstallResult(GetParam().before);

  report("Install %s\n", "a");

  EXPECT_EQ(installResult(), GetParam().before);
}

INSTANTIATE_TEST_SUITE_P(Results, InstallResultTest,
                         testing::Values(Change{kInstallOk, kInstallError, kInstallWarning},
                                         Change{kInstallNoPackage, kInstallError,
                                                kInstallNoPackage},
                                         Change{kInstallError, kInstallError, kInstallError},
                                         Change{kInstallWarning, kInstallError, kInstallWarning}),
                         [](const auto& row) { return "From" + std::to_string(row.param.before); });

// Seen from inside the callback: a host that looks at the result while a message arrives sees what
// the message says.
void expectError(void* user, const char* /*format*/, ...) {
  *static_cast<InstallResult*>(user) = installResult();
}

TEST(InstallResultOrder, IsSetBeforeTheMessageArrives) {
  InstallResult seen = kInstallOk;
  setInstallLog(expectError, &seen);

  reportError("Error: Invalid signature\n");
  setInstallLog(nullptr, nullptr);
  setInstallResult(kInstallOk);

  EXPECT_EQ(seen, kInstallError);
}

}  // namespace
}  // namespace wzapp
