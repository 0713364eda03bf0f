// wz keys, and what the keys mean to new terminals.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "crypto/store/authorities.h"
#include "tests/builders/certificate_builder.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

bool hasProductsAuthorities() { return wz::developmentRoots().empty(); }

TEST(KeysInitTest, MakesAKeyDirectory) {
  const TemporaryDirectory folder;

  const ProgramResult result = runWz({"keys", "init", folder / "keys"});

  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(result.out, StartsWith("made the development keys " + (folder / "keys") + "\n"));
  EXPECT_EQ(contentOf(folder / "keys/authorities.txt"), contentOf(madeKeys() + "/authorities.txt"));
  for (const char* const file : {"roots/development-root-2.der", "authorities/9.key",
                                 "signers/application.der", "signers/manifest.key"}) {
    EXPECT_TRUE(fs::exists(folder / "keys/" + file)) << file;
  }
}

TEST(KeysInitTest, LeavesAnExistingFolderAlone) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "keys");

  const ProgramResult result = runWz({"keys", "init", folder / "keys"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot make " + (folder / "keys") + ": File exists\n");
  EXPECT_TRUE(fs::is_empty(folder / "keys"));
}

TEST(KeysShowTest, AnAuthorityThatIsCompiledInIsRecognised) {
  const TemporaryDirectory folder;
  const wzapp::ByteView der = wzapp::authorities()[2].der;
  const std::string file = folder.write("a.der", std::string(der.begin(), der.end()));

  const ProgramResult result = runWz({"keys", "show", file});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(
      linesOf(result.out),
      AllOf(Contains("file              " + file + ", " + std::to_string(der.size()) + " octets"),
            Contains("kind              3, application certificate, may sign applications"),
            Contains(StartsWith("acceptance        It is authority 3 of those compiled "
                                "in; "))));
}

TEST(KeysShowTest, ExplainsADevelopmentSigner) {
  if (hasProductsAuthorities()) GTEST_SKIP() << "built with a product's authorities";
  const std::string file = std::string(DEVELOPMENT_KEYS) + "/signers/manifest.der";

  const ProgramResult result = runWz({"keys", "show", file});

  EXPECT_EQ(result.code, 0) << result.errors;
  const std::vector<std::string> lines = linesOf(result.out);
  EXPECT_THAT(
      lines,
      ElementsAre(
          StartsWith("file              " + file + ", "),
          // The keys of a build folder may be older than what makes them now: no whole names.
          StartsWith("subject           O=Development keys, OU=Not for terminals, CN=Development "),
          StartsWith("issuer            O=Development keys, OU=Not for terminals, CN=Development "),
          "serial            500002 (octets 323030303035, which a terminal shows last to first)",
          StartsWith("subject key id    "), StartsWith("authority key id  "),
          "valid             from 2020-01-01 00:00:00 to 2110-01-01 00:00:00 UTC",
          "                  Within its dates. A terminal would also accept it outside of them.",
          "key               RSA, 2048 bits, public exponent 65537",
          "signature         sha256WithRSAEncryption", "permissions       S11",
          "kind              4, manifest certificate, may sign manifest packages (-O.ZIP and "
          "-U.ZIP)",
          "acceptance        Accepted by authority 1 of those compiled in."));
}

TEST(KeysShowTest, ForeignKeysAreNotAccepted) {
  const ProgramResult result = runWz({"keys", "show", madeKeys() + "/signers/application.der"});

  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(linesOf(result.out),
              AllOf(Contains("kind              none"),
                    Contains(StartsWith("acceptance        Refused: none of the authorities "
                                        "compiled in has the key identifier "))));
}

TEST(KeysShowTest, AnExpiredCertificateIsSaidToBeAccepted) {
  const TemporaryDirectory folder;
  const std::string file = folder.write(
      "old.crt",
      textOf(CertificateBuilder().validity("100101000000Z", "110101000000Z").encoding()));

  EXPECT_THAT(linesOf(runWz({"keys", "show", file}).out),
              Contains("                  Expired. A terminal accepts it all the same."));
}

TEST(KeysShowTest, HostileOctetsDoNotReachTheUsersTerminal) {
  const TemporaryDirectory folder;
  const std::string evil = "a\x1b[2J\nkind 3\r\xE2\x80\xAE\xFF";
  const Octets der =
      CertificateBuilder()
          .serial(DerBuilder().integer(fromText("\x1b]0;x\a")))
          .issuer(DerBuilder().sequence(
              attribute("2.5.4.3", DerBuilder().element(0x14, fromText(evil)))))
          .subjectAttributes(attribute("2.5.4.3", DerBuilder().element(0x0C, fromText(evil))))
          .permissions({"S14\x1b[0m"})
          .encoding();
  const std::string file = folder.write("evil.crt", textOf(der));
  const auto isQuiet = [](const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return c == '\n' || (c >= 0x20 && c < 0x7F); });
  };

  const ProgramResult words = runWz({"keys", "show", file});
  const ProgramResult json = runWz({"keys", "show", "--json", file});

  EXPECT_EQ(words.code, 0);
  EXPECT_TRUE(isQuiet(words.out)) << words.out;
  EXPECT_THAT(linesOf(words.out),
              AllOf(Contains("subject           CN=a\\x1b[2J\\nkind 3\\r\\u{202e}\\xff"),
                    Contains("permissions       S14\\x1b[0m")));
  EXPECT_TRUE(isQuiet(json.out)) << json.out;
  rapidjson::Document document;
  document.Parse(json.out.c_str());
  ASSERT_TRUE(document.IsObject());
  EXPECT_STREQ(document["result"]["subject"].GetString(), "CN=a\\x1b[2J\\nkind 3\\r\\u{202e}\\xff");
}

