// Certificates, signature files and manifests that are damaged, of megabytes, or of every type but
// the right one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>

#include "installer/unverified_work.h"
#include "tests/builders/certificate_builder.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/installer/bad_input_fixture.h"

namespace wzapp {
namespace {

using namespace std::string_literals;
using namespace wzapp_test;

constexpr std::size_t kMega = std::size_t{1} << 20;
constexpr std::size_t kLargest = 16 * kMega;  // that is read whole

std::string repeated(const std::string& text, std::size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

// --- Certificates and signature files ---------------------------------------------------------

// Octets that are neither, however they are read.
std::vector<std::string> nonsense() {
  return {"text",
          "-----BEGIN CERTIFICATE-----\nMIIB\n-----END CERTIFICATE-----\n",
          "\0"s,
          "\x30"s,
          "\x30\x80"s,
          "\x30\x00"s,
          "\x30\x84\xFF\xFF\xFF\xFF"s,
          "\x30\x89\x01\x01\x01\x01\x01\x01\x01\x01\x01"s,
          "\x3F\xFF\xFF\xFF\xFF\xFF\x7F\x01\x00"s,
          std::string(kMega, '\0'),
          std::string(kMega, '\x30'),
          std::string(kMega, '\xFF'),
          repeated("\x30\x80", kMega / 2),
          repeated("\x30\x80", 26) + std::string(kMega, '\0'),
          "\x30\x83\x10\x00\x00"s + repeated("\x30\x00"s, kMega / 2),
          "\x30\x83\x10\x00\x00"s + repeated("\x06\x03\x55\x04\x03\x00"s, kMega / 6) + "\0\0\0\0"s,
          "\x24\x80"s + repeated("\x04\x01x", kMega / 3),
          std::string(triesEverything() ? kLargest : 2 * kMega, '\x30'),
          noise(triesEverything() ? kLargest : 2 * kMega)};
}

class BadContentsTest : public BadInputTest {
 protected:
  static std::string packageWith(const std::string& name, const std::string& content) {
    ZipEntry entry;
    entry.name = name;
    entry.content = content;
    return goodPackageArchiveWith(entry).build();
  }

  // The lines of a package file whose certificate of the application's signer brings these.
  static Lines withoutCertificate(const Lines& certificateLines) {
    return logOf({"Adding certificate a.crt\n", certificateLines, "Adding certificate m.crt\n",
                  extractedLines("GOOD-O.ZIP"), "Found GOOD.ZIP\n",
                  "Error: Signature 'GOOD.P7S' using unknown certificate\n"});
  }

  // The same when that certificate cannot even be read.
  static Lines withUnreadCertificate() {
    return logOf({notExtracted("a.crt"), "Adding certificate m.crt\n", extractedLines("GOOD-O.ZIP"),
                  "Found GOOD.ZIP\n", "Error: Signature 'GOOD.P7S' using unknown certificate\n"});
  }

  // Those of one whose signature of the application brings these.
  static Lines withoutSignature(const Lines& signatureLines) {
    return logOf({signerLines(), extractedLines("GOOD-O.ZIP"), "Found GOOD.ZIP\n", signatureLines});
  }

  // One run over one package file. Its log is one of those that `candidates` lead to, and only the
  // first of them, of a sound package, may be without an error.
  void expectOneOf(const std::string& content, const std::vector<Lines>& candidates) {
    const BadPackage package = {content, {}};
    const std::vector<std::string> order = dropInOrder({package});
    const int result = install();
    Lines expected;
    for (const Lines& candidate : candidates) {
      const bool isSound = &candidate == &candidates.front();
      expected = logOf({beginLines(), packagesLines(order, {{content, candidate}}),
                        goodRulesLines(), endLines({kGood}, isSound ? "OK" : "ERROR")});
      if (lines != expected) continue;
      EXPECT_EQ(result, isSound ? kInstallOk : kInstallError);
      EXPECT_EQ(tree(), goodTree());
      EXPECT_THAT(dropped(), testing::IsEmpty());
      return;
    }
    expectLog(expected);
  }
};

Lines readingFailed(int code) {
  return {"Warning: Failed reading certificate 'a.crt': Error " + std::to_string(code) + "\n"};
}
Lines addingFailed(const std::string& why) {
  return {"Warning: Failed adding certificate 'a.crt': " + why + "\n"};
}

constexpr const char* kUnknownSigner = "Error: Signature 'GOOD.P7S' using unknown certificate\n";

TEST_F(BadContentsTest, OfCertificates) {
  std::vector<BadPackage> packages;
  for (const std::string& content : nonsense()) {
    packages.push_back(
        {packageWith("a.crt", content), content.size() > kMaxCredentialSize
                                            ? withUnreadCertificate()
                                            : withoutCertificate(readingFailed(-3))});
  }
  const std::string whole = certificateOf(applicationSigner());
  for (std::size_t size = 1; size < whole.size(); size += triesEverything() ? 1 : 60) {
    packages.push_back(
        {packageWith("a.crt", whole.substr(0, size)), withoutCertificate(readingFailed(-3))});
  }

  expectRun(packages);
}

// Each way in which a certificate is refused.
TEST_F(BadContentsTest, OfCertificatesThatAreRefused) {
  const Octets id = applicationSigner().keyId;
  const auto issued = [&id] {
    return issuedCertificate(authorityId(kApplicationRow), id, "100001")
        .rsaKey(applicationSigner().key->modulus(), applicationSigner().key->exponent());
  };
  struct Refusal {
    Octets certificate;
    Lines lines;
  };
  const Refusal refusals[] = {
      {signedBy(authorityKey(),
                issuedCertificate(authorityId(kApplicationRow), Octets(32, 1), "1")),
       readingFailed(-5)},
      {signedBy(authorityKey(), issuedCertificate(Octets(32, 1), id, "1")), readingFailed(-5)},
      {signedBy(authorityKey(), issued().validity("160101000000+", "260101000000Z")),
       readingFailed(-6)},
      {signedBy(authorityKey(), issued().validity("", "")), readingFailed(-6)},
      {signedBy(authorityKey(), issued().validity("20990101000000Z", "19990101000000Z")),
       addingFailed("Expired")},
      {signedBy(strangerKey(), issued()), addingFailed("Validation failed")},
      {issued().encoding(), addingFailed("Validation failed")},
      {signedBy(authorityKey(), issued().algorithm("1.2.840.10045.4.3.2")),
       addingFailed("Validation failed")},
      {signedBy(authorityKey(), issuedCertificate(Octets(20, 0x99), id, "1")),
       addingFailed("CA not found")},
      {signedBy(authorityKey(), issuedCertificate(id, id, "1")), addingFailed("CA not found")},
      {signerWithPermissions({}).certificate, addingFailed("Invalid file type")},
      {signerWithPermissions(std::vector<std::string_view>(1000, "S13")).certificate,
       addingFailed("Invalid file type")},
  };
  std::vector<BadPackage> packages;
  for (const Refusal& refusal : refusals) {
    packages.push_back(
        {packageWith("a.crt", std::string(refusal.certificate.begin(), refusal.certificate.end())),
         withoutCertificate(refusal.lines)});
  }

  expectRun(packages);
}

// What comes of it depends on the octet; a sound run only where it means nothing.
TEST_F(BadContentsTest, OfCertificatesWithAFlippedOctet) {
  const std::string whole = certificateOf(applicationSigner());
  const std::vector<Lines> outcomes = {goodLines(),
                                       withoutCertificate(readingFailed(-3)),
                                       withoutCertificate(readingFailed(-5)),
                                       withoutCertificate(readingFailed(-6)),
                                       withoutCertificate(addingFailed("Expired")),
                                       withoutCertificate(addingFailed("CA not found")),
                                       withoutCertificate(addingFailed("Validation failed"))};
  for (std::size_t i = 0; i < whole.size(); i += triesEverything() ? 1 : 37) {
    SCOPED_TRACE(i);
    std::string flipped = whole;
    flipped[i] = static_cast<char>(flipped[i] ^ 0x21);
    expectOneOf(packageWith("a.crt", flipped), outcomes);
  }
}

TEST_F(BadContentsTest, OfSignatureFiles) {
  std::vector<BadPackage> packages;
  for (const std::string& content : nonsense()) {
    packages.push_back(
        {packageWith("GOOD.P7S", content),
         withoutSignature(
             {content.size() > kMaxCredentialSize ? notExtracted("GOOD.P7S") : kUnknownSigner})});
  }
  const std::string whole = signatureOf(applicationArchive(kGood).build(), applicationSigner());
  for (std::size_t size = 1; size < whole.size(); size += triesEverything() ? 1 : 40) {
    packages.push_back(
        {packageWith("GOOD.P7S", whole.substr(0, size)), withoutSignature({kUnknownSigner})});
  }

  expectRun(packages);
}

TEST_F(BadContentsTest, OfSignatureFilesWithAFlippedOctet) {
  const std::string whole = signatureOf(applicationArchive(kGood).build(), applicationSigner());
  const std::vector<Lines> outcomes = {
      goodLines(), withoutSignature({kUnknownSigner}),
      withoutSignature({"Checking GOOD.ZIP\n", "Error: Invalid signature\n"})};
  for (std::size_t i = 0; i < whole.size(); i += triesEverything() ? 1 : 23) {
    SCOPED_TRACE(i);
    std::string flipped = whole;
    flipped[i] = static_cast<char>(flipped[i] ^ 0x21);
    expectOneOf(packageWith("GOOD.P7S", flipped), outcomes);
  }
}

// --- Manifests --------------------------------------------------------------------------------

enum class Reading { kAccepted, kNoId, kUnreadable, kSponsors, kOtherId };

struct Manifest {
  std::string content;  // "ID" stands for the application's
  Reading reading;
  bool isJSON;
  std::string sponsors;  // of kSponsors
};

const std::string kSponsorList = R"("sponsors":["123456"])";

// {"application":{"id":"ID"},"sponsors":["123456"],<more>}
std::string jsonWith(const std::string& more) {
  return R"({"application":{"id":"ID"},)" + kSponsorList + (more.empty() ? "" : "," + more) + "}";
}

std::string nestedArrays(std::size_t levels) {
  return std::string(levels, '[') + std::string(levels, ']');
}

std::string nestedObjects(std::size_t levels) {
  return repeated("{\"a\":", levels) + "1" + std::string(levels, '}');
}

const std::vector<Manifest>& manifests() {
  using enum Reading;
  constexpr std::size_t kLevels = 512;  // that JSON may have
  const std::string keyValue =
      "[install]\nappid=ID\nsponsor=123456\n[uninstall]\nappid=ID\nsponsor=123456\n";
  static const std::vector<Manifest> all = {
      // Other types than an object, and of its members.
      {"null", kNoId, true, ""},
      {"true", kNoId, true, ""},
      {"7", kNoId, true, ""},
      {"-1e308", kNoId, true, ""},
      {"\"ID\"", kNoId, true, ""},
      {"[]", kNoId, true, ""},
      {"{}", kNoId, true, ""},
      {"[" + jsonWith("") + "]", kNoId, true, ""},
      {R"({"application":null,)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":7,)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":"ID",)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":["id","ID"],)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":{"ID":"id"},)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":{"id":null},)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":{"id":7},)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":{"id":true},)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":{"id":["ID"]},)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":{"id":{"id":"ID"}},)" + kSponsorList + "}", kNoId, true, ""},
      {R"({"application":{"id":"ID"},"sponsors":null})", kSponsors, true, ""},
      {R"({"application":{"id":"ID"},"sponsors":123456})", kSponsors, true, ""},
      {R"({"application":{"id":"ID"},"sponsors":"123456"})", kSponsors, true, ""},
      {R"({"application":{"id":"ID"},"sponsors":{"0":"123456"}})", kSponsors, true, ""},
      {R"({"application":{"id":"ID"},"sponsors":[123456,null,["123456"]]})", kSponsors, true, ",,"},
      {R"({"application":{"id":"ID"},"sponsors":["%s%n","a\nb"]})", kSponsors, true, "%s%n,a\nb"},
      // Members more than once.
      {R"({"application":{"id":"no"},"application":{"id":"ID"},)" + kSponsorList + "}", kAccepted,
       true, ""},
      {R"({"application":{"id":"ID"},"application":{"id":"no"},)" + kSponsorList + "}", kOtherId,
       true, ""},
      {R"({"application":{"id":"ID"},)" + kSponsorList + R"(,"sponsors":["1"]})", kSponsors, true,
       "1"},
      {R"({"application":{"id":"ID"},)" + kSponsorList + R"(,"application":1})", kNoId, true, ""},
      // Texts that are not JSON.
      {"", kNoId, false, ""},
      {" \n\t\r\n", kNoId, false, ""},
      {jsonWith("") + "x", kUnreadable, false, ""},
      {jsonWith("") + "}", kUnreadable, false, ""},
      {jsonWith("") + jsonWith(""), kUnreadable, false, ""},
      {jsonWith("") + "\0"s, kUnreadable, false, ""},
      {"\0"s + jsonWith(""), kUnreadable, false, ""},
      {"\xEF\xBB\xBF" + jsonWith(""), kUnreadable, false, ""},
      {jsonWith("\"a\":\"\xFF\""), kUnreadable, false, ""},
      {jsonWith("\"a\":\"\xC3\""), kUnreadable, false, ""},
      {jsonWith("\"a\":\"\xED\xA0\x80\""), kUnreadable, false, ""},
      {jsonWith("\"a\":\"\xF4\x90\x80\x80\""), kUnreadable, false, ""},
      {jsonWith("\"a\":\"\xC0\x80\""), kUnreadable, false, ""},
      {jsonWith("\"a\":\"\\uD800\""), kAccepted, true, ""},  // half a pair passes
      {jsonWith("\"a\":\"\\x\""), kUnreadable, false, ""},
      {jsonWith("\"a\":\"\n\""), kUnreadable, false, ""},
      {jsonWith("\"a\":01"), kUnreadable, false, ""},
      {jsonWith("\"a\":NaN"), kUnreadable, false, ""},
      {jsonWith("a:1"), kUnreadable, false, ""},
      {jsonWith("\"a\":1,"), kUnreadable, false, ""},
      {jsonWith("/* */\"a\":1"), kUnreadable, false, ""},
      {jsonWith("").substr(0, 40), kUnreadable, false, ""},
      {"<?xml version=\"1.0\"?>\n<application id='ID'/>", kUnreadable, false, ""},
      // Deep.
      {jsonWith("\"a\":" + nestedArrays(kLevels - 1)), kAccepted, true, ""},
      {jsonWith("\"a\":" + nestedArrays(kLevels)), kUnreadable, false, ""},
      {jsonWith("\"a\":" + nestedObjects(kLevels - 1)), kAccepted, true, ""},
      {jsonWith("\"a\":" + nestedObjects(kLevels)), kUnreadable, false, ""},
      {nestedArrays(kLevels), kNoId, true, ""},
      {nestedArrays(kLevels + 1), kNoId, false, ""},  // the header of a section
      {nestedArrays(kMega / 2), kNoId, false, ""},
      {std::string(kMega, '['), kUnreadable, false, ""},
      {nestedObjects(kMega / 8), kUnreadable, false, ""},
      {repeated("{\"a\":", kMega / 5), kUnreadable, false, ""},
      // Large ones, and larger than a manifest may be.
      {jsonWith("") + std::string(kMega / 2, ' '), kAccepted, true, ""},
      {jsonWith("") + std::string(kMega, ' '), kUnreadable, false, ""},
      {jsonWith("\"a\":\"" + std::string(kMega / 2, 'x') + "\""), kAccepted, true, ""},
      {jsonWith("\"" + std::string(kMega / 2, 'x') + "\":1"), kAccepted, true, ""},
      {jsonWith("\"a\":[" + repeated("0,", kMega / 4) + "0]"), kAccepted, true, ""},
      {jsonWith("\"a\":" + std::string(kMega / 2, '9')), kAccepted, true, ""},
      {jsonWith("\"a\":0." + std::string(kMega / 2, '9')), kAccepted, true, ""},
      {std::string(2 * kMega, 'x'), kUnreadable, false, ""},
      {std::string(kMega, '\n'), kNoId, false, ""},
      {std::string(kMega, '\0'), kUnreadable, false, ""},
      {noise(kMega), kUnreadable, false, ""},
      {std::string(kLargest + 1, ' '), kUnreadable, false, ""},
      // The form of keys and values.
      {keyValue, kAccepted, false, ""},
      {"\xEF\xBB\xBF" + keyValue, kUnreadable, false, ""},
      {"appid=ID\n" + keyValue, kUnreadable, false, ""},
      {keyValue + "nonsense\n", kUnreadable, false, ""},
      {"[install\nappid=ID\n", kUnreadable, false, ""},
      {"[]\nappid=ID\n", kUnreadable, false, ""},
      {"[install]\n=ID\n", kNoId, false, ""},
      {"[install]\nappid\n", kUnreadable, false, ""},
      {"[INSTALL]\nappid=ID\n", kNoId, false, ""},
      {"[install]\nappid=\n[uninstall]\nappid=\n", kNoId, false, ""},
      {keyValue + "\0"s, kUnreadable, false, ""},
      {repeated("[a]\n", kMega / 16) + keyValue, kAccepted, false, ""},
      {keyValue + "a=" + std::string(kMega / 2, 'x') + "\n", kAccepted, false, ""},
      {keyValue + repeated("a=b\n", kMega / 8), kAccepted, false, ""},
      {keyValue + repeated(";\n", kMega / 4), kAccepted, false, ""},
      {keyValue + repeated(";\n", kMega / 2), kUnreadable, false, ""},
      {"[install]\nappid=ID\nsponsor=" + repeated(",", 1000) +
           "\n[uninstall]\nappid=ID\nsponsor=" + repeated(",", 1000) + "\n",
       kSponsors, false, repeated(",", 1000)},
  };
  return all;
}

