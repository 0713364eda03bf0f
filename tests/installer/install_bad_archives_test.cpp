// Package files and inner packages whose archives are cut, lie, or claim what they do not hold.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>

#include "archive/unzip.h"
#include "installer/unverified_work.h"
#include "tests/installer/bad_input_fixture.h"

namespace wzapp {
namespace {

using namespace wzapp_test;

using BadArchivesTest = BadInputTest;

constexpr std::size_t kEndSize = 22;  // of the end of a directory

// What is left of an archive that lacks its last octets.
enum class CutEnd { kSound, kMoved, kUnreadable };

// A number of the end of a directory, as minizip reads it from a file that may end before it: the
// octet before stands for one that is missing, and 0 where there is none.
std::uint32_t readNumber(const std::string& archive, std::size_t at) {
  std::uint32_t value = 0;
  std::uint32_t octet = 0;
  for (unsigned i = 0; i < 4; ++i) {
    if (at + i < archive.size()) octet = static_cast<std::uint8_t>(archive[at + i]);
    value |= octet << (8 * i);
  }
  return value;
}

// With the right size of its directory an archive has the right names, and with a smaller offset
// than the true one nothing in its places.
CutEnd endCutBy(const std::string& whole, std::size_t missing) {
  if (missing > kEndSize - 12) return CutEnd::kUnreadable;
  const std::size_t end = whole.size() - kEndSize;
  const std::string cut = whole.substr(0, whole.size() - missing);
  if (readNumber(cut, end + 12) != readNumber(whole, end + 12)) return CutEnd::kUnreadable;
  const std::uint32_t offset = readNumber(cut, end + 16);
  const std::uint32_t trueOffset = readNumber(whole, end + 16);
  if (offset > trueOffset) return CutEnd::kUnreadable;
  return offset == trueOffset ? CutEnd::kSound : CutEnd::kMoved;
}

// Of a package file whose directory says the right names and the wrong places.
Lines nothingExtracted() {
  return {notExtracted("a.crt"),      notExtracted("m.crt"), "Found GOOD-O.ZIP\n",
          notExtracted("GOOD-O.P7S"), "Found GOOD.ZIP\n",    notExtracted("GOOD.P7S")};
}

// --- Cut --------------------------------------------------------------------------------------

TEST_F(BadArchivesTest, PackageFilesCutAnywhere) {
  const std::string whole = goodPackageArchive().build();
  const std::size_t step = triesEverything() ? 1 : 13;
  std::vector<BadPackage> packages;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::size_t missing = whole.size() - size;
    if (missing > 40 && size % step != 0) continue;
    const std::string cut = whole.substr(0, size);
    const CutEnd end = endCutBy(whole, missing);
    if (end == CutEnd::kUnreadable) {
      packages.push_back(unreadablePackage(cut));
    } else {
      packages.push_back({cut, end == CutEnd::kSound ? goodLines() : nothingExtracted()});
    }
  }

  expectRun(packages);
}

// An archive that lies unpacked in another one is found when that one is cut behind it. Its entries
// are then taken for those of a package file: none of them is.
TEST_F(BadArchivesTest, PackageFilesCutBehindAnInnerPackage) {
  const std::string inner = applicationArchive(kGood).build();
  const std::string whole = ZipBuilder()
                                .stored("GOOD.ZIP", inner)
                                .file("GOOD.P7S", signatureOf(inner, applicationSigner()))
                                .file("a.crt", certificateOf(applicationSigner()))
                                .build();
  const std::size_t end = whole.find(inner) + inner.size();
  std::vector<BadPackage> packages;
  for (std::size_t size = end; size + kEndSize <= whole.size(); size += 7) {
    packages.push_back({whole.substr(0, size), {}});
  }

  expectRun(packages, kInstallOk);
}

// Inner packages that are signed as they are.
TEST_F(BadArchivesTest, InnerPackagesCutAnywhere) {
  const std::string whole = applicationArchive(kGood).build();
  const std::size_t step = triesEverything() ? 1 : 9;
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::size_t missing = whole.size() - size;
    if (missing > kEndSize && size % step != 0) continue;
    const std::string name = std::to_string(10000 + size) + ".ZIP";
    package.inner(name, whole.substr(0, size)).signedBy(applicationSigner());
    append(expected, extractedLines(name));
    const CutEnd end = endCutBy(whole, missing);
    if (end == CutEnd::kUnreadable) expected.push_back(unreadable(name));
    if (end != CutEnd::kMoved) continue;
    for (const char* file : {"good.MFT", "good/index.html", "good/pages/second.html"}) {
      expected.push_back(notWritten(file, kApps + "/" + file));
    }
  }