TEST(KeysShowTest, PrintsJson) {
  if (hasProductsAuthorities()) GTEST_SKIP() << "built with a product's authorities";
  const std::string file = std::string(DEVELOPMENT_KEYS) + "/signers/application.der";

  const ProgramResult result = runWz({"keys", "show", file, "--json"});

  EXPECT_EQ(result.code, 0) << result.errors;
  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_TRUE(document.IsObject());
  EXPECT_EQ(document["result"]["file"].GetString(), file);
  EXPECT_EQ(document["result"]["octets"].GetUint64(), fs::file_size(file));
  EXPECT_TRUE(document["result"]["isCertificate"].GetBool());
  EXPECT_STREQ(document["result"]["serial"].GetString(), "500001");
  EXPECT_STREQ(document["result"]["serialOctets"].GetString(), "313030303035");
  EXPECT_EQ(document["result"]["subjectKeyId"].GetStringLength(), 40U);
  EXPECT_EQ(document["result"]["authorityKeyId"].GetStringLength(), 40U);
  EXPECT_STREQ(document["result"]["validFrom"].GetString(), "2020-01-01T00:00:00Z");
  EXPECT_STREQ(document["result"]["validTo"].GetString(), "2110-01-01T00:00:00Z");
  EXPECT_STREQ(document["result"]["dates"].GetString(), "valid");
  EXPECT_EQ(document["result"]["keyBits"].GetUint64(), 2048U);
  EXPECT_STREQ(document["result"]["publicExponent"].GetString(), "65537");
  ASSERT_EQ(document["result"]["permissions"].Size(), 1U);
  EXPECT_STREQ(document["result"]["permissions"][0].GetString(), "S14");
  EXPECT_EQ(document["result"]["kind"].GetInt(), 3);
  EXPECT_TRUE(document["result"]["accepted"].GetBool());
  ASSERT_EQ(document["result"]["authorities"].Size(), 1U);
  EXPECT_EQ(document["result"]["authorities"][0].GetInt(), 1);
}