class BadManifestsTest : public BadInputTest {
 protected:
  // Applications are called "b00", "b01" ...
  static std::string idOf(std::size_t number) {
    return "b" + std::to_string(number / 10) + std::to_string(number % 10);
  }
  static std::string contentOf(std::size_t number) {
    std::string content = manifests()[number].content;
    for (std::size_t at = content.find("ID"); at != std::string::npos;
         at = content.find("ID", at)) {
      content.replace(at, 2, idOf(number));
    }
    return content;
  }
  static bool isOwn(const std::string& name) { return name.starts_with('b'); }
  static const Manifest& manifestOf(const std::string& id) {
    return manifests()[std::stoul(id.substr(1))];
  }

  // What the sponsor check says of the manifest at `path`; nothing when it accepts it.
  static Lines refusal(const std::string& id, const std::string& path,
                       const std::string& activity) {
    const Manifest& manifest = manifestOf(id);
    switch (manifest.reading) {
      case Reading::kNoId:
        return {"Error: app id missing in " + path + "\n"};
      case Reading::kUnreadable:
        return {"Error: Cannot read '" + path + "', invalid permissions or invalid format\n"};
      case Reading::kSponsors:
        return {"Error: Invalid sponsor list '" + manifest.sponsors + "' for " + activity + " '" +
                id + "', expecting sponsor '123456'\n"};
      default:
        return {};
    }
  }

