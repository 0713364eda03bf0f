// How inner packages are verified and what is reported of each.

#include "installer/inner_package.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>

#include "installer/temporary_file.h"
#include "installer/unverified_work.h"
#include "support/install_result.h"
#include "tests/installer/file_calls.h"
#include "tests/installer/install_fixture.h"

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;
using namespace wzapp_test;

class InnerPackageTest : public wzapp_test::InstallTest {
 protected:
  // Installs `package` as x.zip and compares the whole log: `expected` are the lines behind the
  // certificates'. Nothing may have been installed.
  void expectRefused(const PackageBuilder& package, const Lines& expected) {
    drop("x.zip", package);

    EXPECT_EQ(install(), kInstallError);

    EXPECT_EQ(lines, logOf({beginLines(), openLines("x.zip"), signerLines(), expected, rulesLines(),
                            endLines({}, "ERROR")}));
    EXPECT_THAT(tree(), IsEmpty());
    EXPECT_THAT(dropped(), IsEmpty());
  }

  // The same for one that is accepted: the application "shop", without a marketplace manifest.
  void expectAccepted(const PackageBuilder& package) {
    terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop"));
    drop("x.zip", package);

    EXPECT_EQ(install(), kInstallOk);

    EXPECT_EQ(lines.back(), "Overall result: OK\n");
    EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
  }

  FileCalls calls;
};

PackageBuilder shop() { return withSigners().inner("SHOP.ZIP", applicationArchive("shop")); }

std::string shopSignature() {
  return signatureOf(applicationArchive("shop").build(), applicationSigner());
}

// --- Signature --------------------------------------------------------------------------------

TEST_F(InnerPackageTest, NeedsASignature) {
  expectRefused(shop().file("SHOP.P7", "").file("OTHER.P7S", "").file("in/SHOP.P7S", ""),
                {"Found SHOP.ZIP\n", "Error: Signature 'SHOP.P7S' not found\n"});
}

TEST_F(InnerPackageTest, IsNamedInUpperCaseWhereItsSignatureIsMissing) {
  expectRefused(withSigners().inner("in/shop.zip", applicationArchive("shop")),
                {"Found in/shop.zip\n", "Error: Signature 'IN/SHOP.P7S' not found\n"});
}

TEST_F(InnerPackageTest, TakesASignatureNamedAfterTheWholeName) {
  expectAccepted(shop().signedBy(applicationSigner(), "SHOP.ZIP.P7S"));
}

TEST_F(InnerPackageTest, TakesASignatureInAnyCase) {
  expectAccepted(shop().signedBy(applicationSigner(), "sHoP.p7S"));
}

TEST_F(InnerPackageTest, TakesTheFirstSignatureOfTheIndex) {
  expectAccepted(shop().file("SHOP.P7S", shopSignature()).file("SHOP.ZIP.P7S", "bad"));
  expectAccepted(shop().file("SHOP.ZIP.P7S", shopSignature()).file("shop.p7s", "bad"));
  expectAccepted(shop().file("SHOP.P7S", shopSignature()).file("Shop.P7S", "bad"));
}

TEST_F(InnerPackageTest, TakesNoLaterSignatureWhereTheFirstIsBad) {
  expectRefused(shop().file("SHOP.P7S", "bad").file("SHOP.ZIP.P7S", shopSignature()),
                {"Found SHOP.ZIP\n", "Error: Signature 'SHOP.P7S' using unknown certificate\n"});
  expectRefused(
      shop().file("SHOP.ZIP.P7S", "bad").file("shop.p7s", shopSignature()),
      {"Found SHOP.ZIP\n", "Error: Signature 'SHOP.ZIP.P7S' using unknown certificate\n"});
}

TEST_F(InnerPackageTest, NeedsASignatureThatCanBeRead) {
  ZipEntry unknown;
  unknown.name = "Shop.p7s";
  unknown.method = 99;
  expectRefused(shop().entry(unknown),
                {"Found SHOP.ZIP\n", "Error: Failed to extract 'Shop.p7s'\n"});
  expectRefused(shop().file("SHOP.P7S", shopSignature() + std::string(kMaxCredentialSize, 'x')),
                {"Found SHOP.ZIP\n", "Error: Failed to extract 'SHOP.P7S'\n"});
  expectRefused(shop().file("SHOP.P7S", ""),
                {"Found SHOP.ZIP\n", "Error: Failed to extract 'SHOP.P7S'\n"});
}

