// wz inspect.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <stdlib.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "packaging/signer.h"
#include "tests/builders/zip_builder.h"
#include "tests/tools/archive_reader.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tests/tools/sample_application.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

using Lines = std::vector<std::string>;

class InspectTest : public testing::Test {
 protected:
  InspectTest() {
    app_.write("manifest.mft", R"({"application": {"id": "shop", "version": "1.2"},
      "sponsors": ["123456"], "exports_api": [{"id": "TILL"}],
      "imports_trigger": [{"id": "RECEIPT", "file": "index.html", "optional": true}],
      "imports_sdk": {"wzruntime_min_version": "2.46"}})");
  }

  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
  }

  void pack(const std::vector<std::string>& more = {},
            const std::string& keys = DEVELOPMENT_KEYS) const {
    std::vector<std::string> arguments{"pack", app_.path(), "-o", file_, "--keys", keys};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramResult result = runWz(arguments);
    ASSERT_EQ(result.code, 0) << result.errors;
  }

  // Writes the package anew with these entries.
  void rebuild(const Contents& contents) const {
    ZipBuilder zip;
    for (const auto& [name, content] : contents) zip.stored(name, content);
    folder_.write("shop.zip", zip.build());
  }

  // A package that wz pack would not make: its application is signed, and has this file alone.
  void packForeign(const std::string& manifest, const std::string& content) {
    app_.write("manifest.mft", kShopManifest);
    pack();
    Contents package = contentsOf(file_);
    package["shop.zip"] = ZipBuilder().file(manifest, content).build();
    packaging::Signer signer;
    std::string error;
    ASSERT_TRUE(
        signer.load(DEVELOPMENT_KEYS, packaging::SignerRole::kApplication, "", error) &&
        signer.signArchive(folder_.write("inner", package["shop.zip"]), package["shop.p7s"], error))
        << error;
    rebuild(package);
  }

  [[nodiscard]] ProgramResult inspect(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments{"inspect", file_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runWz(arguments);
  }

  [[nodiscard]] std::string makeTerminal() const {
    const ProgramResult made = runWz({"terminal", "create", folder_ / "desk"});
    EXPECT_EQ(made.code, 0) << made.errors;
    return folder_ / "desk";
  }

  SampleApplication app_;
  TemporaryDirectory folder_;
  std::string file_ = folder_ / "shop.zip";
};

TEST_F(InspectTest, ExplainsAPackage) {
  pack();

  const ProgramResult result = inspect({"--verbose"});

  EXPECT_EQ(result.code, 0) << result.out;
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{
                  "package " + file_, "certificate application.crt",
                  "  subject           O=Development keys, OU=Not for terminals, CN=Development "
                  "application signer",
                  "  permissions       S14",
                  "  kind              3, application certificate, may sign applications",
                  "archive shop-O.zip, marketplace manifest of shop",
                  "archive shop.zip, application of shop", "  passed  signature found: shop.p7s",
                  "  passed  digest of the archive: SHA-256",
                  "  passed  RSA signature: verified with the signer's key",
                  "  passed  manifest in its place: shop.MFT names shop",
                  "  passed  manifest in its place: shop/mpmanifest.mft names shop",
                  "  entry shop/index.html, 3 octets", "  manifest shop.MFT",
                  "    application         shop 1.2", "    exports interfaces  TILL",
                  "    imports triggers    RECEIPT (optional)",
                  "    versions            wzruntime_min_version 2.46"}));
}

TEST_F(InspectTest, AGoodPackageTakesOneScreen) {
  pack();

  const ProgramResult result = inspect();

  EXPECT_EQ(result.code, 0) << result.out;
  const Lines lines = linesOf(result.out);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "accepted: " + file_);
  EXPECT_LE(lines.size(), 24U);
  EXPECT_THAT(lines, IsSupersetOf(Lines{"  shop.zip  application of shop 1.2, 3 files",
                                        "    imports triggers  RECEIPT (optional)"}));
}