  static Lines listedIds(const std::vector<std::string>& folders) {
    Lines lines = {"List of installed applications:\n"};
    for (const std::string& id : folders) lines.push_back(id + "\n");
    lines.push_back("Overall result: ERROR\n");
    return lines;
  }

  // The log of a run that has removed something by its rules, after which only the application that
  // was there before is left to be checked.
  void expectRulesLog(const std::vector<std::string>& order,
                      const std::vector<BadPackage>& packages, const Lines& checks,
                      const Lines& removals, const std::string& failed) {
    expectLog(logOf(
        {beginLines(), packagesLines(order, packages), checks, removals, "Checking dependencies\n",
         "Reading " + kApps + "/good.MFT\n", "Checking " + kApps + "/good.MFT\n",
         "Error: Installation of " + failed + " failed\n", listedIds(listed(kManifests))}));
  }
};

TEST_F(BadManifestsTest, OfTheMarketplace) {
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (std::size_t i = 0; i < manifests().size(); ++i) {
    const std::string name = idOf(i) + "-O.ZIP";
    package.inner(name, ZipBuilder().file(idOf(i) + "/mpmanifest.mft", contentOf(i)))
        .signedBy(manifestSigner());
    append(expected, extractedLines(name));
  }
  const std::vector<BadPackage> packages = {{package.build(), expected}};
  const std::vector<std::string> order = dropInOrder(packages);

  EXPECT_EQ(install(), kInstallError);

  Lines checks = {"postinstall\n"};
  Lines removals;
  std::set<std::string> removed;
  for (const std::string& id : extractedManifests) {
    checks.push_back("Checking " + id + "\n");
    if (!isOwn(id)) continue;
    const Reading reading = manifestOf(id).reading;
    append(checks, refusal(id, kManifests + "/" + id + "/mpmanifest.mft", "installing"));
    if (reading == Reading::kOtherId) {
      checks.push_back("Mismatching directory name " + id + "\n");
      removed.insert("no");
    }
    if (reading == Reading::kSponsors) removed.insert(id);
    if (reading != Reading::kAccepted) {
      removals.push_back("Removing " + kManifests + "/" + id + "\n");
    }
  }
  expectRulesLog(order, packages, checks, removals, *removed.begin());
  for (const std::string& id : extractedManifests) {
    EXPECT_EQ(terminal.exists(kManifests + "/" + id),
              !isOwn(id) || manifestOf(id).reading == Reading::kAccepted)
        << id;
  }
  EXPECT_EQ(extractedManifests.size(), manifests().size() + 1);
  EXPECT_THAT(dropped(), testing::IsEmpty());
}