TEST_F(InnerPackageTest, NeedsACertificateThatIsTrusted) {
  expectRefused(shop().signedBy(strangeSigner()),
                {"Found SHOP.ZIP\n", "Error: Signature 'SHOP.P7S' using unknown certificate\n"});
  expectRefused(
      shop().file("SHOP.ZIP.P7S", std::string(kMaxCredentialSize, 'x')),
      {"Found SHOP.ZIP\n", "Error: Signature 'SHOP.ZIP.P7S' using unknown certificate\n"});
}

TEST_F(InnerPackageTest, MustBeWhatWasSigned) {
  expectRefused(shop().file("SHOP.P7S", signatureOf("another archive", applicationSigner())),
                logOf({foundLines("SHOP.ZIP"), "Error: Invalid signature\n"}));
}

TEST_F(InnerPackageTest, MustBeSignedByTheKeyOfItsSigner) {
  static const TestKey otherKey(2048);
  const Signer withOtherKey = {{}, applicationSigner().keyId, &otherKey};

  expectRefused(shop().signedBy(withOtherKey),
                logOf({foundLines("SHOP.ZIP"), "Error: Invalid signature\n"}));
}

TEST_F(InnerPackageTest, MayBeSignedOverSha1) {
  expectAccepted(shop().file("SHOP.P7S", signatureOf(applicationArchive("shop").build(),
                                                     applicationSigner(), TestKey::Digest::kSha1)));
}

// --- Kinds ------------------------------------------------------------------------------------

TEST_F(InnerPackageTest, OfAnApplicationNeedsAnApplicationCertificate) {
  expectRefused(
      withSigners().inner("in/shop.zip", applicationArchive("shop")).signedBy(manifestSigner()),
      {"Found in/shop.zip\n",
       "Error: File 'IN/SHOP.ZIP' not signed using application certificate\n"});
}

TEST_F(InnerPackageTest, OfAManifestNeedsAManifestCertificate) {
  for (const std::string name : {"shop-o.zip", "shop-u.zip", "-O.zip", "-u.ZIP"}) {
    std::string upperName = name;
    for (char& c : upperName) c = static_cast<char>(toupper(c));
    expectRefused(withSigners().inner(name, manifestArchive("shop")).signedBy(applicationSigner()),
                  {"Found " + name + "\n",
                   "Error: File '" + upperName + "' not signed using manifest certificate\n"});
  }
}

TEST_F(InnerPackageTest, OfTheOtherKindsIsAnApplication) {
  for (const std::string name : {"SHOP-A.ZIP", "SHOPO.ZIP", "-O.X.ZIP", "O.ZIP"}) {
    expectAccepted(
        withSigners().inner(name, applicationArchive("shop")).signedBy(applicationSigner()));
  }
}

TEST_F(InnerPackageTest, MayBeSignedByTheLastPermissionOfItsSigner) {
  const Signer signer = signerWithPermissions({"S11", "S14"});
  expectAccepted(PackageBuilder()
                     .certificate("a.crt", signer)
                     .inner("SHOP.ZIP", applicationArchive("shop"))
                     .signedBy(signer));
}

TEST_F(InnerPackageTest, IsSignedByNobodyWhoIsARootOrUnknownAuthority) {
  const Signer signer = signerWithPermissions({"S99"});
  drop("x.zip", PackageBuilder()
                    .certificate("a.crt", signer)
                    .inner("SHOP.ZIP", applicationArchive("shop"))
                    .signedBy(signer));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines,
            logOf({beginLines(), openLines("x.zip"), "Adding certificate a.crt\n",
                   "Warning: Failed adding certificate 'a.crt': Invalid file type\n",
                   "Found SHOP.ZIP\n", "Error: Signature 'SHOP.P7S' using unknown certificate\n",
                   rulesLines(), endLines({}, "ERROR")}));
}