  expectRun({{package.build(), expected}});
}

TEST_F(BadArchivesTest, InnerPackagesCutAfterTheyWereSigned) {
  const std::string whole = applicationArchive(kGood).build();
  const std::size_t step = triesEverything() ? 1 : 21;
  const std::string signature = signatureOf(whole, applicationSigner());
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (std::size_t size = 0; size < whole.size(); size += step) {
    const std::string number = std::to_string(10000 + size);
    package.inner(number + ".ZIP", whole.substr(0, size)).file(number + ".P7S", signature);
    append(expected, foundLines(number + ".ZIP"));
    append(expected, {"Error: Invalid signature\n"});
  }

  expectRun({{package.build(), expected}});
}

// --- Directories that lie ---------------------------------------------------------------------

// The directory's record of the entry `name`.
std::size_t recordOf(const std::string& archive, const std::string& name) {
  constexpr std::size_t kNameOffset = 46;
  std::size_t at = archive.find("PK\1\2");
  while (archive.compare(at + kNameOffset, name.size(), name) != 0) {
    at = archive.find("PK\1\2", at + 1);
  }
  return at;
}

// `archive` with one octet, or two, of the record of `name` replaced.
std::string withField(std::string archive, const std::string& name, std::size_t offset,
                      const std::string& octets) {
  return archive.replace(recordOf(archive, name) + offset, octets.size(), octets);
}

std::string withEndField(std::string archive, std::size_t offset, const std::string& octets) {
  return archive.replace(archive.rfind("PK\5\6") + offset, octets.size(), octets);
}

constexpr std::size_t kNameLength = 28;
constexpr std::size_t kExtraLength = 30;
constexpr std::size_t kCommentLength = 32;

TEST_F(BadArchivesTest, DirectoriesOfPackageFilesThatLieAboutThemselves) {
  const std::string whole = goodPackageArchive().build();
  const auto end = [] { return goodPackageArchive(); };
  const auto end64 = [] { return goodPackageArchive().zip64Directory(); };
  std::vector<BadPackage> packages = {
      {end64().build(), goodLines()},
      {end().statedDirectoryOffset(0).build(), nothingExtracted()},
      {end64().statedDirectoryOffset(0xFFFFFFFFFFFFFFF0).build(), nothingExtracted()},
      {end().statedEntries(2).build(), signerLines()},
      {end().statedEntries(3).build(),
       logOf({signerLines(), "Found GOOD.ZIP\n", "Error: Signature 'GOOD.P7S' not found\n"})},
      {end().statedEntries(5).build(),
       logOf({signerLines(), "Found GOOD-O.ZIP\n", "Error: Signature 'GOOD-O.P7S' not found\n",
              extractedLines("GOOD.ZIP")})},
  };
  for (const std::string& archive :
       {end().statedEntries(0).build(),
        end().statedEntries(7).build(),
        end().statedEntries(1000).build(),
        end().statedEntries(65534).build(),
        end().statedEntries(65535).build(),
        end64().statedEntries(9295429630892703745U).build(),
        end().statedDirectorySize(10000).build(),
        end().statedDirectorySize(10).build(),
        end().statedDirectorySize(0xFFFFFFF0).build(),
        end64().statedDirectorySize(0xFFFFFFFFFFFFFFF0).build(),
        end().statedDirectoryOffset(100000).build(),
        end().statedDirectoryOffset(0xFFFFFFF0).build(),
        withEndField(whole, 4, "\1"),                        // on another disk
        withEndField(whole, 8, "\5"),                        // two numbers of entries
        withField(whole, "a.crt", 0, "XX"),                  // no record
        withField(whole, "GOOD.ZIP", 0, "XX"),               //
        withField(whole, "a.crt", kNameLength, "\xFF\xFF"),  // longer than the file
        withField(whole, "a.crt", kNameLength, "\x40"),      // over the next record
        withField(whole, "a.crt", kNameLength, std::string(1, '\0')),
        withField(whole, "a.crt", kExtraLength, "\xFF\xFF"),
        withField(whole, "a.crt", kExtraLength, "\1"),
        withField(whole, "a.crt", kCommentLength, "\xFF\xFF"),
        withField(whole, "a.crt", kCommentLength, "\1")}) {
    packages.push_back(unreadablePackage(archive));
  }

  expectRun(packages);
}