TEST(KeysShowTest, WhatIsNoCertificateIsRejectedInWords) {
  const TemporaryDirectory folder;
  const std::string file =
      folder.write("v1.crt", textOf(CertificateBuilder().version(DerBuilder()).encoding()));

  const ProgramResult words = runWz({"keys", "show", file});
  const ProgramResult json = runWz({"keys", "show", file, "--json"});

  EXPECT_EQ(words.code, kRejected);
  EXPECT_EQ(words.out, "");
  EXPECT_THAT(words.errors, StartsWith("wz: " + file +
                                       " is no certificate that a terminal reads: the certificate "
                                       "is not of version 3 [WZ-0210]\nwz: repair: "));
  EXPECT_EQ(json.code, kRejected);
  rapidjson::Document document;
  document.Parse(json.out.c_str());
  ASSERT_TRUE(document.IsObject());
  EXPECT_FALSE(document["result"]["isCertificate"].GetBool());
  EXPECT_STREQ(document["result"]["refusal"].GetString(), "it is not of version 3 (-102)");
}

TEST(KeysShowTest, PemTextIsToldFromDer) {
  const TemporaryDirectory folder;
  const std::string file = folder.write("a.pem", "-----BEGIN CERTIFICATE-----\nMII=\n");

  const ProgramResult result = runWz({"keys", "show", file});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors, HasSubstr("the file is PEM text where terminals read DER [WZ-0241]"));
}

TEST(KeysShowTest, APrivateKeyIsNamedAsSuch) {
  const ProgramResult result = runWz({"keys", "show", madeKeys() + "/signers/application.key"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.errors, HasSubstr("the file is a private key, no certificate [WZ-0242]"));
}

TEST(KeysShowTest, ACertificateMayComeThroughAPipe) {
  const std::string file = madeKeys() + "/signers/application.der";
  const std::string content = contentOf(file);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  Program program({"keys", "show", "/dev/stdin"}, [&ends] { dup2(ends[0], STDIN_FILENO); });

  EXPECT_EQ(write(ends[1], content.data(), 10), 10);
  EXPECT_EQ(write(ends[1], content.data() + 10, content.size() - 10),
            static_cast<ssize_t>(content.size() - 10));
  close(ends[0]);
  close(ends[1]);

  EXPECT_EQ(program.wait(), 0) << program.errors();
  EXPECT_THAT(program.out(), StartsWith("file              /dev/stdin, " +
                                        std::to_string(content.size()) + " octets\n"));
}

TEST(KeysShowTest, WhatIsTooLargeForACertificateIsRefused) {
  const ProgramResult result = runWz({"keys", "show", "/dev/zero"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors,
            "wz: cannot read /dev/zero: it has more than 16 MiB, or cannot be read to its end\n");
}

TEST(KeysShowTest, WhatCannotBeReadIsNamed) {
  const TemporaryDirectory folder;

  const ProgramResult missing = runWz({"keys", "show", folder / "none.crt"});
  const ProgramResult directory = runWz({"keys", "show", folder.path()});

  EXPECT_EQ(missing.code, kEnvironment);
  EXPECT_THAT(missing.errors,
              StartsWith("wz: cannot read " + (folder / "none.crt") + ": No such file"));
  EXPECT_EQ(directory.code, kRejected);
  EXPECT_THAT(directory.errors, StartsWith("wz: " + folder.path() +
                                           " is no certificate that a terminal reads: there "
                                           "is no certificate in it [WZ-0910]\n"));
}

TEST(KeysShowTest, SeveralAreALineEach) {
  const TemporaryDirectory folder;
  const std::string broken = folder.write("broken.crt", "no");
  const std::string signers = madeKeys() + "/signers";

  const ProgramResult result = runWz({"keys", "show", signers, broken});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out),
              AllOf(Contains(AllOf(StartsWith(signers + "/application.der  "),
                                   HasSubstr("500001  until 2110-01-01  not accepted"))),
                    Contains(AllOf(StartsWith(signers + "/manifest.der "), HasSubstr("500002"))),
                    Contains(AllOf(StartsWith(broken + " "), HasSubstr("no certificate")))));
}

