// Two verifiers, one verdict: what the library does with changed packages, and what the verifier,
// which shares no code with it, says of them.
//
// WZAPP_AGREE_COUNT packages are made from WZAPP_AGREE_SEED on, one a number; those over which the
// two differ are kept in WZAPP_AGREE_FOLDER.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "tests/agree/library_verdict.h"
#include "tests/agree/package_maker.h"
#include "tests/agree/trusted_keys.h"
#include "tests/builders/test_terminal.h"

namespace wzapp_test {
namespace {

constexpr const char* kOwnExports =
    R"({"exports_sdk":{"triggers_version":"3.2"},"exports_trigger":[{"id":"known"}],)"
    R"("exports_api":[{"id":"known"}]})";
constexpr std::size_t kUsualCount = 100;
constexpr std::size_t kVariety = 200;
constexpr std::size_t kMostShown = 25;

std::size_t numberFrom(const char* variable, std::size_t otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr ? otherwise : std::strtoul(text, nullptr, 10);
}

verifier::Terminal terminalFacts() {
  verifier::Terminal terminal;
  for (std::size_t row = 0; row < kRowKinds.size(); ++row) {
    terminal.authorities.push_back({kRowKinds[row], textOf(rowCertificate(row))});
  }
  terminal.roots = {textOf(rootCertificate())};
  terminal.sponsor = "123456";
  terminal.hardware = "480x800C0T";
  terminal.model = "T30";
  terminal.exports = {kOwnExports};
  return terminal;
}

// ---- Differences ----------------------------------------------------------------------------

struct Difference {
  std::set<std::string> lines;  // with the names
  std::set<std::string> codes;  // "library WZ-0101", without

  [[nodiscard]] std::string shape() const {
    std::string text;
    for (const std::string& code : codes) text += (text.empty() ? "" : ", ") + code;
    return text;
  }
};

std::string lineOf(const verifier::Finding& finding) {
  std::string line = finding.code;
  for (const std::string& name : finding.names) line += " '" + name + "'";
  return line;
}
std::string lineOf(const std::string& text) { return "'" + text + "'"; }
std::string codeOf(const verifier::Finding& finding) { return finding.code; }
std::string codeOf(const std::string& /*text*/) { return ""; }

template <typename Item>
void compare(const std::string& what, const std::multiset<Item>& library,
             const std::multiset<Item>& verifier, Difference& difference) {
  const auto tellMissing = [&](const char* who, const auto& has, const auto& lacks) {
    for (const Item& item : has) {
      if (has.count(item) <= lacks.count(item)) continue;
      difference.lines.insert(who + (" " + what) + lineOf(item));
      difference.codes.insert(who + (" " + what) + codeOf(item));
    }
  };
  tellMissing("library", library, verifier);
  tellMissing("verifier", verifier, library);
}

// Causes that the library tells too: of certificates, and of signature files that do not parse.
bool isComparable(const verifier::Finding& cause) {
  return (cause.code >= "WZ-0210" && cause.code <= "WZ-0232") ||
         (cause.code >= "WZ-0320" && cause.code <= "WZ-0332");
}

Difference differenceOf(const verifier::Verdict& library, const verifier::Verdict& verifier) {
  Difference difference;
  std::multiset<verifier::Finding> causes;
  for (const verifier::Finding& cause : verifier.causes) {
    if (isComparable(cause)) causes.insert(cause);
  }
  compare("", library.findings, verifier.findings, difference);
  compare("cause ", library.causes, causes, difference);
  compare("takes ", library.taken, verifier.taken, difference);
  compare("keeps ", library.stays, verifier.stays, difference);
  if (library.result != verifier.result) {
    difference.lines.insert("result " + std::to_string(library.result) + ", of the verifier " +
                            std::to_string(verifier.result));
    difference.codes.insert("result");
  }
  return difference;
}

// ---- Those that are known -------------------------------------------------------------------

struct KnownDifference {
  std::string name;
  std::uint64_t seed = 0;  // of a package that shows it
  std::regex shape;
  std::string reason;
};

std::vector<KnownDifference> readKnown(const std::string& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file.is_open()) << path;
  std::vector<KnownDifference> all;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string key, rest;
    words >> key;
    std::getline(words >> std::ws, rest);
    if (key == "difference") all.push_back({rest, 0, {}, ""});
    if (key.empty() || key[0] == '#' || all.empty()) continue;
    if (key == "seed") all.back().seed = std::stoull(rest);
    if (key == "shape") all.back().shape = std::regex(rest);
    if (key == "reason") all.back().reason = rest;
  }
  return all;
}

class AgreeTest : public testing::Test {
 protected:
  AgreeTest() : terminal_(profile()), facts_(terminalFacts()) {
    terminal_.writeFile("roots/0.der", textOf(rootCertificate()));
    terminal_.writeFile("/home/sys1/www/sdk.mft", kOwnExports);
  }

  Difference differenceAt(std::uint64_t seed, std::string& octets) {
    octets = makePackage(seed).octets;
    return differenceOf(libraryVerdict(octets), verifier::judge(octets, kPackagePath, facts_));
  }

  std::vector<KnownDifference> known_ = readKnown(WZAPP_AGREE_KNOWN);