TEST_F(InnerPackageTest, OfAManifestGoesToTheManifestRoot) {
  drop("x.zip",
       withSigners().inner("SHOP-O.ZIP", manifestArchive("shop")).signedBy(manifestSigner()));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(lines, logOf({beginLines(), openLines("x.zip"), signerLines(),
                          extractedLines("SHOP-O.ZIP"), "postinstall\n", "Checking shop\n",
                          "Checking dependencies\n", endLines({"shop"}, "OK")}));
  EXPECT_THAT(tree(), ElementsAre("mp/", "mp/shop/", "mp/shop/mpmanifest.mft"));
}

// --- Damage -----------------------------------------------------------------------------------

TEST_F(InnerPackageTest, ThatCannotBeReadIsNotChecked) {
  ZipEntry damaged;
  damaged.name = "SHOP.ZIP";
  damaged.content = applicationArchive("shop").build();
  damaged.data = std::string(100, '\xFF');
  expectRefused(withSigners().entry(damaged).file("SHOP.P7S", shopSignature()),
                {"Found SHOP.ZIP\n", "Error: Failed to extract 'SHOP.ZIP'\n"});
}

TEST_F(InnerPackageTest, ThatIsNoArchiveIsReportedOnceItIsVerified) {
  expectRefused(withSigners().inner("SHOP.ZIP", "no archive").signedBy(applicationSigner()),
                logOf({extractedLines("SHOP.ZIP"), "Error: Failed reading 'SHOP.ZIP'\n"}));
}

TEST_F(InnerPackageTest, WithAnErrorKeepsNoOtherFromBeingInstalled) {
  expectRefused(withSigners()
                    .inner("A.ZIP", "no archive")
                    .signedBy(applicationSigner())
                    .inner("B.ZIP", applicationArchive("b"))
                    .inner("C.ZIP", applicationArchive("c"))
                    .signedBy(manifestSigner()),
                logOf({extractedLines("A.ZIP"), "Error: Failed reading 'A.ZIP'\n", "Found B.ZIP\n",
                       "Error: Signature 'B.P7S' not found\n", "Found C.ZIP\n",
                       "Error: File 'C.ZIP' not signed using application certificate\n"}));
}

TEST_F(InnerPackageTest, ReportsEntriesThatCannotBeExtracted) {
  terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop"));
  drop("x.zip", withSigners()
                    .inner("SHOP.ZIP", applicationArchive("shop").file("/etc/passwd", "x"))
                    .signedBy(applicationSigner()));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines,
            logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("SHOP.ZIP"),
                   "Error: Failed to extract '/etc/passwd' -> '/etc/passwd'\n", rulesLines("shop"),
                   endLines({"shop"}, "ERROR")}));
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
}

// --- The temporary file -----------------------------------------------------------------------

