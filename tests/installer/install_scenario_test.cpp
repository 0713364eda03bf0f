// Random runs: what the installer reports, returns and leaves behind is compared with a small model
// of it. WZAPP_SCENARIO=<seed> repeats one scenario alone.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "support/install_log.h"
#include "tests/builders/child_process.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/crypto/random_cases.h"
#include "tests/installer/rules_fixture.h"
#include "tests/installer/scenario_maker.h"
#include "tests/installer/scenario_model.h"
#include "tests/installer/scenario_signers.h"
#include "wzapp/wzapp.h"

// The runs are compared with the tree as this machine shows it, and a real synchronisation would
// wait for whatever else its disk is busy with.
extern "C" int __wrap_syncfs(int /*descriptor*/) { return 0; }

namespace wzapp_test::scenario {
namespace {

namespace fs = std::filesystem;

const std::string kSource = "/mnt/flash/system/wz";
constexpr std::size_t kUsualScenarios = 200;

// --- Terminals --------------------------------------------------------------------------------

// Sponsor and hardware are found out once a process, and so each of these has its own.
struct Terminal {
  const char* name;
  const char* sponsor;
  const char* model;
  int width;
  int height;
  const char* descriptor;
  bool hasSecondRoot;
};

// None is without a sponsor: where the security service has no record to show, nobody is judged.
const std::vector<Terminal> kTerminals = {
    {"WithASponsor", "123456", "T30", 480, 800, "480x800C0T", true},
    {"WithAnotherSponsor", "654321", "N255k", 856, 480, "854x480C15T", false},
};

workstation::TerminalProfile profileOf(const Terminal& row) {
  workstation::TerminalProfile profile = testProfile();
  profile.sponsorId = row.sponsor;
  if (profile.sponsorId.empty()) profile.sponsorText.clear();
  profile.model = row.model;
  profile.displayWidth = row.width;
  profile.displayHeight = row.height;
  profile.rootsDirectory = "roots";
  return profile;
}

TerminalFacts factsOf(const Terminal& row) {
  TerminalFacts facts;
  facts.sponsor = row.sponsor;
  facts.descriptor = row.descriptor;
  facts.model = row.model;
  addAuthorities(facts, row.hasSecondRoot);
  return facts;
}

// --- The real tree ----------------------------------------------------------------------------

std::vector<std::string> otherManifestFolders() {
  std::vector<std::string> folders;
  for (const char* kind : {"usr", "sys"}) {
    for (int i = 1; i <= 16; ++i) folders.push_back("/home/" + (kind + std::to_string(i)) + "/www");
  }
  return folders;
}

Node nodeOf(const fs::path& path) {
  switch (fs::symlink_status(path).type()) {
    case fs::file_type::directory:
      return {NodeKind::kFolder, ""};
    case fs::file_type::regular: {
      std::ifstream file(path, std::ios::binary);
      return {NodeKind::kFile, std::string(std::istreambuf_iterator<char>(file), {})};
    }
    default:
      return {NodeKind::kOther, ""};
  }
}

Tree readTree() {
  std::vector<std::string> folders = otherManifestFolders();
  folders.insert(folders.end(), {kConfig, kSource});
  Tree tree;
  for (const std::string& folder : folders) {
    if (!fs::exists(folder)) continue;
    tree[folder] = nodeOf(folder);
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      tree[entry.path().string()] = nodeOf(entry.path());
    }
  }
  return tree;
}

// What a run may change: below its roots, and the folder of packages.
Tree changeable(const Tree& tree) {
  Tree result;
  for (const auto& [path, node] : tree) {
    if (path.starts_with(kConfig + "/") || path.starts_with(kSource)) result[path] = node;
  }
  return result;
}

std::string differences(const Tree& expected, const Tree& actual) {
  std::string text;
  for (const auto& [path, node] : expected) {
    const auto found = actual.find(path);
    if (found == actual.end()) text += "  missing: " + path + "\n";
    if (found != actual.end() && !(found->second == node)) text += "  differs: " + path + "\n";
  }
  for (const auto& [path, node] : actual) {
    if (!expected.contains(path)) text += "  unexpected: " + path + "\n";
  }
  return text;
}

// --- Runs -------------------------------------------------------------------------------------

// Keeps what a run reports, and the orders of the roots when nothing is added to them any more.
struct Recorder {
  Lines lines;
  Orders orders;
};

void record(void* user, const char* format, ...) {
  Recorder& recorder = *static_cast<Recorder*>(user);
  char line[4096];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  recorder.lines.emplace_back(line);
  if (recorder.lines.back() != "postinstall\n") return;
  for (const std::string& folder : {kApps, kManifests}) recorder.orders[folder] = listed(folder);
}

std::string firstDifference(const Lines& expected, const Lines& actual) {
  std::size_t at = 0;
  while (at < expected.size() && at < actual.size() && expected[at] == actual[at]) ++at;
  std::string text = "  the same:\n";
  for (std::size_t i = 0; i < at; ++i) text += "    " + expected[i];
  text += "  the model goes on:\n";
  for (std::size_t i = at; i < expected.size(); ++i) text += "    " + expected[i];
  text += "  the installer goes on:\n";
  for (std::size_t i = at; i < actual.size(); ++i) text += "    " + actual[i];
  return text;
}

// --- Scenarios --------------------------------------------------------------------------------

class Scenario {
 public:
  Scenario(unsigned seed, const TerminalFacts& facts, TestTerminal& terminal)
      : random_(seed), facts_(facts), terminal_(terminal), maker_(random_, facts) {}

