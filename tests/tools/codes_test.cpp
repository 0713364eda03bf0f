// The table of codes: that it is whole, that it knows every message and number of the library, and
// that what is built wrong gets exactly its code.

#include "tools/wz/words/codes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "crypto/der/der_search.h"
#include "crypto/der/oid.h"
#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"
#include "crypto/signature/package_signature.h"
#include "crypto/signature/signature_file.h"
#include "tests/builders/certificate_builder.h"
#include "tests/builders/der_builder.h"
#include "tests/builders/file_content.h"
#include "tests/builders/signature_file_builder.h"
#include "tools/wz/words/explain.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using wz::Code;
using wz::Layer;

std::vector<fs::path> sourcesBelow(const std::string& folder) {
  std::vector<fs::path> paths;
  for (const auto& entry : fs::recursive_directory_iterator(std::string(SOURCE_FOLDER) + folder)) {
    const std::string ending = entry.path().extension().string();
    if (ending == ".cpp" || ending == ".h") paths.push_back(entry.path());
  }
  return paths;
}

// ---- The table itself --------------------------------------------------------------------------

TEST(CodesTest, IdsAreWellFormedAndInOrder) {
  std::string last;
  for (const Code* const code : wz::allCodes()) {
    EXPECT_TRUE(std::regex_match(code->id, std::regex("WZ-[0-9]{4}"))) << code->id;
    EXPECT_LT(last, code->id);
    last = code->id;
  }
  EXPECT_GT(wz::allCodes().size(), 100U);
}

TEST(CodesTest, EveryRowSaysEverything) {
  for (const Code* const code : wz::allCodes()) {
    for (const std::string text : {code->title, code->rule, code->causes, code->repair}) {
      EXPECT_GT(text.size(), 4U) << code->id;
    }
    EXPECT_THAT(code->title, Not(testing::EndsWith("."))) << code->id;
    EXPECT_THAT(code->rule, testing::EndsWith(".")) << code->id;
    EXPECT_THAT(code->repair, testing::EndsWith(".")) << code->id;
    if (*code->behind != '\0') {
      EXPECT_NE(wz::findCode(code->behind), nullptr) << code->id;
    }
  }
}

TEST(CodesTest, NoTwoRowsHaveOneLineOrOneNumber) {
  std::set<std::string> lines;
  std::set<std::pair<Layer, int>> numbers;
  for (const Code* const code : wz::allCodes()) {
    if (*code->logLine != '\0') {
      EXPECT_TRUE(lines.insert(code->logLine).second) << code->id;
    }
    if (code->layer != Layer::kNone) {
      EXPECT_TRUE(numbers.insert({code->layer, code->number}).second) << code->id;
    }
  }
}

// A source without what stands behind "//".
std::string withoutComments(const fs::path& path) {
  std::string code;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) code += line.substr(0, line.find("//")) + "\n";
  return code;
}

// The codes that the tools' sources give are rows, each: "WZ-0301", or [WZ-0301] in a text.
TEST(CodesTest, EveryCodeInTheToolsIsARow) {
  constexpr std::size_t kLength = 7;
  std::set<std::string> used;
  for (const fs::path& path : sourcesBelow("/tools")) {
    if (path.filename().string().starts_with("codes")) continue;
    const std::string text = withoutComments(path);
    for (std::size_t at = text.find("WZ-"); at != std::string::npos;
         at = text.find("WZ-", at + 1)) {
      const std::string id = text.substr(at, kLength);
      const char before = at == 0 ? ' ' : text[at - 1];
      const char behind = at + kLength < text.size() ? text[at + kLength] : ' ';
      const bool isGiven = (before == '"' || before == '[') && (behind == '"' || behind == ']');
      if (isGiven && id.find_first_not_of("0123456789", 3) == std::string::npos) used.insert(id);
    }
  }
  EXPECT_GT(used.size(), 15U);
  for (const std::string& id : used) EXPECT_NE(wz::findCode(id), nullptr) << id;
  for (const Code* const code : wz::allCodes()) {
    const bool isOfTheLibrary = *code->logLine != '\0' || code->layer != Layer::kNone;
    EXPECT_TRUE(isOfTheLibrary || used.contains(code->id)) << code->id << " is never given";
  }
}

// A test provokes each. In the tables of tests an id stands as it is.
TEST(CodesTest, EveryCodeStandsInATest) {
  std::string tests;
  for (const fs::path& path : sourcesBelow("/tests/tools")) tests += contentOf(path);
  for (const Code* const code : wz::allCodes()) {
    EXPECT_NE(tests.find(code->id), std::string::npos) << code->id;
  }
}