TEST_F(BadManifestsTest, OfUninstalling) {
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (std::size_t i = 0; i < manifests().size(); ++i) {
    const std::string name = idOf(i) + "-U.ZIP";
    package
        .inner(name, ZipBuilder()
                         .file(idOf(i) + "/appuninstall.mft", contentOf(i))
                         .file(idOf(i) + "/mpmanifest.mft", manifestFor(idOf(i))))
        .signedBy(manifestSigner());
    append(expected, extractedLines(name));
  }
  const std::vector<BadPackage> packages = {{package.build(), expected}};
  const std::vector<std::string> order = dropInOrder(packages);

  EXPECT_EQ(install(), kInstallError);

  Lines checks = {"postinstall\n"};
  Lines removals;
  std::set<std::string> removed;
  for (const std::string& id : extractedManifests) {
    checks.push_back("Checking " + id + "\n");
    if (!isOwn(id)) continue;
    const std::string path = kManifests + "/" + id + "/appuninstall.mft";
    const Lines error = refusal(id, path, "uninstalling");
    append(checks, error);
    if (!error.empty()) {
      checks.push_back("Removing invalid uninstall package " + path + "\n");
      removed.insert(id);
    }
    if (manifestOf(id).reading == Reading::kAccepted) {
      removals.push_back("Removing " + kManifests + "/" + id + "\n");
    }
  }
  expectRulesLog(order, packages, checks, removals, *removed.begin());
  for (const std::string& id : extractedManifests) {
    const bool isGone = isOwn(id) && manifestOf(id).reading == Reading::kAccepted;
    EXPECT_EQ(terminal.exists(kManifests + "/" + id), !isGone) << id;
    EXPECT_EQ(terminal.exists(kManifests + "/" + id + "/appuninstall.mft"),
              isOwn(id) && manifestOf(id).reading == Reading::kOtherId)
        << id;
  }
  EXPECT_THAT(dropped(), testing::IsEmpty());
}