  // False with a failure when the library and the model differ. Adds what was seen.
  bool play(std::set<int>& results, std::set<std::string>& shapes) {
    prepare();
    const std::size_t runs = 1 + random_.below(3);
    for (std::size_t run = 1; run <= runs; ++run) {
      maker_.tell("run " + std::to_string(run) + "\n");
      disturb();
      drop();
      description_ += maker_.takeDescription();
      if (!compareOneRun(results, shapes)) return false;
    }
    return true;
  }

 private:
  void write(const std::string& path, const std::string& content) {
    maker_.tell("  " + path + ": " + content + "\n");
    // What an earlier disturbance has left there may be of another kind.
    if (fs::exists(fs::path(path).parent_path()) && !fs::is_directory(fs::path(path).parent_path()))
      return;
    if (fs::is_directory(path)) return;
    terminal_.writeFile(path, content);
  }

  void prepare() {
    fs::remove_all(kConfig);
    fs::remove_all(kSource);
    for (const std::string& folder : otherManifestFolders()) fs::remove_all(folder);
    maker_.tell("at first\n");
    fs::create_directories(kSource);
    while (random_.oneIn(2)) {
      const std::vector<std::string> folders = otherManifestFolders();
      write(folders[random_.below(folders.size())] + "/sdk" + std::to_string(random_.below(3)) +
                ".mft",
            maker_.exportManifest());
    }
    while (random_.oneIn(2)) {
      const std::string id = maker_.appId();
      write(kApps + "/" + id + "/index.html", "<p>before");
      write(kApps + "/" + id + ".MFT", maker_.applicationManifest(id));
      if (!random_.oneIn(4)) {
        write(kManifests + "/" + id + "/mpmanifest.mft", maker_.marketplaceManifest(id));
      }
      if (random_.oneIn(2)) write(kData + "/" + id + "/data", "<p>kept");
    }
  }

  // What others do between two runs.
  void disturb() {
    if (random_.oneIn(4)) write(kData + "/" + maker_.appId() + "/data", "<p>new");
    if (random_.oneIn(12)) write(kManifests + "/stray.txt", "<p>stray");
    if (random_.oneIn(12)) write(kApps + "/stray.txt", "<p>stray");
    if (random_.oneIn(20)) fs::remove_all(lost("no manifest root", kManifests));
    if (random_.oneIn(40)) {
      fs::remove_all(kManifests);
      write(kManifests, "<p>a file instead of the manifest root");
    }
    if (random_.oneIn(60)) {
      fs::remove_all(kApps);
      write(kApps, "<p>a file instead of the application root");
    }
    if (random_.oneIn(40)) fs::remove_all(lost("no source directory", kSource));
  }

  const std::string& lost(const std::string& what, const std::string& path) {
    maker_.tell("  " + what + "\n");
    return path;
  }

  void drop() {
    if (!fs::exists(kSource)) return;
    for (std::size_t i = random_.below(4); i > 0; --i) {
      const std::string path = kSource + "/" + maker_.packageFileName();
      if (fs::exists(path)) continue;
      maker_.tell("  package file " + path + "\n");
      terminal_.writeFile(path, maker_.packageFile());
    }
    if (random_.oneIn(20)) write(kSource + "/installer.tmp", "<p>left behind");
    if (random_.oneIn(25)) dropFolder(kSource + "/folder.zip", false);
    if (random_.oneIn(25)) dropFolder(kSource + "/full.zip", true);
    const std::string pipe = kSource + "/pipe.zip";
    if (random_.oneIn(25) && mkfifo(pipe.c_str(), 0666) == 0) maker_.tell("  pipe " + pipe + "\n");
  }

  void dropFolder(const std::string& path, bool isFull) {
    maker_.tell("  folder " + path + "\n");
    fs::create_directory(path);
    if (isFull) write(path + "/file", "<p>inside");
  }