TEST_F(InspectTest, JsonTellsTheSame) {
  pack();

  const ProgramResult result = inspect({"--json"});

  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_FALSE(document.HasParseError()) << result.out;
  EXPECT_TRUE(document["result"]["accepted"].GetBool());
  EXPECT_EQ(document["result"]["entries"].Size(), 6U);
  EXPECT_EQ(document["result"]["certificates"][0]["kind"].GetInt(), 3);
  EXPECT_STREQ(document["result"]["certificates"][0]["permissions"][0].GetString(), "S14");
  const auto& archive = document["result"]["archives"][1];
  EXPECT_STREQ(archive["entry"].GetString(), "shop.zip");
  EXPECT_STREQ(archive["id"].GetString(), "shop");
  EXPECT_TRUE(archive["accepted"].GetBool());
  EXPECT_EQ(archive["checks"].Size(), 9U);
  EXPECT_STREQ(archive["manifests"][0]["exportsInterfaces"][0]["id"].GetString(), "TILL");
  EXPECT_TRUE(archive["manifests"][0]["importsTriggers"][0]["optional"].GetBool());
}

// ---- Where the checks stop ---------------------------------------------------------------------

struct Spoiling {
  const char* name;
  void (*spoil)(Contents& package);
  const char* line;
  const char* code;
  const char* verdict;
};

void swapArchives(Contents& package) { std::swap(package["shop.zip"], package["shop-O.zip"]); }
void takeSignature(Contents& package) { package.erase("shop.p7s"); }
void emptySignature(Contents& package) { package["shop.p7s"] = ""; }
void spoilSignatureFile(Contents& package) { package["shop.p7s"] = "no signature"; }
void spoilRsaSignature(Contents& package) {
  std::string& file = package["shop.p7s"];
  file[file.size() / 2] ^= 1;  // the signature has most of the file
}
void takeCertificate(Contents& package) { package.erase("application.crt"); }
void signByManifestSigner(Contents& package) { package["shop.p7s"] = package["shop-O.p7s"]; }

class InspectStopTest : public InspectTest, public testing::WithParamInterface<Spoiling> {};

