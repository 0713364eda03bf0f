// The host may have set any locale; text, numbers and configuration files must not follow it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <string>

#include "support/config_file.h"
#include "support/format.h"
#include "support/platform_info.h"
#include "support/text.h"
#include "tests/builders/child_process.h"
#include "tests/builders/temporary_directory.h"
#include "tests/support/fake_platform.h"
#include "tests/support/hostile_locale.h"

namespace wzapp {
namespace {

using wzapp_test::enterHostileLocale;
using wzapp_test::runInChild;

class LocaleTest : public testing::Test {
 protected:
  // Runs `body` in the locale, which is checked to be as strange as it should be.
  template <class Body>
  static void inHostileLocale(const Body& body) {
    runInChild([&body] {
      ASSERT_TRUE(enterHostileLocale());
      char number[16];
      std::snprintf(number, sizeof number, "%.1f", 1.5);
      ASSERT_STREQ(number, "1,5");
      ASSERT_NE(std::isspace('~'), 0);
      ASSERT_EQ(std::toupper('a'), 'Q');

      body();
    });
  }
};

TEST_F(LocaleTest, DoesNotChangeNumbers) {
  inHostileLocale([] {
    std::string out;

    format(out, "%.2f %e %g %d %08.1f", 1.5, 1234567.5, 0.25, 1234567, -1.5);

    EXPECT_EQ(out, "1.50 1.234568e+06 0.25 1234567 -00001.5");
  });
}

TEST_F(LocaleTest, DoesNotChangeCharacterClassesAndCase) {
  inHostileLocale([] {
    EXPECT_EQ(trim(" ~a~ "), "~a~");
    EXPECT_EQ(toUpper("abcxyz"), "ABCXYZ");
  });
}

TEST_F(LocaleTest, DoesNotChangeConfigurationFiles) {
  inHostileLocale([] {
    const wzapp_test::TemporaryDirectory directory;
    const ConfigFile file(directory.write("config", "[a]\n~k~ = ~v~\n"));

    EXPECT_EQ(file.getValue("a", "~k~", ""), "~v~");
    EXPECT_EQ(file.getValue("a", "k", "default"), "default");
  });
}

TEST_F(LocaleTest, DoesNotChangeModels) {
  inHostileLocale([] {
    wzapp_test::FakePlatform platform;
    platform.info[68] = std::string("~a~ \0", 5);

    EXPECT_EQ(terminalModel(), "~a~");
  });
}

}  // namespace
}  // namespace wzapp