// The same inside an inner package that is signed as it is.
TEST_F(BadArchivesTest, DirectoriesOfInnerPackagesThatLieAboutThemselves) {
  const auto end = [] { return applicationArchive(kGood); };
  const auto end64 = [] { return applicationArchive(kGood).zip64Directory(); };
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  char letter = 'A';
  for (const ZipBuilder& archive :
       {end().statedEntries(0), end().statedEntries(5), end().statedEntries(65535),
        end64().statedEntries(9295429630892703745U), end().statedDirectorySize(10000),
        end().statedDirectorySize(10), end64().statedDirectorySize(0xFFFFFFFFFFFFFFF0),
        end().statedDirectoryOffset(100000), end().statedDirectoryOffset(0xFFFFFFF0)}) {
    const std::string name = std::string(1, letter++) + ".ZIP";
    package.inner(name, archive).signedBy(applicationSigner());
    append(expected, logOf({extractedLines(name), unreadable(name)}));
  }

  expectRun({{package.build(), expected}});
}

// --- Entries that lie -------------------------------------------------------------------------

ZipEntry goodEntry(const std::string& name) {
  ZipEntry entry;
  entry.name = name;
  if (name == "a.crt") entry.content = certificateOf(applicationSigner());
  if (name == "GOOD.ZIP") entry.content = applicationArchive(kGood).build();
  if (name == "GOOD.P7S") {
    entry.content = signatureOf(applicationArchive(kGood).build(), applicationSigner());
  }
  return entry;
}

// Where the certificate of the application's signer, the signature or the package itself is not to
// be had.
Lines withoutCertificate(const Lines& certificateLines) {
  return logOf({certificateLines, "Adding certificate m.crt\n", extractedLines("GOOD-O.ZIP"),
                "Found GOOD.ZIP\n", "Error: Signature 'GOOD.P7S' using unknown certificate\n"});
}
Lines withoutPackage(const Lines& packageLines) {
  return logOf({signerLines(), extractedLines("GOOD-O.ZIP"), "Found GOOD.ZIP\n", packageLines});
}

// The lines of a package file in which this entry cannot be read.
Lines without(const std::string& name) {
  const Lines error = {notExtracted(name)};
  return name == "a.crt" ? withoutCertificate(error) : withoutPackage(error);
}

const std::string kVictims[] = {"a.crt", "GOOD.ZIP", "GOOD.P7S"};

// Without 12, that of bzip2: how minizip was built decides what it makes of it.
constexpr std::uint16_t kUnknownMethods[] = {1, 2, 6, 9, 14, 93, 95, 98, 99, 0x0800, 0xFFFF};

TEST_F(BadArchivesTest, EntriesOfMethodsThatAreNotKnown) {
  std::vector<BadPackage> packages;
  for (const std::string& name : kVictims) {
    for (const std::uint16_t method : kUnknownMethods) {
      ZipEntry entry = goodEntry(name);
      entry.method = method;
      packages.push_back({goodPackageArchiveWith(entry).build(), without(name)});
    }
  }

  expectRun(packages);
}

constexpr std::uint16_t kEncryptedFlags[] = {0x0001, 0x0009, 0x0041, 0x2041};

// There is no password: what an encrypted entry holds is not what it was.
TEST_F(BadArchivesTest, EntriesThatAreEncrypted) {
  std::vector<BadPackage> packages;
  for (const std::uint16_t flags : kEncryptedFlags) {
    for (const std::string& name : kVictims) {
      ZipEntry entry = goodEntry(name);
      entry.flags = flags;
      entry.data = std::string(12, '\xA5') + deflated(entry.content);
      packages.push_back({goodPackageArchiveWith(entry).build(), without(name)});
    }
    ZipEntry stored = goodEntry("GOOD.ZIP");
    stored.flags = flags;
    stored.isDeflated = false;
    stored.data = std::string(12, '\xA5') + stored.content;
    packages.push_back({goodPackageArchiveWith(stored).build(),
                        withoutPackage({"Checking GOOD.ZIP\n", "Error: Invalid signature\n"})});
  }

  expectRun(packages);
}