TEST_P(InspectStopTest, TheFirstCheckThatFailsIsNamed) {
  pack();
  Contents package = contentsOf(file_);
  GetParam().spoil(package);
  rebuild(package);

  const ProgramResult result = inspect({"--verbose"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(linesOf(result.out), Contains(StartsWith(GetParam().line)));
}

TEST_P(InspectStopTest, TheVerdictComesFirstWithItsCode) {
  pack();
  Contents package = contentsOf(file_);
  GetParam().spoil(package);
  rebuild(package);

  const Lines lines = linesOf(inspect().out);

  ASSERT_GT(lines.size(), 3U);
  EXPECT_EQ(lines[0], "refused: " + std::string(GetParam().verdict));
  EXPECT_EQ(lines[1],
            file_ + "!" +
                (std::string(GetParam().name) == "OtherArchive" ? "shop-O.zip" : "shop.zip") +
                ": error: " + GetParam().verdict + " [" + GetParam().code + "]");
  EXPECT_THAT(lines[2], StartsWith("  found: "));
  EXPECT_THAT(lines, Contains(StartsWith("  repair: ")));
}

INSTANTIATE_TEST_SUITE_P(
    Packages, InspectStopTest,
    testing::Values(
        Spoiling{"OtherArchive", swapArchives, "  FAILED  digest of the archive: SHA-256 differs",
                 "WZ-0310", "shop-O.zip is not the archive that was signed"},
        Spoiling{"NoSignature", takeSignature,
                 "  FAILED  signature found: there is neither SHOP.P7S nor SHOP.ZIP.P7S", "WZ-0301",
                 "shop.zip has no signature"},
        Spoiling{"EmptySignature", emptySignature, "  FAILED  signature file read: it is empty",
                 "WZ-0102", "the signature of shop.zip cannot be unpacked"},
        Spoiling{"NoSignatureFile", spoilSignatureFile,
                 "  FAILED  signature file read: The signature file is no signedData (-215)",
                 "WZ-0320",
                 "the signature of shop.zip is none: the signature file is no signedData"},
        Spoiling{"SpoiledSignature", spoilRsaSignature, "  FAILED  RSA signature: ", "WZ-0311",
                 "the signature of shop.zip is not of its signer's key"},
        Spoiling{"NoCertificate", takeCertificate,
                 "  FAILED  signer known: no certificate in the package has the key identifier ",
                 "WZ-0312", "the certificate of the signer of shop.zip is not in the package"},
        Spoiling{"WrongSigner", signByManifestSigner,
                 "  FAILED  signer may sign this: kind 4, needed is 3", "WZ-0304",
                 "the signer of shop.zip may not sign applications"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(InspectTest, ACertificateOfAnUnknownAuthorityIsExplained) {
  pack({}, madeKeys());

  const ProgramResult result = inspect({"--verbose"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out,
              AllOf(HasSubstr("acceptance        Refused: none of the authorities compiled in"),
                    HasSubstr("is in the package, but is refused"), HasSubstr("[WZ-0313]")));
}

TEST_F(InspectTest, AManifestThatIsNotInItsPlaceIsMissed) {
  packForeign("shop/manifest.mft", kShopManifest);

  const ProgramResult result = inspect({"--verbose"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out, HasSubstr("[WZ-0105]"));
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{"  passed  RSA signature: verified with the signer's key",
                                 "  FAILED  manifest in its place: there is no shop.MFT"}));
}

// ---- Whose name it bears -----------------------------------------------------------------------

constexpr char kBankManifest[] = R"({"application": {"id": "bank", "version": "9"},
  "sponsors": ["123456"], "desktop": {"file": "index.html"}})";

TEST_F(InspectTest, AnIdThatIsNotTheNameOfTheFileIsWarnedOf) {
  packForeign("shop.MFT", kBankManifest);

  const ProgramResult result = inspect();

  EXPECT_THAT(linesOf(result.out),
              Contains("warning: shop.zip: the manifest shop.MFT names the application bank, which "
                       "is not the name of its file: it would be run with the folder and the "
                       "stored data of bank"));
  EXPECT_THAT(inspect({"--json"}).out,
              HasSubstr("\"warnings\": [\n      \"shop.zip: the manifest"));
}

TEST_F(InspectTest, TheOwnIdIsNotWarnedOf) {
  pack();

  EXPECT_THAT(inspect().out, Not(HasSubstr("warning")));
}

TEST_F(InspectTest, TheIdOfAnInstalledApplicationIsWarnedOf) {
  app_.write("manifest.mft", kBankManifest);
  pack();
  const std::string terminal = makeTerminal();
  ASSERT_EQ(runWz({"install", "--terminal", terminal, file_}).code, 0);
  packForeign("shop.MFT", kBankManifest);
  const char* const warning =
      "warning: shop.zip: the manifest shop.MFT takes the id bank of an application that is "
      "installed on the terminal under the name BANK";

  EXPECT_THAT(inspect({"--terminal", terminal}).out, HasSubstr(warning));
  EXPECT_THAT(runWz({"install", "--terminal", terminal, file_}).out, HasSubstr(warning));
}

// ---- What is no package ------------------------------------------------------------------------

TEST_F(InspectTest, WhatIsNoArchiveIsRejected) {
  folder_.write("shop.zip", "no archive");

  const ProgramResult result = inspect();

  EXPECT_EQ(result.code, kRejected);
  EXPECT_THAT(result.out, StartsWith("refused: the file is no ZIP archive\n"));
}

TEST_F(InspectTest, ACutOffPackageIsCalledCutOff) {
  pack();
  const std::string whole = contentOf(file_);
  // Before the first inner archive ends, and behind it.
  for (const std::size_t size : {whole.size() / 10, whole.size() / 2}) {
    folder_.write("shop.zip", whole.substr(0, size));

    const ProgramResult result = inspect();

    EXPECT_EQ(result.code, kRejected);
    EXPECT_THAT(result.out,
                AllOf(StartsWith("refused: the archive is cut off\n"), HasSubstr("[WZ-0111]"),
                      HasSubstr("second verifier: says the same\n")))
        << size;
  }
}

TEST_F(InspectTest, APackageWithoutAnArchiveIsRefused) {
  rebuild({{"readme.txt", "x"}});

  EXPECT_THAT(inspect().out, AllOf(StartsWith("refused: there is no archive in the package\n"),
                                   HasSubstr("[WZ-0104]")));
}

TEST_F(InspectTest, AFileThatIsNotThereIsNamed) {
  const ProgramResult result = inspect();

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "wz: cannot read " + file_ + ": No such file or directory\n");
}

TEST_F(InspectTest, NamesThatActOnAUsersTerminalAreEscaped) {
  rebuild({{"\x1B[2J.zip", "x"}, {"\x1B[2J.crt", "x"}});

  for (const auto& more : {std::vector<std::string>{}, std::vector<std::string>{"--json"}}) {
    EXPECT_THAT(inspect(more).out, AllOf(HasSubstr("x1b[2J"), Not(HasSubstr("\x1B"))));
  }
}

// ---- On a terminal -----------------------------------------------------------------------------

TEST_F(InspectTest, ATerminalThatWouldTakeItSaysSoAndStaysAsItIs) {
  pack();
  const std::string terminal = makeTerminal();

  const ProgramResult result = inspect({"--terminal", terminal});

  EXPECT_EQ(result.code, 0) << result.out;
  EXPECT_THAT(linesOf(result.out),
              IsSupersetOf(Lines{"second verifier: says the same",
                                 "this terminal would install it, and what it brings would stay",
                                 "installed shop 1.2"}));
  EXPECT_EQ(runWz({"list", "--terminal", terminal}).out, "no application is installed\n");
}

TEST_F(InspectTest, WhatATerminalHasAlreadyCounts) {
  pack();
  const std::string terminal = makeTerminal();
  ASSERT_EQ(runWz({"install", "--terminal", terminal, file_}).code, 0);
  pack({"--application-only"});

  const ProgramResult result = inspect({"--terminal", terminal});

  EXPECT_EQ(result.code, 0) << result.out;
  EXPECT_THAT(linesOf(result.out), Contains("replaced shop 1.2 by the same version"));
}

TEST_F(InspectTest, ATerminalThatWouldNotKeepItSaysWhy) {
  pack({"--sponsor", "654321"});
  const std::string terminal = makeTerminal();

  const ProgramResult result = inspect({"--terminal", terminal, "--json"});

  EXPECT_EQ(result.code, kRejected);
  rapidjson::Document document;
  document.Parse(result.out.c_str());
  ASSERT_FALSE(document.HasParseError()) << result.out;
  EXPECT_TRUE(document["result"]["accepted"].GetBool());  // by itself it is sound
  EXPECT_FALSE(document["result"]["onTerminal"]["done"].GetBool());
  EXPECT_STREQ(document["result"]["onTerminal"]["packages"][0]["reasons"][0].GetString(),
               "Error: Invalid sponsor list '654321' for installing 'shop', expecting sponsor "
               "'123456'");
}

TEST_F(InspectTest, ASignalAtAnyMomentLeavesNothing) {
  pack();
  const std::string terminal = makeTerminal();
  const TemporaryDirectory temporary;
  constexpr int kTimes = 40;
  for (int i = 0; i < kTimes; ++i) {
    Program wz({"inspect", file_, "--terminal", terminal},
               [&] { setenv("TMPDIR", temporary.path().c_str(), 1); });
    std::this_thread::sleep_for(std::chrono::milliseconds(i * 5));

    wz.signal(i % 2 == 0 ? SIGTERM : SIGINT);

    wz.wait();
    EXPECT_TRUE(fs::is_empty(temporary.path())) << i;
  }
}

TEST_F(InspectTest, AFolderThatIsNoTerminalIsNamed) {
  pack();

  const ProgramResult result = inspect({"--terminal", folder_ / "none"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr(folder_ / "none"));
}

}  // namespace
}  // namespace wzapp_test
