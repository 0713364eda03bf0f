// The folders and services of a terminal, each wrong in one way: the line that the library writes
// leads to exactly the code of that way.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"
#include "crypto/store/security_service.h"
#include "installer/directories.h"
#include "installer/marketplace_rules.h"
#include "support/install_log.h"
#include "tests/builders/child_process.h"
#include "tests/builders/collected_log.h"
#include "tests/builders/der_builder.h"
#include "tests/builders/failing_memory.h"
#include "tests/builders/test_terminal.h"
#include "tests/builders/wrapped_calls.h"
#include "tools/wz/words/codes.h"
#include "tools/wz/words/explain.h"
#include "wzapp/wzapp.h"

namespace wzapp_test {
namespace {

const std::string kSource = "/mnt/flash/system/wz";
const std::string kConfig = "/mnt/flash/etc/config/wzapp";

class CodesFolderTest : public testing::Test {
 protected:
  ~CodesFolderTest() override { wzapp::setInstallLog(nullptr, nullptr); }

  std::string codeOfLast() const {
    const wz::LogMatch match = wz::matchLogLine(lines.empty() ? "" : lines.back());
    return match.code == nullptr ? "" : match.code->id;
  }

  std::string makeSourceFolder() {
    wzapp::wzInstallCreateSourceDir(collectLine, &lines);
    return codeOfLast();
  }

  // The first thing that is said.
  std::string makeConfigurationRoot() {
    static_cast<void>(wzapp::prepareConfigRoot(collectLine, &lines));
    for (const std::string& line : lines) {
      if (const wz::LogMatch match = wz::matchLogLine(line); match.code != nullptr) {
        return match.code->id;
      }
    }
    return "";
  }

  TestTerminal terminal;
  WrappedCalls calls;
  Lines lines;
};

TEST_F(CodesFolderTest, TheSourceFolderCannotBeMade) {
  terminal.writeFile(kSource, "a file");
  EXPECT_EQ(makeSourceFolder(), "WZ-0601");
}

TEST_F(CodesFolderTest, ThereIsNoGroup) {
  calls.getgrnam_r = [](const char*, struct group*, char*, std::size_t, struct group** found) {
    *found = nullptr;
    return 0;
  };
  EXPECT_EQ(makeSourceFolder(), "WZ-0602");
}

TEST_F(CodesFolderTest, TheGroupCannotBeGiven) {
  calls.chown = [](const char*, uid_t, gid_t) { return -1; };
  EXPECT_EQ(makeSourceFolder(), "WZ-0603");
}

TEST_F(CodesFolderTest, TheModeCannotBeSet) {
  calls.chmod = [](const char*, mode_t) { return -1; };
  EXPECT_EQ(makeSourceFolder(), "WZ-0604");
}

TEST_F(CodesFolderTest, AnOlderFolderCannotBeMoved) {
  terminal.writeFile("/home/sys13/flash/www/wz/shop/index.html", "<p>");
  calls.rename = [](const char*, const char*) {
    errno = EXDEV;
    return -1;
  };
  EXPECT_EQ(makeConfigurationRoot(), "WZ-0605");
}

TEST_F(CodesFolderTest, TheConfigurationRootCannotBeMade) {
  calls.mkdir = [](const char*, mode_t) {
    errno = ENOSPC;
    return -1;
  };
  EXPECT_EQ(makeConfigurationRoot(), "WZ-0606");
}

TEST_F(CodesFolderTest, TheNewConfigurationRootIsAnotherUsers) {
  calls.getuid = [] { return static_cast<uid_t>(getgid() + 4711); };
  EXPECT_EQ(makeConfigurationRoot(), "WZ-0607");
}

TEST_F(CodesFolderTest, TheConfigurationRootIsAFile) {
  terminal.writeFile(kConfig, "a file");
  EXPECT_EQ(makeConfigurationRoot(), "WZ-0608");
}

TEST_F(CodesFolderTest, TheConfigurationRootIsAnotherUsers) {
  terminal.makeFolder(kConfig);
  calls.getuid = [] { return static_cast<uid_t>(getgid() + 4711); };
  EXPECT_EQ(makeConfigurationRoot(), "WZ-0609");
}

// A child each: what the security service says is found out once per process.
TEST_F(CodesFolderTest, TheServiceDoesNotListItsCertificates) {
  runInChild([] {
    unsetenv("WZ_TERMINAL");
    testing::internal::CaptureStderr();
    wzapp::startCertificateReading();
    const wz::LogMatch match = wz::matchLogLine(testing::internal::GetCapturedStderr());

    ASSERT_NE(match.code, nullptr);
    EXPECT_STREQ(match.code->id, "WZ-0613");
  });
}

TEST_F(CodesFolderTest, TheServiceDoesNotTellTheSponsor) {
  workstation::TerminalProfile profile = testProfile();
  profile.sponsorId.clear();
  terminal.setProfile(profile);
  terminal.writeFile(kConfig + "/mp/shop/mpmanifest.mft",
                     R"({"application":{"id":"shop"},"sponsors":["123456"]})");
  runInChild([&] {
    wzapp::setInstallLog(collectLine, &lines);
    wzapp::AppIds removed;

    EXPECT_FALSE(wzapp::applyMarketplaceRules(removed));

    EXPECT_EQ(codeOfLast(), "WZ-0614");
  });
}

// ---- What no file can cause ---------------------------------------------------------------------

TEST(CodesOfTheLibraryTest, NoMemoryToVerify) {
  const Octets modulus(128, 0xC3), exponent{1, 0, 1}, signature(128, 0x11);
  wzapp::SignatureCheck check;
  check.data = signature;
  check.signature = signature;
  check.publicExponent = exponent;
  check.modulus = modulus;
  check.digestOid = "2.16.840.1.101.3.4.2.1";

  failAllocation(1, Shortage::kOnce);
  const int result = wzapp::verify(check);
  ASSERT_TRUE(endShortage());

  EXPECT_STREQ(wz::findCode(wz::Layer::kRsa, result)->id, "WZ-0333");
}

TEST(CodesOfTheLibraryTest, NoSuchDigest) {
  std::uint8_t digest[32];

  const int result = wzapp::digestByOid("1.2.3", {}, digest);

  EXPECT_STREQ(wz::findCode(wz::Layer::kDigest, result)->id, "WZ-0336");
}

}  // namespace
}  // namespace wzapp_test