TEST(KeysShowTest, TheCertificatesOfPackagesAndArchivesAreShown) {
  if (hasProductsAuthorities()) GTEST_SKIP() << "built with a product's authorities";
  const TemporaryDirectory folder;
  const auto atHome = [&folder] { ASSERT_EQ(chdir(folder.path().c_str()), 0); };
  ASSERT_EQ(runWz({"new", "shop"}, atHome).code, 0);
  ASSERT_EQ(runWz({"pack", "shop", "-o", "shop.zip"}, atHome).code, 0);
  ASSERT_EQ(runWz({"terminal", "create", "desk"}, atHome).code, 0);
  ASSERT_EQ(runWz({"certs", "--terminal", "desk", "-o", "desk.tar"}, atHome).code, 0);

  const ProgramResult package = runWz({"keys", "show", "shop.zip"}, atHome);
  const ProgramResult archive = runWz({"keys", "show", "desk.tar"}, atHome);
  const ProgramResult none = runWz({"keys", "show", "shop"}, atHome);

  EXPECT_EQ(package.code, 0) << package.errors;
  EXPECT_THAT(linesOf(package.out),
              ElementsAre(AllOf(StartsWith("shop.zip!"), EndsWith("  applications")),
                          AllOf(StartsWith("shop.zip!"), EndsWith("  manifests"))));
  EXPECT_EQ(archive.code, 0) << archive.errors;
  EXPECT_EQ(linesOf(archive.out).size(), 11U) << archive.out;
  EXPECT_THAT(linesOf(archive.out), Contains(AllOf(StartsWith("desk.tar!os"), EndsWith("root"))));
  EXPECT_EQ(none.code, kRejected);
}

// Days that are counted from now, and an hour more, so that they are as many a moment later.
std::string certificateUntil(int days) {
  const std::time_t time = std::time(nullptr) + days * 24 * 60 * 60 + (days > 0 ? 3600 : -3600);
  std::tm utc{};
  gmtime_r(&time, &utc);
  char text[32];
  std::strftime(text, sizeof(text), "%y%m%d%H%M%SZ", &utc);
  return textOf(CertificateBuilder().validity("100101000000Z", text).encoding());
}

TEST(KeysShowTest, LastDatesAreToldAhead) {
  const TemporaryDirectory folder;
  const std::string soon = folder.write("soon.crt", certificateUntil(40));
  const std::string past = folder.write("past.crt", certificateUntil(-3));

  const ProgramResult both = runWz({"keys", "show", soon, past, "--verbose"});

  EXPECT_EQ(both.code, 0);
  EXPECT_THAT(both.out, AllOf(HasSubstr("[WZ-0907]\n  found: in 40 days\n"),
                              HasSubstr("[WZ-0906]\n  found: 3 days ago\n")));
  EXPECT_THAT(runWz({"keys", "show", soon, "--within", "30"}).out, Not(HasSubstr("WZ-0907")));
}

// ---- wz keys issue, wz keys rotate -------------------------------------------------------------

class IssueTest : public testing::Test {
 protected:
  IssueTest() { fs::copy(madeKeys(), keys_, fs::copy_options::recursive); }

  ProgramResult issue(std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"keys", "issue", folder_ / "ci", "--keys", keys_});
    return runWz(more);
  }

  std::string shown(const std::string& file) const { return runWz({"keys", "show", file}).out; }

  // Makes a package with the keys in a folder; verified by the table in that folder.
  ProgramResult pack(const std::string& keys) const {
    const auto atHome = [this] { ASSERT_EQ(chdir(folder_.path().c_str()), 0); };
    if (!fs::exists(folder_ / "shop")) (void)runWz({"new", "shop"}, atHome);
    return runWz({"pack", "shop", "-o", "shop.zip", "--keys", keys}, atHome);
  }

  TemporaryDirectory folder_;
  std::string keys_ = folder_ / "keys";
};

