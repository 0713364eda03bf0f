// wz certs.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "crypto/certificate/certificate_summary.h"
#include "crypto/store/authorities.h"
#include "tests/builders/test_terminal.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::StartsWith;

struct Member {
  std::string name, content;

  friend bool operator==(const Member&, const Member&) = default;
};

// The members of an archive, as tar itself takes it apart.
std::vector<Member> membersOf(const std::string& archive) {
  std::vector<Member> members;
  for (const std::string& name : linesOf(runProgram("/bin/tar", {"-tf", archive}).out)) {
    members.push_back({name, runProgram("/bin/tar", {"-xOf", archive, name}).out});
  }
  return members;
}

std::vector<Member> authorityMembers() {
  std::vector<Member> members;
  for (const wzapp::Authority& authority : wzapp::authorities()) {
    wzapp::CertificateSummary summary;
    EXPECT_EQ(wzapp::summariseCertificate(authority.der, summary), 0);
    members.push_back({std::string("wz") + summary.serial + ".crt",
                       std::string(authority.der.begin(), authority.der.end())});
  }
  return members;
}

// A terminal with the roots of keys that are nobody else's.
class CertsTest : public testing::Test {
 protected:
  void SetUp() override {
    const ProgramResult made =
        runWz({"terminal", "create", terminal_, "--roots", madeKeys() + "/roots"});
    ASSERT_EQ(made.code, 0) << made.errors;
    for (const char* const number : {"1", "2"}) {
      members_.push_back({std::string("os10000") + number + ".crt",
                          contentOf(madeKeys() + "/roots/development-root-" + number + ".der")});
    }
    for (const Member& member : authorityMembers()) members_.push_back(member);
  }

  [[nodiscard]] ProgramResult certs(const std::string& file) const {
    return runWz({"certs", "--terminal", terminal_, "-o", file});
  }

  TemporaryDirectory folder_;
  std::string terminal_ = folder_ / "desk";
  std::vector<Member> members_;
};

TEST_F(CertsTest, TheTerminalsCertificatesAndTheAuthoritiesAreWritten) {
  const ProgramResult result = certs(folder_ / "certs.tar");

  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_EQ(result.out, "wrote 11 certificates to " + (folder_ / "certs.tar") +
                            ": 2 of the terminal, 9 authorities\n");
  EXPECT_EQ(membersOf(folder_ / "certs.tar"), members_);
}

TEST_F(CertsTest, StandardOutputHoldsTheArchiveAlone) {
  const ProgramResult result = certs("-");

  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.errors, "wz: wrote 11 certificates: 2 of the terminal, 9 authorities\n");
  EXPECT_EQ(membersOf(folder_.write("copy.tar", result.out)), members_);
}

TEST_F(CertsTest, ATerminalWithoutCertificatesHasTheAuthorities) {
  for (const auto& entry : fs::directory_iterator(terminal_ + "/roots")) fs::remove(entry.path());

  const ProgramResult result = certs(folder_ / "certs.tar");

  EXPECT_EQ(result.out, "wrote 9 certificates to " + (folder_ / "certs.tar") +
                            ": 0 of the terminal, 9 authorities\n");
  EXPECT_EQ(membersOf(folder_ / "certs.tar"), authorityMembers());
}

TEST_F(CertsTest, ARelativePathIsSeenFromWhereTheUserIs) {
  const ProgramResult result = runWz({"certs", "--terminal", "desk", "-o", "certs.tar"},
                                     [this] { fs::current_path(folder_.path()); });

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_TRUE(fs::exists(folder_ / "certs.tar"));
}

TEST_F(CertsTest, AFileThatCannotBeWrittenIsNamed) {
  const ProgramResult result = certs("/nowhere/certs.tar");

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.errors, "wz: cannot write /nowhere/certs.tar: No such file or directory\n");
}

TEST_F(CertsTest, AFailedWriteLeavesTheOlderFile) {
  const std::string file = folder_.write("certs.tar", "before");

  const ProgramResult result = runWz({"certs", "--terminal", terminal_, "-o", file}, [] {
    const rlimit limit{4096, 4096};
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_IGN);
  });

  EXPECT_EQ(result.code, kEnvironment);
  // What counts a program's lines writes files too, and complains behind it.
  EXPECT_THAT(result.errors, StartsWith("wz: cannot write " + file + ": File too large\n"));
  EXPECT_EQ(contentOf(file), "before");
  EXPECT_THAT(namesIn(folder_.path()), ElementsAre("certs.tar", "desk"));
}

TEST_F(CertsTest, AFolderThatIsNoTerminalLeavesNoFile) {
  const ProgramResult result = runWz({"certs", "--terminal", "/usr", "-o", folder_ / "certs.tar"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, StartsWith("wz: /usr is no terminal directory"));
  EXPECT_FALSE(fs::exists(folder_ / "certs.tar"));
}

}  // namespace
}  // namespace wzapp_test