// An application may have any manifest: what it says is not needed to stay installed.
TEST_F(BadManifestsTest, OfApplications) {
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  for (std::size_t i = 0; i < manifests().size(); ++i) {
    package
        .inner(
            idOf(i) + ".ZIP",
            ZipBuilder().file(idOf(i) + "/index.html", "<p>").file(idOf(i) + ".MFT", contentOf(i)))
        .signedBy(applicationSigner())
        .inner(idOf(i) + "-O.ZIP",
               ZipBuilder().file(idOf(i) + "/mpmanifest.mft", manifestFor(idOf(i))))
        .signedBy(manifestSigner());
    append(expected, extractedLines(idOf(i) + "-O.ZIP"));
    append(expected, extractedLines(idOf(i) + ".ZIP"));
  }
  const std::vector<BadPackage> packages = {{package.build(), expected}};
  const std::vector<std::string> order = dropInOrder(packages);

  EXPECT_EQ(install(), kInstallOk);

  Lines rules = {"postinstall\n"};
  for (const std::string& id : extractedManifests) rules.push_back("Checking " + id + "\n");
  Lines readings = {"Checking dependencies\n"};
  Lines checks;
  for (const std::string& name : listed(kApps)) {
    if (!name.ends_with(".MFT")) continue;
    const std::string path = kApps + "/" + name;
    const std::string id = name.substr(0, name.size() - 4);
    const bool isJSON = !isOwn(id) || manifestOf(id).isJSON;
    readings.push_back(isJSON ? "Reading " + path + "\n"
                              : path + " not in JSON format, skipping.\n");
    if (isJSON) checks.push_back("Checking " + path + "\n");
  }
  Lines ids = {"List of installed applications:\n"};
  for (const std::string& id : listed(kManifests)) ids.push_back(id + "\n");
  expectLog(logOf({beginLines(), packagesLines(order, packages), rules, readings, checks, ids,
                   "Overall result: OK\n"}));
  EXPECT_EQ(listed(kManifests).size(), manifests().size() + 1);
  EXPECT_EQ(listed(kApps).size(), 2 * (manifests().size() + 1));
  EXPECT_THAT(dropped(), testing::IsEmpty());
}