TEST_F(BadArchivesTest, EntriesOfOtherSizesThanTheyState) {
  const auto statedSize = [](const std::string& name, std::uint32_t size) {
    ZipEntry entry = goodEntry(name);
    entry.size = size;
    return goodPackageArchiveWith(entry).build();
  };
  const auto statedPackedSize = [](const std::string& name, std::uint32_t size) {
    ZipEntry entry = goodEntry(name);
    entry.packedSize = size;
    return goodPackageArchiveWith(entry).build();
  };
  std::vector<BadPackage> packages;
  for (const std::string name : {"a.crt", "GOOD.P7S"}) {
    const std::string content = goodEntry(name).content;
    const auto size = static_cast<std::uint32_t>(content.size());
    const auto packedSize = static_cast<std::uint32_t>(deflated(content).size());
    for (const std::uint32_t more :
         {size + 1, 1U << 24, (1U << 24) + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
      packages.push_back({statedSize(name, more), without(name)});
    }
    packages.push_back({statedSize(name, 0), without(name)});
    packages.push_back({statedPackedSize(name, 0), without(name)});
    packages.push_back({statedPackedSize(name, 10), without(name)});
    // What is behind the data does not matter, but it must be there.
    packages.push_back({statedPackedSize(name, packedSize + 5), goodLines()});
    packages.push_back({statedPackedSize(name, 0x7FFFFFFF), without(name)});
  }
  // A part of a certificate is none, and a part of a signature names nobody.
  packages.push_back(
      {statedSize("a.crt", 100),
       withoutCertificate({"Adding certificate a.crt\n",
                           "Warning: Failed reading certificate 'a.crt': Error -3\n"})});
  packages.push_back({statedSize("GOOD.P7S", 100),
                      withoutPackage({"Error: Signature 'GOOD.P7S' using unknown certificate\n"})});
  // The digests are of what is there.
  packages.push_back({statedSize("GOOD.ZIP", 0xFFFFFFFF), goodLines()});
  packages.push_back({statedSize("GOOD.ZIP", 0xFFFFFFFE), goodLines()});
  packages.push_back({statedSize("GOOD.ZIP", 100),
                      withoutPackage({"Checking GOOD.ZIP\n", "Error: Invalid signature\n"})});
  packages.push_back({statedSize("GOOD.ZIP", 0),
                      withoutPackage({"Checking GOOD.ZIP\n", "Error: Invalid signature\n"})});
  packages.push_back({statedPackedSize("GOOD.ZIP", 100), without("GOOD.ZIP")});

  expectRun(packages);
}

// `entry` with other sizes than its own in the directory's fields of ZIP64.
ZipEntry withZip64Sizes(ZipEntry entry, std::uint64_t size, std::uint64_t packedSize) {
  entry.extra = std::string("\1\0\x10\0", 4);
  for (const std::uint64_t number : {size, packedSize}) {
    for (int i = 0; i < 8; ++i) entry.extra += static_cast<char>(number >> (8 * i) & 0xFF);
  }
  entry.size = 0xFFFFFFFF;
  entry.packedSize = 0xFFFFFFFF;
  return entry;
}

// Where minizip does not read such sizes the entry is unreadable: the run is one or the other.
TEST_F(BadArchivesTest, EntriesWithSizesOfZip64AreReadRightOrNotAtAll) {
  std::vector<ZipEntry> entries;
  for (const std::string& name : kVictims) {
    ZipEntry sound = goodEntry(name);
    sound.hasZip64Sizes = true;
    entries.push_back(sound);
    sound.hasDataDescriptor = true;
    entries.push_back(sound);
    const ZipEntry plain = goodEntry(name);
    const std::uint64_t packedSize = deflated(plain.content).size();
    entries.push_back(withZip64Sizes(plain, plain.content.size(), packedSize));
    for (const std::uint64_t lie : {std::uint64_t{1} << 32, std::uint64_t{1} << 60,
                                    std::uint64_t{1} << 63, std::uint64_t{0} - 1}) {
      entries.push_back(withZip64Sizes(plain, lie, packedSize));
      entries.push_back(withZip64Sizes(plain, plain.content.size(), lie));
    }
    entries.push_back(withZip64Sizes(plain, 0, 0));
    entries.back().extra.resize(5);  // cut
  }

  for (const ZipEntry& entry : entries) {
    BadPackage package = {goodPackageArchiveWith(entry).build(), goodLines()};
    const std::vector<std::string> order = dropInOrder({package});

    const int result = install();

    if (result != kInstallOk) package.lines = without(entry.name);
    expectLog(logOf({beginLines(), packagesLines(order, {package}), goodRulesLines(),
                     endLines({kGood}, result == kInstallOk ? "OK" : "ERROR")}));
    EXPECT_EQ(tree(), goodTree());
    EXPECT_THAT(dropped(), testing::IsEmpty());
  }
}

// Where the directory and the entry do not agree.
TEST_F(BadArchivesTest, EntriesThatShowOthers) {
  std::vector<BadPackage> packages;
  for (const std::string& name : kVictims) {
    ZipEntry entry = goodEntry(name);
    entry.localName = name + "x";
    packages.push_back({goodPackageArchiveWith(entry).build(), without(name)});
    ZipEntry damaged = goodEntry(name);
    damaged.data = std::string(200, '\xFF');
    packages.push_back({goodPackageArchiveWith(damaged).build(), without(name)});
    ZipEntry wrongCrc = goodEntry(name);
    wrongCrc.crc = 0x12345678;  // not looked at
    packages.push_back({goodPackageArchiveWith(wrongCrc).build(), goodLines()});
  }
  for (const std::string name : {"GOOD.ZIP", "GOOD.P7S"}) {
    ZipEntry shared = goodEntry(name);
    shared.sharesDataOf = 0;  // a.crt, of other sizes
    packages.push_back({goodPackageArchiveWith(shared).build(), without(name)});
  }

  expectRun(packages);
}

// --- Much out of little -----------------------------------------------------------------------

constexpr std::size_t kLargestFile = std::size_t{16} << 20;  // that is read whole

TEST_F(BadArchivesTest, EntriesThatUnpackToFarMore) {
  const std::size_t size = triesEverything() ? std::size_t{200} << 20 : kLargestFile + 1;
  const std::string zeros(size, '\0');
  std::vector<BadPackage> packages;
  for (const std::string& name : kVictims) {
    ZipEntry bomb = goodEntry(name);
    bomb.content = zeros;
    const Lines expected =
        name == "GOOD.ZIP" && !triesEverything()
            ? withoutPackage({"Checking GOOD.ZIP\n", "Error: Invalid signature\n"})
            : without(name);  // 200 MB are more than the file may cause to be read
    packages.push_back({goodPackageArchiveWith(bomb).build(), expected});
    // As many octets as it states are taken of it, and not one more.
    if (name != "GOOD.P7S") continue;
    bomb.size = 1000;
    packages.push_back(
        {goodPackageArchiveWith(bomb).build(),
         withoutPackage({"Error: Signature 'GOOD.P7S' using unknown certificate\n"})});
  }

  expectRun(packages);
}

// Each is within its limit, and ten thousand of them would take minutes.
TEST_F(BadArchivesTest, EntriesThatShareWhatUnpacksToFarMore) {
  constexpr std::size_t kEntries = 700;
  std::vector<std::string> names;
  ZipBuilder archive;
  for (std::size_t i = 0; i < kEntries; ++i) {
    ZipEntry entry;
    entry.name = std::to_string(100 + i) + ".crt";
    entry.content = std::string(kMaxCredentialSize, '\0');
    if (i > 0) entry.sharesDataOf = 0;
    archive.entry(entry);
    names.push_back(entry.name);
  }
  const std::string package = archive.build();
  const std::uint64_t readable =
      (UnverifiedWork::kFreeOctets + package.size() * UnverifiedWork::kExpansion) /
          kMaxCredentialSize +
      UnverifiedWork::kFreeCredentials;
  ASSERT_LT(readable, kEntries);

  Lines expected;
  for (std::size_t i = 0; i < kEntries; ++i) {
    if (i < readable) {
      append(expected, {"Adding certificate " + names[i] + "\n",
                        "Warning: Failed reading certificate '" + names[i] + "': Error -3\n"});
    } else {
      expected.push_back(notExtracted(names[i]));
    }
  }
  expectRun({{package, expected}});
}

TEST_F(BadArchivesTest, EntriesAsLargeAsTheyMayBe) {
  // Octets behind a certificate and a signature do not matter.
  std::vector<BadPackage> packages;
  for (const std::string name : {"a.crt", "GOOD.P7S"}) {
    for (const std::size_t more : {std::size_t{0}, std::size_t{1}}) {
      ZipEntry padded = goodEntry(name);
      padded.content.resize(kMaxCredentialSize + more, '\0');
      packages.push_back(
          {goodPackageArchiveWith(padded).build(), more == 0 ? goodLines() : without(name)});
    }
  }

  expectRun(packages);
}

// What is signed is installed, however well it packs: the signer answers for it.
TEST_F(BadArchivesTest, FilesThatUnpackToFarMore) {
  const std::size_t size = triesEverything() ? std::size_t{200} << 20 : kLargestFile + 1;
  ZipEntry lying;
  lying.name = "good/lying";
  lying.content = std::string(1000, '\0');
  lying.size = 0xFFFFFFFE;
  const std::string manifest = manifestFor("bad") + std::string(size, ' ');
  const BadPackage package = {withSigners()
                                  .inner("BAD.ZIP", ZipBuilder()
                                                        .file("good/zeros", std::string(size, '\0'))
                                                        .file("good.MFT", manifest)
                                                        .entry(lying))
                                  .signedBy(applicationSigner())
                                  .build(),
                              logOf({signerLines(), extractedLines("BAD.ZIP")})};

  expectRun({package}, kInstallOk);
}

}  // namespace
}  // namespace wzapp