TEST_F(IssueTest, WhatWasIssuedSignsPackages) {
  const ProgramResult result = issue();

  ASSERT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(linesOf(result.out),
              ElementsAre("issued by " + keys_ + ":",
                          AllOf(StartsWith("  " + (folder_ / "ci/signers/application.der")),
                                HasSubstr("serial 500003, S14 below authority 1")),
                          AllOf(StartsWith("  " + (folder_ / "ci/signers/manifest.der")),
                                HasSubstr("serial 500004, S11 below authority 1")),
                          "sign with them: wz pack APPDIR --keys " + (folder_ / "ci")));
  const ProgramResult packed = pack(folder_ / "ci");
  EXPECT_EQ(packed.code, 0) << packed.errors;
  EXPECT_THAT(namesIn(keys_ + "/issued"), ElementsAre("500003.der", "500004.der"));
  EXPECT_THAT(shown(folder_ / "ci/signers/manifest.der"),
              HasSubstr("subject           O=Development keys, OU=Not for terminals, CN=Signer "
                        "500004 (manifest signer)\n"));
}

TEST_F(IssueTest, WhoHasSignersAloneDoesNotIssue) {
  ASSERT_EQ(issue().code, 0);

  const ProgramResult result = runWz({"keys", "issue", folder_ / "more", "--keys", folder_ / "ci"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: no authority of " + (folder_ / "ci") +
                               " has its private key there; only who has an authority's key "
                               "issues signers [WZ-0909]\n");
  EXPECT_FALSE(fs::exists(folder_ / "more"));
  for (const auto& entry : fs::recursive_directory_iterator(folder_ / "ci")) {
    if (entry.path().extension() != ".key") continue;
    EXPECT_EQ(entry.path().parent_path().filename(), "signers") << entry.path();
  }
}

TEST_F(IssueTest, TheKindOfTheAuthorityDecides) {
  const ProgramResult other = issue({"--authority", "3", "--role", "manifest"});
  EXPECT_EQ(other.code, kEnvironment);
  EXPECT_THAT(other.errors, HasSubstr("of kind 3, whose signers never sign for the role manifest"));

  EXPECT_THAT(issue({"--authority", "12"}).errors, HasSubstr("there is no authority 12"));

  ASSERT_EQ(issue({"--authority", "3", "--until", "2030-12-31"}).code, 0);
  EXPECT_THAT(namesIn(folder_ / "ci/signers"), ElementsAre("application.der", "application.key"));
  EXPECT_THAT(shown(folder_ / "ci/signers/application.der"), HasSubstr(" to 2030-12-31 23:59:59 "));
}

TEST_F(IssueTest, LeavesAnExistingFolderAlone) {
  fs::create_directory(folder_ / "ci");

  EXPECT_EQ(issue().code, kEnvironment);
  EXPECT_TRUE(fs::is_empty(folder_ / "ci"));
}

TEST_F(IssueTest, AKeyThatIsAnothersIsTold) {
  fs::copy_file(keys_ + "/authorities/2.key", keys_ + "/authorities/1.key",
                fs::copy_options::overwrite_existing);

  const ProgramResult result = issue();

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("the key beside the authority's certificate is that of "
                                       "another one [WZ-0909]"));
}