// Dependencies of other types than they should have: one application each, in one run.
TEST_F(BadManifestsTest, WithDependenciesOfOtherTypes) {
  struct Row {
    std::string members;
    Lines errors;
  };
  const std::string noTrigger = "Error: Missing trigger \n";
  const std::string noApi = "Error: Missing api \n";
  const std::string noPlatform = "Error: Platform 480x800C0T or model T30 not supported\n";
  const Row rows[] = {
      {R"("imports_sdk":7,"imports_trigger":7,"imports_api":"x","imports_hardware":[])", {}},
      {R"("exports_sdk":7,"exports_trigger":{},"exports_api":null)", {}},
      {R"("imports_trigger":{"id":"x"},"imports_api":[])", {}},
      {R"("imports_trigger":[7,null])", {noTrigger, noTrigger}},
      {R"("imports_api":[[],{"id":7},{"optional":"true"},{"optional":true}])",
       {noApi, noApi, noApi}},
      {R"("imports_hardware":{"platforms":7})", {noPlatform}},
      {R"("imports_hardware":{"platforms":["",7,["T30"]]})", {noPlatform}},
      {R"("imports_hardware":{"platforms":{"0":"T30"}})", {noPlatform}},
      {R"("imports_sdk":{"wzruntime_min_version":7,"triggers_min_version":null})", {}},
      {R"("imports_sdk":{"wzruntime_max_version":7})",
       {"Error: WZ runtime version 2.46.6 higher than \n"}},
      {R"("imports_sdk":{"wzruntime_min_version":"%n%s"})", {}},
      {R"("imports_sdk":{"wzruntime_min_version":"99999999999999999999"})",
       {"Error: WZ runtime version 2.46.6 less than 99999999999999999999\n"}},
      {R"("imports_trigger":[{"id":"%n%s"}])", {"Error: Missing trigger %n%s\n"}},
  };
  PackageBuilder package = withSigners();
  Lines expected = signerLines();
  const auto idOfRow = [](std::size_t i) { return std::string(1, static_cast<char>('a' + i)); };
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    const std::string id = idOfRow(i);
    package
        .inner(id + ".ZIP", ZipBuilder().file(id + ".MFT", R"({"application":{"id":"x"},)" +
                                                               rows[i].members + "}"))
        .signedBy(applicationSigner())
        .inner(id + "-O.ZIP", ZipBuilder().file(id + "/mpmanifest.mft", manifestFor(id)))
        .signedBy(manifestSigner());
    append(expected, extractedLines(id + "-O.ZIP"));
    append(expected, extractedLines(id + ".ZIP"));
  }
  const std::vector<BadPackage> packages = {{package.build(), expected}};
  const std::vector<std::string> order = dropInOrder(packages);

  EXPECT_EQ(install(), kInstallError);

  Lines rules = {"postinstall\n"};
  for (const std::string& id : extractedManifests) rules.push_back("Checking " + id + "\n");
  Lines readings = {"Checking dependencies\n"};
  Lines firstPass;
  Lines secondPass = {"Re-checking dependencies after removing apps\n"};
  for (const std::string& name : extractedApps) {
    if (!name.ends_with(".MFT")) continue;
    const std::string path = kApps + "/" + name;
    readings.push_back("Reading " + path + "\n");
    firstPass.push_back("Checking " + path + "\n");
    const bool isRow = name.size() == 5;
    const Row& row = rows[isRow ? name[0] - 'a' : 0];
    append(firstPass, row.errors);
    if (row.errors.empty()) {
      secondPass.push_back("Checking " + path + "\n");
    } else {
      firstPass.push_back("Removing app " + std::string(1, static_cast<char>(name[0] - 32)) + "\n");
    }
  }
  expectLog(
      logOf({beginLines(), packagesLines(order, packages), rules, readings, firstPass, secondPass,
             "Error: Installation of x failed\n", listedIds(listed(kManifests))}));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(terminal.exists(kApps + "/" + idOfRow(i) + ".MFT"), rows[i].errors.empty()) << i;
  }
}

}  // namespace
}  // namespace wzapp