TEST_F(InnerPackageTest, LiesInTheTemporaryFileWhileItIsExtracted) {
  drop("x.zip", shop().signedBy(applicationSigner()));
  std::string content;
  atLine = [&](const std::string& line) {
    if (line != "Extracting SHOP.ZIP\n") return;
    content = read(kTemporary);
    EXPECT_EQ(fs::status(kTemporary).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  };

  static_cast<void>(install());

  EXPECT_EQ(content, applicationArchive("shop").build());
  EXPECT_FALSE(terminal.exists(kTemporary));
}

TEST_F(InnerPackageTest, ReplacesWhatIsNamedLikeItsTemporaryFile) {
  const std::string outside = "/mnt/flash/outside";
  terminal.writeFile(outside, "kept");
  fs::create_symlink(outside, kTemporary);
  expectAccepted(shop().signedBy(applicationSigner()));
  EXPECT_EQ(read(outside), "kept");
  EXPECT_FALSE(terminal.exists(kTemporary));

  terminal.makeFolder(kTemporary);
  expectAccepted(shop().signedBy(applicationSigner()));
  EXPECT_FALSE(terminal.exists(kTemporary));
}

TEST_F(InnerPackageTest, CannotBeOpenedWithoutATemporaryFile) {
  calls.hook = [](const FileCall& call) {
    return call.function == "open" && call.name == kTemporary ? EACCES : 0;
  };
  drop("x.zip", shop().signedBy(applicationSigner()));

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(lines,
            logOf({beginLines(), openLines("x.zip"), signerLines(), extractedLines("SHOP.ZIP"),
                   "Error: Failed reading 'SHOP.ZIP'\n", rulesLines(), endLines({}, "ERROR")}));
  EXPECT_THAT(tree(), IsEmpty());
}

TEST_F(InnerPackageTest, ThatIsNotVerifiedLeavesTheReserveFree) {
  int writes = 0;
  calls.hook = [&writes](const FileCall& call) {
    if (call.function == "write") ++writes;
    return call.function == "fstatvfs" ? EIO : 0;
  };
  expectRefused(shop().file("SHOP.P7S", signatureOf("another archive", applicationSigner())),
                logOf({foundLines("SHOP.ZIP"), "Error: Invalid signature\n"}));
  EXPECT_EQ(writes, 0);
}

TEST_F(InnerPackageTest, IsCopiedOnceMoreWhenTheCopyWasGivenUp) {
  calls.hook = [](const FileCall& call) { return call.function == "fstatvfs" ? EIO : 0; };
  expectAccepted(shop().signedBy(applicationSigner()));
  EXPECT_FALSE(terminal.exists(kTemporary));
}

TEST_F(InnerPackageTest, ThatCannotBeCopiedIsReportedWhereItIsOpened) {
  calls.hook = [](const FileCall& call) { return call.function == "write" ? ENOSPC : 0; };
  expectRefused(shop().signedBy(applicationSigner()),
                logOf({extractedLines("SHOP.ZIP"), "Error: Failed reading 'SHOP.ZIP'\n"}));
}

// The beginning of an archive may be an archive.
TEST_F(InnerPackageTest, IsNotOpenedWhenThereIsOnlyAPartOfIt) {
  ZipBuilder archive = applicationArchive("shop");
  archive.file("shop/noise", std::string(100000, 'x'));
  const std::string part = archive.build();
  int writes = 0;
  calls.hook = [&writes](const FileCall& call) {
    return call.function == "write" && ++writes % 2 == 0 ? ENOSPC : 0;
  };
  expectRefused(withSigners()
                    .inner("SHOP.ZIP", part + std::string(20000, '\0'))
                    .signedBy(applicationSigner()),
                logOf({extractedLines("SHOP.ZIP"), "Error: Failed reading 'SHOP.ZIP'\n"}));
}

// --- Work before a signature ------------------------------------------------------------------

// Inner packages of the same octets, each with a signature of its own name: `signature` for all.
PackageBuilder manyShops(int count, const std::string& archive, const std::string& signature) {
  PackageBuilder package = withSigners();
  for (const std::string ending : {".ZIP", ".P7S"}) {
    for (int i = 0; i < count; ++i) {
      ZipEntry entry;
      entry.name = std::to_string(1000 + i) + ending;
      entry.content = ending == ".ZIP" ? archive : signature;
      constexpr std::size_t kCertificates = 2;
      const std::size_t first =
          kCertificates + (ending == ".ZIP" ? 0 : static_cast<std::size_t>(count));
      if (i > 0) entry.sharesDataOf = first;
      package.entry(entry);
    }
  }
  return package;
}

std::size_t countOf(const Lines& lines, const std::string& beginning) {
  return static_cast<std::size_t>(std::ranges::count_if(
      lines, [&beginning](const std::string& line) { return line.starts_with(beginning); }));
}

TEST_F(InnerPackageTest, IsReadAnyNumberOfTimesWhereItIsVerified) {
  terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop"));
  drop("x.zip", manyShops(700, applicationArchive("shop").build(), shopSignature()));

  EXPECT_EQ(install(), kInstallOk);

  EXPECT_EQ(countOf(lines, "Extracting "), 700U);
}

// A digest over 128 KiB of zeros and a signature of 64 KiB each: the work is used up before the
// last of them is looked at.
TEST_F(InnerPackageTest, IsNotReadOnceThePackageFileHasCausedEnough) {
  constexpr int kCount = 700;
  constexpr std::size_t kSize = std::size_t{128} << 10;
  const PackageBuilder package = manyShops(kCount, std::string(kSize, '\0'), shopSignature());
  UnverifiedWork work(package.build().size());
  ASSERT_TRUE(work.take(2 * kMaxCredentialSize));  // the certificates
  std::size_t checked = 0;
  while (work.take(kMaxCredentialSize) && work.take(kSize)) ++checked;
  ASSERT_LT(checked, std::size_t{kCount});
  drop("x.zip", package);

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(countOf(lines, "Error: Invalid signature"), checked);
  EXPECT_EQ(countOf(lines, "Error: Failed to extract"), kCount - checked);
}

TEST_F(InnerPackageTest, IsReadWhereEveryEntryHasOctetsOfItsOwn) {
  terminal.writeFile(kManifests + "/shop/mpmanifest.mft", manifestFor("shop"));
  PackageBuilder package = withSigners();
  const std::string certificate(applicationSigner().certificate.begin(),
                                applicationSigner().certificate.end());
  for (int i = 0; i < 300; ++i) {
    package.file(std::to_string(1000 + i) + ".crt", certificate);
    package.file(std::to_string(1000 + i) + ".P7S", signatureOf("other", applicationSigner()));
    package.inner(std::to_string(1000 + i) + ".ZIP", ZipBuilder().file("x", ""));
  }
  package.inner("SHOP.ZIP", applicationArchive("shop")).signedBy(applicationSigner());
  drop("x.zip", package);

  EXPECT_EQ(install(), kInstallError);

  EXPECT_EQ(countOf(lines, "Error: Invalid signature"), 300U);
  EXPECT_EQ(countOf(lines, "Error: Failed to extract"), 0U);
  EXPECT_EQ(read(kApps + "/shop/index.html"), "<p>shop");
}

// --- The copy ---------------------------------------------------------------------------------

class TemporaryFileTest : public wzapp_test::InstallTest {
 protected:
  FileCalls calls;
};

TEST_F(TemporaryFileTest, AsksForTheFreeSpaceOnceAMegabyte) {
  int asked = 0;
  calls.hook = [&asked](const FileCall& call) {
    if (call.function == "fstatvfs") ++asked;
    return 0;
  };
  const std::vector<std::uint8_t> block(8192);
  TemporaryFile file;
  file.begin(TemporaryFile::Space::kAllButReserve);
  for (int i = 0; i < 3 * 128; ++i) file.append(block);

  EXPECT_EQ(asked, 3);
  EXPECT_GE(file.copy(), 0);
  EXPECT_EQ(fs::file_size(kTemporary), 3U << 20);
}

// What the file system has free, in blocks of 4096 octets: for everybody, and for root besides.
class ReserveTest : public TemporaryFileTest {
 protected:
  bool isCopied(std::uint64_t freeOctets) {
    calls.atSpace = [freeOctets](struct statvfs& status) {
      status.f_frsize = 4096;
      status.f_bsize = 65536;
      status.f_bavail = freeOctets / 4096;
      status.f_bfree = status.f_bavail + 1000000;
    };
    TemporaryFile file;
    file.begin(TemporaryFile::Space::kAllButReserve);
    file.append(std::vector<std::uint8_t>(100));
    return file.copy() >= 0;
  }
};

TEST_F(ReserveTest, IsLeftFreeBesideTheMegabyteThatIsGranted) {
  constexpr std::uint64_t kNeeded = std::uint64_t{9} << 20;

  EXPECT_TRUE(isCopied(kNeeded));
  EXPECT_FALSE(isCopied(kNeeded - 4096));
}

TEST_F(ReserveTest, IsNoMatterOnceAPackageIsVerified) {
  calls.atSpace = [](struct statvfs& status) { status.f_bavail = 0; };
  TemporaryFile file;
  file.begin(TemporaryFile::Space::kAll);
  file.append(std::vector<std::uint8_t>(100));

  EXPECT_GE(file.copy(), 0);
}

TEST_F(TemporaryFileTest, IsGoneOnceItIsGivenUp) {
  const std::vector<std::uint8_t> block(8192);
  TemporaryFile file;
  file.begin(TemporaryFile::Space::kAll);
  file.append(block);
  file.giveUp();
  file.append(block);

  EXPECT_EQ(file.copy(), -1);
  EXPECT_FALSE(terminal.exists(kTemporary));
}

TEST_F(TemporaryFileTest, TakesNoSpaceUnderAnotherName) {
  {
    TemporaryFile file;
    file.begin(TemporaryFile::Space::kAll);
    file.append(std::vector<std::uint8_t>(8192));
    fs::rename(kTemporary, kSource + "/other");
  }

  EXPECT_EQ(fs::file_size(kSource + "/other"), 0U);
}

}  // namespace
}  // namespace wzapp