  bool compareOneRun(std::set<int>& results, std::set<std::string>& shapes) {
    Tree expected = readTree();
    Recorder recorder;
    for (const std::string& folder : otherManifestFolders()) {
      recorder.orders[folder] = listed(folder);
    }
    recorder.orders[kSource] = listed(kSource);

    const int result = wzapp::wzInstall(record, &recorder);

    wzapp::setInstallLog(nullptr, nullptr);
    const Tree actual = readTree();
    Model model(facts_, maker_.facts(), expected, recorder.orders);
    const int expectedResult = model.run();
    results.insert(result);
    for (const std::string& line : recorder.lines) shapes.insert(shapeOf(line));
    if (recorder.lines == model.lines() && result == expectedResult &&
        changeable(actual) == changeable(expected)) {
      return true;
    }
    ADD_FAILURE() << description_ << "result " << result << ", in the model " << expectedResult
                  << "\n"
                  << firstDifference(model.lines(), recorder.lines)
                  << differences(changeable(expected), changeable(actual));
    return false;
  }

  // A message without what it quotes.
  static std::string shapeOf(const std::string& line) {
    std::string shape;
    bool isInside = false;
    for (const char c : line) {
      if (c == '\'') isInside = !isInside;
      if (!isInside && c != '\'') shape += c;
    }
    return shape;
  }

  RandomCases random_;
  const TerminalFacts& facts_;
  TestTerminal& terminal_;
  Maker maker_;
  std::string description_;
};

// --- The test ---------------------------------------------------------------------------------

class InstallScenarioTest : public testing::TestWithParam<std::size_t> {
 protected:
  InstallScenarioTest() : terminal(profileOf(kTerminals[GetParam()])) {
    for (std::size_t root = 0; root < (kTerminals[GetParam()].hasSecondRoot ? 2U : 1U); ++root) {
      const Octets& der = rootCertificate(root);
      terminal.writeFile("roots/" + std::to_string(root) + ".der",
                         std::string(der.begin(), der.end()));
    }
    knownCertificates();  // made before the process forks
    authorityCertificate(0);
  }

  // Without these among them, the scenarios would be too dull.
  static void expectVariety(const std::set<int>& results, const std::set<std::string>& shapes) {
    EXPECT_EQ(results, (std::set<int>{0, 1, 2, 3}));
    for (const char* shape :
         {"Error: Failed reading \n", "Error: Failed to extract \n",
          "Error: Failed to extract  -> \n", "Error: Signature  not found\n",
          "Error: Signature  using unknown certificate\n", "Error: Invalid signature\n",
          "Error: File  not signed using manifest certificate\n",
          "Error: File  not signed using application certificate\n",
          "Warning: Failed adding certificate : CA not found\n",
          "Warning: Failed adding certificate : Validation failed\n",
          "Warning: Failed adding certificate : Expired\n",
          "Warning: Failed adding certificate : Invalid file type\n",
          "Error: Cannot read , invalid permissions or invalid format\n", "Error: Installation of ",
          "Re-checking dependencies after removing apps\n", "Error: Missing trigger ",
          "Mismatching directory name "}) {
      const auto found = shapes.lower_bound(shape);
      EXPECT_TRUE(found != shapes.end() && found->starts_with(shape)) << shape;
    }
  }

  TestTerminal terminal;
};

TEST_P(InstallScenarioTest, FaresAsInTheModel) {
  const char* const only = std::getenv("WZAPP_SCENARIO");
  const std::size_t variant = GetParam();
  const TerminalFacts facts = factsOf(kTerminals[variant]);
  runInChild([&] {
    std::set<int> results;
    std::set<std::string> shapes;
    const auto play = [&](std::size_t seed) {
      SCOPED_TRACE("WZAPP_SCENARIO=" + std::to_string(seed));
      return Scenario(static_cast<unsigned>(seed), facts, terminal).play(results, shapes);
    };
    if (only != nullptr) {
      const std::size_t seed = std::strtoul(only, nullptr, 10);
      if (seed % kTerminals.size() == variant) play(seed);
      return;
    }
    const std::size_t count = randomCaseCount(kUsualScenarios) / kTerminals.size() + 1;
    for (std::size_t i = 0; i < count; ++i) {
      if (!play(i * kTerminals.size() + variant)) return;
    }
    expectVariety(results, shapes);
  });
}

INSTANTIATE_TEST_SUITE_P(Terminals, InstallScenarioTest,
                         testing::Range(std::size_t{0}, kTerminals.size()),
                         [](const testing::TestParamInfo<std::size_t>& row) {
                           return std::string(kTerminals[row.param].name);
                         });

}  // namespace
}  // namespace wzapp_test::scenario