// ---- Beside the library ------------------------------------------------------------------------

// Progress: what says neither that something is wrong nor that something goes.
const std::set<std::string> kProgress = {
    "Adding OS certificate SN=%s\\n",
    "Adding certificate %s\\n",
    "Checking %s\\n",
    "Checking dependencies\\n",
    "Extracting %s\\n",
    "Found %s\\n",
    "Install %s\\n",
    "Installing to %s\\n",
    "List of installed applications:\\n",
    "Overall result: %s\\n",
    "Re-checking dependencies after removing apps\\n",
    "Reading %s\\n",
    "%s\\n",
    "postinstall\\n",
};

// String literals that end in a line feed, those that stand one behind the other as one.
std::set<std::string> messagesIn(std::string text) {
  text = std::regex_replace(text, std::regex("\"\\s*\n\\s*\""), "");
  std::set<std::string> messages;
  const std::regex literal(R"re("((?:[^"\\\n]|\\.)*\\n)")re");
  for (auto i = std::sregex_iterator(text.begin(), text.end(), literal);
       i != std::sregex_iterator(); ++i) {
    messages.insert((*i)[1]);
  }
  return messages;
}

TEST(CodesTest, EveryMessageOfTheInstallerHasACode) {
  std::set<std::string> known = kProgress;
  for (const Code* const code : wz::allCodes()) {
    std::string line = code->logLine;
    if (line.ends_with('\n')) line.replace(line.size() - 1, 1, "\\n");
    known.insert(line);
  }
  std::size_t count = 0;
  for (const char* const folder : {"/src/installer", "/src/crypto", "/src/archive"}) {
    for (const fs::path& path : sourcesBelow(folder)) {
      for (const std::string& message : messagesIn(withoutComments(path))) {
        EXPECT_THAT(known, Contains(message)) << path;
        ++count;
      }
    }
  }
  EXPECT_GT(count, 40U);
}

TEST(CodesTest, EveryNegativeNumberOfTheLibraryHasACode) {
  const std::map<std::string, Layer> layers = {
      {"certificate_record.h", Layer::kCertificate},
      {"certificate_summary.h", Layer::kSummary},
      {"certificate_check.h", Layer::kCertificateCheck},
      {"signature_file.h", Layer::kSignatureFile},
      {"package_signature.h", Layer::kPackageSignature},
      {"rsa.h", Layer::kRsa},
      {"digest.h", Layer::kDigest},
      {"der_error.h", Layer::kDer},
  };
  // Of a buffer that the library itself makes; no file or terminal can cause it.
  const std::set<std::string> internal = {"kCertificateBufferTooSmall"};
  std::size_t count = 0;
  for (const fs::path& path : sourcesBelow("/src/crypto")) {
    if (path.extension() != ".h") continue;
    const std::string text = contentOf(path);
    const std::regex constant(R"((k[A-Z]\w*) = (-\d+))");
    for (auto i = std::sregex_iterator(text.begin(), text.end(), constant);
         i != std::sregex_iterator(); ++i) {
      if (internal.contains((*i)[1])) continue;
      const auto layer = layers.find(path.filename().string());
      ASSERT_NE(layer, layers.end()) << path << " has " << (*i)[1];
      EXPECT_NE(wz::findCode(layer->second, std::stoi((*i)[2])), nullptr) << (*i)[1];
      ++count;
    }
  }
  EXPECT_GT(count, 40U);
}

// ---- What is built wrong -----------------------------------------------------------------------

// Gives a code.
using Fixture = std::function<std::string()>;

Fixture number(Layer layer, std::function<int()> call) {
  return [layer, call] {
    const Code* const code = wz::findCode(layer, call());
    return std::string(code == nullptr ? "" : code->id);
  };
}

Fixture signatureFile(const SignatureFileBuilder& builder) {
  return number(Layer::kSignatureFile, [builder] {
    wzapp::SignatureInfo info;
    return wzapp::parseSignatureFile(builder.encoding(), info);
  });
}

Fixture rsa(std::size_t modulusSize, std::string digest) {
  return number(Layer::kRsa, [modulusSize, digest] {
    const Octets modulus(modulusSize, 0xC3), exponent{1, 0, 1}, signature(modulusSize, 0x11);
    wzapp::SignatureCheck check;
    check.data = signature;
    check.signature = signature;
    check.publicExponent = exponent;
    check.modulus = modulus;
    check.digestOid = digest;
    return wzapp::verify(check);
  });
}

const std::map<std::string, Fixture>& signatureFixtures() {
  static const std::map<std::string, Fixture> fixtures = {
      {"WZ-0320", signatureFile(SignatureFileBuilder().contentType(DerBuilder().oid("1.2.3")))},
      {"WZ-0321", signatureFile(SignatureFileBuilder().version(DerBuilder().integer(1)))},
      {"WZ-0322", signatureFile(SignatureFileBuilder().messageDigest(Octets(20)))},
      {"WZ-0323", signatureFile(SignatureFileBuilder().content(DerBuilder().sequence({})))},
      {"WZ-0324", signatureFile(SignatureFileBuilder().signedAttributes({}))},
      {"WZ-0325", signatureFile(SignatureFileBuilder().signatureAlgorithm(
                      algorithmIdentifier("1.2.840.113549.1.1.11")))},
      {"WZ-0326", signatureFile(SignatureFileBuilder().attributes(signatureAttribute(
                      "1.2.840.113549.1.9.3", DerBuilder().oid("1.2.840.113549.1.7.1"))))},
      {"WZ-0327", signatureFile(SignatureFileBuilder().otherAttributes({}))},
      {"WZ-0330", number(Layer::kPackageSignature,
                         [] {
                           const Octets digest(32);
                           return wzapp::verifyPackage(SignatureFileBuilder().encoding(), digest,
                                                       digest, {});
                         })},
      {"WZ-0331", number(Layer::kPackageSignature,
                         [] {
                           char hex[wzapp::kSignerKeyIdText];
                           return wzapp::readSignerKeyId({}, hex);
                         })},
      {"WZ-0332", number(Layer::kPackageSignature,
                         [] {
                           char hex[wzapp::kSignerKeyIdText];
                           return wzapp::readSignerKeyId(
                               SignatureFileBuilder().signerKeyId(Octets(50, 1)).encoding(), hex);
                         })},
      {"WZ-0334", rsa(512, "2.16.840.1.101.3.4.2.1")},
      {"WZ-0335", rsa(32, "2.16.840.1.101.3.4.2.1")},
  };
  return fixtures;
}

Fixture derWalk(const Octets& octets) {
  return number(Layer::kDer, [octets] {
    wzapp::DerWalker walker(octets);
    wzapp::DerElement element;
    int result = 0;
    while (result == 0) result = walker.next(element);
    return result;
  });
}

wzapp::DerElement elementOf(const Octets& octets) {
  wzapp::DerWalker walker(octets);
  wzapp::DerElement element;
  EXPECT_EQ(walker.first(element), 0);
  return element;
}

Fixture derSearch(wzapp::DerSearchKind kind) {
  return number(Layer::kDer, [kind] {
    const Octets octets = DerBuilder().null().octets();
    wzapp::DerWalker walker(octets);
    wzapp::DerElement found;
    const wzapp::DerQuery query{.kind = kind, .oid = "1.2.3"};
    return wzapp::derSearch(walker, query, wzapp::WalkMode::kRestart, found);
  });
}

Octets nested(int levels) {
  DerBuilder content = DerBuilder().null();
  for (int i = 0; i < levels; ++i) content = DerBuilder().sequence(content);
  return content.octets();
}

const std::map<std::string, Fixture>& derFixtures() {
  static const std::map<std::string, Fixture> fixtures = {
      {"WZ-0401", derWalk({})},
      {"WZ-0402", derWalk(fromHex("30 05 02"))},
      {"WZ-0403", derWalk(nested(30))},
      {"WZ-0404", derWalk(fromHex("04 80 00 00"))},
      {"WZ-0405", derSearch(wzapp::DerSearchKind::kByOid)},
      {"WZ-0406", number(Layer::kDer,
                         [] {
                           const Octets octets = fromHex("02 05 01 02 03 04 05");
                           std::int32_t value = 0;
                           return wzapp::readInteger(elementOf(octets), value);
                         })},
      {"WZ-0407", number(Layer::kDer,
                         [] {
                           const Octets octets = fromHex("01 02 01 02");
                           std::int32_t value = 0;
                           return wzapp::readBoolean(elementOf(octets), value);
                         })},
      {"WZ-0408", number(Layer::kDer,
                         [] {
                           char text[32];
                           return wzapp::oidToText(wzapp::DerElement(), text, sizeof(text));
                         })},
      {"WZ-0409", derSearch(static_cast<wzapp::DerSearchKind>(7))},
      {"WZ-0410", number(Layer::kDer,
                         [] {
                           char text[32];
                           const Octets octets{0x2A, 0x86};
                           return wzapp::oidToText(wzapp::ByteView(octets), text, sizeof(text));
                         })},
  };
  return fixtures;
}

void expectEach(const std::map<std::string, Fixture>& fixtures) {
  for (const auto& [id, fixture] : fixtures) EXPECT_EQ(fixture(), id);
}

TEST(CodesTest, ABrokenSignatureFileGetsItsCode) { expectEach(signatureFixtures()); }
TEST(CodesTest, BrokenDerGetsItsCode) { expectEach(derFixtures()); }

TEST(CodesTest, EveryNumberOfSignaturesAndDerHasAFixture) {
  // In codes_folder_test.cpp: no input can cause it.
  const std::string elsewhere = "WZ-0333";
  for (const Code* const code : wz::allCodes()) {
    const bool isOfThese = code->layer == Layer::kSignatureFile ||
                           code->layer == Layer::kPackageSignature || code->layer == Layer::kRsa ||
                           code->layer == Layer::kDer;
    if (!isOfThese || code->id == elsewhere) continue;
    EXPECT_TRUE(signatureFixtures().contains(code->id) || derFixtures().contains(code->id))
        << code->id;
  }
}

// ---- Explaining --------------------------------------------------------------------------------

std::vector<std::string> idsOf(const std::vector<const Code*>& codes) {
  std::vector<std::string> ids;
  for (const Code* const code : codes) ids.emplace_back(code->id);
  return ids;
}

TEST(ExplainTest, ACodeIsFoundInAnyWayOfWriting) {
  for (const char* const text : {"WZ-0304", "wz-0304", "WZ 304", "wz304", " 0304 ", "304"}) {
    EXPECT_THAT(idsOf(wz::findMeant(text)), ElementsAre("WZ-0304")) << text;
  }
}

TEST(ExplainTest, ANumberOfTheLibraryIsFoundInEveryLayer) {
  EXPECT_THAT(idsOf(wz::findMeant("-216")), ElementsAre("WZ-0321"));
  EXPECT_THAT(idsOf(wz::findMeant("-3")), ElementsAre("WZ-0230", "WZ-0240", "WZ-0330"));
  EXPECT_THAT(wz::findMeant("-9999"), IsEmpty());
}

// Every row finds itself by a line made of its own format.
TEST(ExplainTest, EveryLineOfTheLogIsFound) {
  for (const Code* const code : wz::allCodes()) {
    if (*code->logLine == '\0') continue;
    std::string line = std::regex_replace(code->logLine, std::regex("%s"), "SHOP.ZIP");
    line = std::regex_replace(line, std::regex("%d"), "-3");

    const wz::LogMatch match = wz::matchLogLine("Nov 22 02:00:00 till[77]: " + line + "\r\n");

    ASSERT_NE(match.code, nullptr) << line;
    EXPECT_STREQ(match.code->id, code->id) << line;
  }
}

TEST(ExplainTest, TheNumberInALineIsExplainedToo) {
  EXPECT_THAT(idsOf(wz::findMeant("Warning: Failed reading certificate 'a.crt': Error -5")),
              ElementsAre("WZ-0202", "WZ-0231"));
}

TEST(ExplainTest, ValuesAreTakenOutOfTheLine) {
  const wz::LogMatch match = wz::matchLogLine(
      "Error: Invalid sponsor list '1,2' for installing 'shop', expecting sponsor '123456'");

  EXPECT_THAT(match.values, ElementsAre("1,2", "installing", "shop", "123456"));
}

TEST(ExplainTest, OtherTextsAreNoLines) {
  for (const char* const line : {"", "Error:", "Found shop.zip", "Overall result: OK",
                                 "Warning: Failed to remove '/x' (errno=soon)"}) {
    EXPECT_EQ(wz::matchLogLine(line).code, nullptr) << line;
  }
}

TEST(ExplainTest, WordsFindTitlesFirst) {
  EXPECT_THAT(idsOf(wz::findMeant("byte order mark")), ElementsAre("WZ-0703"));
  EXPECT_THAT(wz::findMeant("xyzzy"), IsEmpty());
}

TEST(ExplainTest, AnExplanationKeepsToItsWidth) {
  for (const Code* const code : wz::allCodes()) {
    const std::vector<std::string> lines = wz::explanation(*code, 80);
    EXPECT_THAT(lines.front(), StartsWith(code->id));
    for (std::size_t i = 1; i < lines.size(); ++i) EXPECT_LE(lines[i].size(), 80U) << lines[i];
  }
}

}  // namespace
}  // namespace wzapp_test