 private:
  static workstation::TerminalProfile profile() {
    workstation::TerminalProfile profile = testProfile();
    profile.rootsDirectory = "roots";
    return profile;
  }

  TestTerminal terminal_;
  verifier::Terminal facts_;
};

const KnownDifference* find(const std::vector<KnownDifference>& known, const std::string& shape) {
  for (const KnownDifference& difference : known) {
    if (std::regex_match(shape, difference.shape)) return &difference;
  }
  return nullptr;
}

std::string joined(const std::set<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += "  " + line + "\n";
  return text;
}

void keep(std::uint64_t seed, const std::string& octets, const std::string& text) {
  const char* const folder = std::getenv("WZAPP_AGREE_FOLDER");
  if (folder == nullptr) return;
  const std::filesystem::path path(folder);
  std::filesystem::create_directories(path);
  std::ofstream(path / (std::to_string(seed) + ".zip"), std::ios::binary) << octets;
  std::ofstream(path / (std::to_string(seed) + ".txt")) << text;
}

TEST_F(AgreeTest, OnPackagesThatAreChangedAtEveryLevel) {
  const std::uint64_t first = numberFrom("WZAPP_AGREE_SEED", 1);
  const std::size_t count = numberFrom("WZAPP_AGREE_COUNT", kUsualCount);
  std::map<std::string, std::size_t> shapes;  // of those that are not known
  std::map<std::string, std::size_t> known;
  for (std::uint64_t seed = first; seed < first + count; ++seed) {
    std::string octets;
    const Difference difference = differenceAt(seed, octets);
    if (difference.codes.empty()) continue;
    const std::string shape = difference.shape();
    if (const KnownDifference* const found = find(known_, shape)) {
      ++known[found->name];
      continue;
    }
    const std::string text = "seed " + std::to_string(seed) +
                             ", changed: " + makePackage(seed).changes + "\n" +
                             joined(difference.lines);
    keep(seed, octets, text);
    if (++shapes[shape] == 1 && shapes.size() <= kMostShown) ADD_FAILURE() << text;
  }
  std::size_t differences = 0;
  for (const auto& [shape, times] : shapes) {
    differences += times;
    std::printf("%6zu  %s\n", times, shape.c_str());
  }
  for (const auto& [name, times] : known) std::printf("%6zu  known: %s\n", times, name.c_str());
  std::printf("%zu packages, %zu differences that are not known\n", count, differences);
}

// One that no longer occurs is to leave the list.
TEST_F(AgreeTest, KnownDifferencesStillOccur) {
  for (const KnownDifference& difference : known_) {
    SCOPED_TRACE(difference.name);
    std::string octets;
    const std::string shape = differenceAt(difference.seed, octets).shape();
    EXPECT_TRUE(std::regex_match(shape, difference.shape)) << "now: " << shape;
    EXPECT_FALSE(difference.reason.empty());
  }
}

// Over these the two once differed: a packed stream without an octet, one that ends before its
// stated size, and elements that run past what holds them, in a subject, an extension, a version,
// the algorithm of a key and that of a digest; a folder in the place of a manifest, an attribute
// that runs past the signed ones, a signature's algorithm without an identifier, a method of
// packing that cannot be unpacked, a byte order mark in front of a manifest, an octet behind the
// value of an extension, a folder of which no file can be unpacked, a signer's issuer that cannot
// be walked through, the identifier of a key's algorithm with parts of its own, and a file that is
// cut off inside the end of its directory.
TEST_F(AgreeTest, OnPackagesThatOnceWereJudgedDifferently) {
  for (const std::uint64_t seed :
       {1U,       34U,      80U,      114U,      162U,      171U,      204U,     213U,
        232U,     288U,     298U,     608U,      1539U,     50306U,    50423U,   50515U,
        50655U,   500355U,  500379U,  2000014U,  2000089U,  2020109U,  2020312U, 4000332U,
        4003205U, 4003207U, 4003209U, 20000300U, 20050378U, 20051280U, 20053016U}) {
    std::string octets;
    const Difference difference = differenceAt(seed, octets);
    EXPECT_TRUE(difference.codes.empty()) << "seed " << seed << "\n" << joined(difference.lines);
  }
}

// Without these among them the packages would be too dull.
TEST_F(AgreeTest, PackagesReachTheCodes) {
  std::set<std::string> codes;
  std::set<int> results;
  for (std::uint64_t seed = 1; seed <= kVariety; ++seed) {
    const std::string octets = makePackage(seed).octets;
    const verifier::Verdict verdict = verifier::judge(octets, kPackagePath, terminalFacts());
    for (const verifier::Finding& finding : verdict.findings) codes.insert(finding.code);
    results.insert(verdict.result);
  }
  EXPECT_EQ(results, (std::set<int>{0, 2, 3}));
  EXPECT_THAT(codes, testing::IsSupersetOf({"WZ-0101", "WZ-0102", "WZ-0103", "WZ-0202", "WZ-0205",
                                            "WZ-0301", "WZ-0302", "WZ-0305", "WZ-0501", "WZ-0503",
                                            "WZ-0507", "WZ-0519"}));
}

}  // namespace
}  // namespace wzapp_test