TEST_F(IssueTest, RotationKeepsWhatWasThere) {
  const std::string before = contentOf(keys_ + "/signers/application.der");
  const std::string keyBefore = contentOf(keys_ + "/signers/application.key");
  (void)folder_.write("keys/signers/note.txt", "mine");

  const ProgramResult result = runWz({"keys", "rotate", keys_});

  ASSERT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(result.out, AllOf(HasSubstr("serial 500003"), HasSubstr("serial 500004"),
                                HasSubstr("retired/application-500001.der"),
                                HasSubstr("nothing revokes them")));
  EXPECT_NE(contentOf(keys_ + "/signers/application.der"), before);
  EXPECT_EQ(contentOf(keys_ + "/retired/application-500001.der"), before);
  EXPECT_EQ(contentOf(keys_ + "/retired/application-500001.key"), keyBefore);
  EXPECT_EQ(contentOf(keys_ + "/signers/note.txt"), "mine");
  EXPECT_EQ(fs::status(keys_ + "/signers/application.key").permissions(),
            fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(pack(keys_).code, 0);
}

TEST_F(IssueTest, OneRoleIsRotatedAlone) {
  const std::string before = contentOf(keys_ + "/signers/application.der");

  ASSERT_EQ(runWz({"keys", "rotate", keys_, "--role", "manifest"}).code, 0);

  EXPECT_EQ(contentOf(keys_ + "/signers/application.der"), before);
  EXPECT_THAT(namesIn(keys_ + "/retired"),
              ElementsAre("manifest-500002.der", "manifest-500002.key"));
}

TEST_F(IssueTest, WithoutTheAuthoritysKeyNothingIsRotated) {
  fs::remove(keys_ + "/authorities/1.key");
  const std::string before = contentOf(keys_ + "/signers/application.der");

  const ProgramResult result = runWz({"keys", "rotate", keys_});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("[WZ-0909]"));
  EXPECT_EQ(contentOf(keys_ + "/signers/application.der"), before);
  EXPECT_FALSE(fs::exists(keys_ + "/retired"));
}

TEST(DevelopmentRootsTest, ANewTerminalHasThem) {
  const TemporaryDirectory folder;

  ASSERT_EQ(runWz({"terminal", "create", folder / "desk"}).code, 0);

  std::vector<std::string> expected;
  for (const wz::DevelopmentRoot& root : wz::developmentRoots()) {
    expected.emplace_back(root.fileName);
    EXPECT_EQ(contentOf(folder / "desk/roots/" + root.fileName),
              std::string(root.der.begin(), root.der.end()));
  }
  EXPECT_EQ(namesIn(folder / "desk/roots"), expected);
}

TEST(DevelopmentRootsTest, OthersTakeTheirPlace) {
  const TemporaryDirectory folder;
  fs::create_directory(folder / "roots");
  folder.write("roots/ours.der", contentOf(madeKeys() + "/roots/development-root-1.der"));

  ASSERT_EQ(runWz({"terminal", "create", folder / "desk", "--roots", folder / "roots"}).code, 0);

  EXPECT_THAT(namesIn(folder / "desk/roots"), ElementsAre("ours.der"));
}

TEST(DevelopmentRootsTest, TheirAuthoritiesAreThoseThatAreCompiledIn) {
  if (hasProductsAuthorities()) GTEST_SKIP() << "built with a product's authorities";
  const TemporaryDirectory folder;
  ASSERT_EQ(runWz({"terminal", "create", folder / "desk"}).code, 0);

  const ProgramResult first = runWz({"keys", "show", folder / "desk/roots/development-root-1.der"});
  const ProgramResult second =
      runWz({"keys", "show", folder / "desk/roots/development-root-2.der"});

  EXPECT_THAT(first.out, HasSubstr("uses authorities 1, 2, 3 and 4 of those compiled in.\n"));
  EXPECT_THAT(second.out, HasSubstr("uses authorities 5, 6, 7, 8 and 9 of those compiled in.\n"));
}

TEST(DevelopmentRootsTest, TheVersionSaysSo) {
  const bool says = runWz({"--version"})
                        .out.find(
                            "authorities: development keys; this build is "
                            "not for terminals\n") != std::string::npos;

  EXPECT_EQ(says, !hasProductsAuthorities());
}

}  // namespace
}  // namespace wzapp_test
