// Memory that runs out during a run: it ends with an error, and nothing stays locked, open or in
// the way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "platforminfo/platforminfo.h"
#include "zelsec/zelsec.h"

#include "archive/unzip.h"
#include "support/file_system.h"
#include "support/install_result.h"
#include "tests/builders/failing_memory.h"
#include "tests/crypto/authority_fixtures.h"
#include "tests/installer/install_scenario.h"
#include "wzapp/wzapp.h"

// The platform, such that it needs no memory: it knows nothing of its hardware,
extern "C" int platforminfo_get(int /*key*/, void* /*buffer*/, unsigned int /*size*/,
                                unsigned int* /*length*/) {
  return -1;
}

// and its security service has two roots and the sponsor 123456.
extern "C" int CMDiag(int operation, void* buffer, unsigned short* length) {
  static const wzapp_test::Octets sponsor =
      wzapp_test::fromHex("06000000 060504030201 06000000 0203200821C5 04000000 54657374");
  static const std::vector<const wzapp_test::Octets*> roots = {&wzapp_test::rootCertificate(0),
                                                               &wzapp_test::rootCertificate(1)};
  static std::size_t next = 0;
  constexpr int kEndOfList = -510;
  if (operation == 2 && next == roots.size()) {
    next = 0;
    return kEndOfList;
  }
  const wzapp_test::Octets& record = operation == 2 ? *roots[next++] : sponsor;
  std::copy(record.begin(), record.end(), static_cast<std::uint8_t*>(buffer));
  *length = static_cast<unsigned short>(record.size());
  return 0;
}

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using namespace wzapp_test;

constexpr int kShortageStep = 7;

// Needs no memory itself.
struct LastFormat {
  const char* format = nullptr;
  static void take(void* user, const char* format, ...) {
    static_cast<LastFormat*>(user)->format = format;
  }
};

std::ptrdiff_t openFiles() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

class InstallMemoryTest : public wzapp_test::InstallTest,
                          public testing::WithParamInterface<Shortage> {
 protected:
  // An application with data that the package has nothing to do with, and the library that it
  // needs.
  void installStaying() {
    terminal.writeFile("/home/usr2/www/library.mft", R"({"exports_api":[{"id":"print"}]})");
    terminal.writeFile(kApps + "/stays/index.html", "<p>stays");
    terminal.writeFile(kApps + "/stays.MFT",
                       R"({"application":{"id":"stays"},"imports_api":[{"id":"print"}]})");
    terminal.writeFile(kData + "/stays/data", "of stays");
    terminal.writeFile(kManifests + "/stays/mpmanifest.mft", manifestFor("stays"));
  }
  [[nodiscard]] bool isStayingThere() const {
    return read(kApps + "/stays/index.html") == "<p>stays" &&
           terminal.exists(kApps + "/stays.MFT") && read(kData + "/stays/data") == "of stays" &&
           terminal.exists(kManifests + "/stays/mpmanifest.mft");
  }
};

TEST_P(InstallMemoryTest, EndsTheRunWithAnError) {
  const std::string package = applicationPackage("shop").build();
  drop("shop.zip", package);
  ASSERT_EQ(install(), kInstallOk);  // what a process keeps is there from now on
  const int step = triesEveryPoint() ? 1 : kShortageStep;
  int points = 0;
  int withError = 0;
  for (int nth = 1;; nth += step) {
    fs::remove_all(kConfig);
    installStaying();
    drop("shop.zip", package);
    LastFormat last;
    const std::ptrdiff_t before = openFiles();

    failAllocation(nth, GetParam());
    const int result = wzInstall(LastFormat::take, &last);
    if (!endShortage()) break;
    ++points;

    ASSERT_TRUE(isStayingThere()) << nth;
    // An authority whose signature there is no memory to check is left out with a warning, and need
    // not be this package's.
    const bool isInstalled = read(kApps + "/shop/index.html") == "<p>shop";
    const bool isHarmless = result == kInstallOk || result == kInstallWarning;
    ASSERT_TRUE(result == kInstallError || (isHarmless && isInstalled)) << nth;
    withError += result == kInstallError ? 1 : 0;
    // Before the run there is no log.
    ASSERT_TRUE(last.format == nullptr || std::string_view(last.format) == "Overall result: %s\n")
        << nth;
    ASSERT_EQ(openFiles(), before) << nth;
    ASSERT_FALSE(terminal.exists(kTemporary)) << nth;

    // What was not judged is taken back, as far as there is memory for that.
    if (GetParam() == Shortage::kOnce) {
      ASSERT_TRUE(isInstalled || !terminal.exists(kApps + "/shop")) << nth;
    }

    drop("shop.zip", package);
    ASSERT_EQ(install(), kInstallOk) << nth;
    ASSERT_TRUE(isStayingThere()) << nth;
    ASSERT_EQ(read(kApps + "/shop/index.html"), "<p>shop") << nth;
  }
  std::cout << "[ POINTS   ] without memory at " << points << " points, " << withError
            << " of them with an error\n";
  EXPECT_GT(points * step, 150);
  EXPECT_GT(withError, points * 4 / 5);
}

// Every allocation of a run in which there is nothing to do.
TEST_P(InstallMemoryTest, CostsNoApplicationThatIsThere) {
  const int step = triesEveryPoint() ? 1 : 3;
  installStaying();
  ASSERT_EQ(install(), kInstallNoPackage);
  int points = 0;
  for (int nth = 1;; nth += step) {
    LastFormat last;

    failAllocation(nth, GetParam());
    const int result = wzInstall(LastFormat::take, &last);
    if (!endShortage()) break;
    ++points;

    ASSERT_TRUE(isStayingThere()) << nth;
    ASSERT_EQ(result, kInstallError) << nth;
  }
  std::cout << "[ POINTS   ] without memory at " << points << " points\n";
  EXPECT_GT(points * step, 75);
}

// --- How much a run takes ---------------------------------------------------------------------

struct GreedyCase {
  const char* name;
  std::string beginning;
  std::string element;  // again and again, up to the largest size of a manifest
  std::string end;

  [[nodiscard]] std::string manifest() const {
    std::string text = beginning;
    while (text.size() + element.size() + end.size() <= kMaxManifestSize) text += element;
    return text + end;
  }
  friend std::ostream& operator<<(std::ostream& out, const GreedyCase& row) {
    return out << row.name;
  }
};

// What any package may take, however it is made.
constexpr std::size_t kMostMemory = std::size_t{32} << 20;

class GreedyTest : public wzapp_test::InstallTest {
 protected:
  // Octets, the most that a run took at once.
  std::size_t runAndCount() {
    LastFormat last;
    countMemory();
    result_ = wzInstall(LastFormat::take, &last);
    const std::size_t memory = mostMemory();
    std::cout << "[ MEMORY   ] " << memory / 1024 << " KiB\n";
    return memory;
  }

  int result_ = kInstallNoPackage;
};

// A manifest as long as can be, with a sponsor list, whether or not the terminal's sponsor is on
// it, or with what takes the most memory for its octets.
class GreedyManifestTest : public GreedyTest, public testing::WithParamInterface<GreedyCase> {};

TEST_P(GreedyManifestTest, TakesLittleMemory) {
  const ZipBuilder archive = ZipBuilder().file("shop/mpmanifest.mft", GetParam().manifest());
  drop("shop.zip", withSigners().inner("SHOP-O.ZIP", archive).signedBy(manifestSigner()));

  const std::size_t memory = runAndCount();

  EXPECT_LT(memory, kMostMemory);
  EXPECT_GT(memory, kMaxManifestSize);
}

// Both archives that are open meanwhile have as many names as an archive can have.
class FullDirectoriesTest : public GreedyManifestTest {};

TEST_P(FullDirectoriesTest, TakeLittleMemory) {
  constexpr std::size_t kCost = 104;  // of a name of 23 octets, where a pointer has 8
  constexpr std::size_t kNames = UnZIP::kMaxIndexSize / kCost - 10;
  const auto emptyEntry = [](std::size_t number) {
    ZipEntry entry;
    entry.name = std::to_string(100000 + number) + std::string(16, 'n') + "/";
    entry.isDeflated = false;
    return entry;
  };
  ZipBuilder archive = ZipBuilder().file("shop/mpmanifest.mft", GetParam().manifest());
  for (std::size_t i = 0; i < kNames; ++i) archive.entry(emptyEntry(i));
  PackageBuilder package = withSigners();
  package.inner("SHOP-O.ZIP", archive).signedBy(manifestSigner());
  for (std::size_t i = 0; i < kNames; ++i) package.entry(emptyEntry(i));
  drop("shop.zip", package);

  const std::size_t memory = runAndCount();

  EXPECT_LT(memory, kMostMemory);
  EXPECT_GT(memory, 2 * UnZIP::kMaxIndexSize - (std::size_t{1} << 20) + kMaxManifestSize);
}

// Applications of one package, whose manifests name as many features as they can: all that they
// name is in memory at once.
struct Naming {
  const char* name;
  const char* list;
  std::string (*element)(int number);
  int result;
  friend std::ostream& operator<<(std::ostream& out, const Naming& row) { return out << row.name; }
};

class GreedyApplicationsTest : public GreedyTest, public testing::WithParamInterface<Naming> {};

TEST_P(GreedyApplicationsTest, TakeLittleMemory) {
  constexpr int kApplications = 8;
  const std::string end = "]}";
  PackageBuilder package = withSigners();
  int number = 0;
  for (int i = 0; i < kApplications; ++i) {
    const std::string id = "shop" + std::to_string(i);
    std::string manifest =
        R"({"application":{"id":")" + id + R"("},")" + GetParam().list + R"(":[)";
    std::string element = GetParam().element(number++);
    while (manifest.size() + element.size() + end.size() <= kMaxManifestSize) {
      manifest += element;
      element = "," + GetParam().element(number++);
    }
    package
        .inner("SHOP" + std::to_string(i) + ".ZIP", ZipBuilder().file(id + ".MFT", manifest + end))
        .signedBy(applicationSigner())
        .inner("SHOP" + std::to_string(i) + "-O.ZIP", manifestArchive(id))
        .signedBy(manifestSigner());
  }
  drop("shop.zip", package);

  const std::size_t memory = runAndCount();

  EXPECT_EQ(result_, GetParam().result);
  EXPECT_LT(memory, kMostMemory);
  EXPECT_GT(memory, 4 * kMaxManifestSize);
}

std::string namedElement(int number) {
  std::ostringstream element;
  element << R"({"id":")" << std::hex << number << R"("})";
  return element.str();
}
std::string namelessElement(int /*number*/) { return "0"; }

INSTANTIATE_TEST_SUITE_P(
    Manifests, GreedyApplicationsTest,
    testing::Values(Naming{"ExportedNames", "exports_api", namedElement, kInstallOk},
                    Naming{"ImportedNames", "imports_api", namedElement, kInstallError},
                    Naming{"ExportedNumbers", "exports_trigger", namelessElement, kInstallOk},
                    Naming{"ImportedNumbers", "imports_trigger", namelessElement, kInstallError}),
    [](const auto& row) { return std::string(row.param.name); });

const std::string kRefused = R"({"application":{"id":"shop"},"sponsors":["")";
const std::string kAccepted = R"({"application":{"id":"shop"},"sponsors":["123456")";
// Elements one in the other, as deep as a text may have them.
const std::string kDeepArrays = "," + std::string(500, '[') + std::string(500, ']');
const std::string kDeepObjects = [] {
  std::string text = ",";
  for (int i = 0; i < 500; ++i) text += R"({"":)";
  return text + "0" + std::string(500, '}');
}();
// With as few members as the workstation finds by an index, under the shortest names.
const std::string kIndexedObject = [] {
  std::vector<std::string> names;
  for (char letter = '#'; letter <= '~'; ++letter) {
    if (letter != '\\') names.emplace_back(1, letter);
  }
  for (int i = 0; names.size() < 128; ++i) {
    names.push_back({'\xC3', static_cast<char>(0x80 + i)});
  }
  std::string text = ",{";
  for (const std::string& name : names) text.append("\"").append(name).append("\":0,");
  text.back() = '}';
  return text;
}();

const std::string kPieces = "[install]\nappid=shop\nsponsor=";

const auto nameOfCase = [](const testing::TestParamInfo<GreedyCase>& row) {
  return std::string(row.param.name);
};

INSTANTIATE_TEST_SUITE_P(Manifests, GreedyManifestTest,
                         testing::Values(GreedyCase{"RefusedTexts", kRefused, R"(,"")", "]}"},
                                         GreedyCase{"RefusedNumbers", kRefused, ",1", "]}"},
                                         GreedyCase{"RefusedArrays", kRefused, ",[]", "]}"},
                                         GreedyCase{"RefusedObjects", kRefused, ",{}", "]}"},
                                         GreedyCase{"Ones", kRefused, ",[0]", "]}"},
                                         GreedyCase{"Pairs", kRefused, ",[0,0]", "]}"},
                                         GreedyCase{"Nested", kRefused, ",[[]]", "]}"},
                                         GreedyCase{"NestedTwice", kRefused, ",[[[]]]", "]}"},
                                         GreedyCase{"Members", kRefused, R"(,{"":0})", "]}"},
                                         GreedyCase{"Objects", kRefused, R"(,{"":{}})", "]}"},
                                         GreedyCase{"Letters", kRefused, R"(,"a")", "]}"},
                                         GreedyCase{"DeepArrays", kRefused, kDeepArrays, "]}"},
                                         GreedyCase{"DeepObjects", kRefused, kDeepObjects, "]}"},
                                         GreedyCase{"Indexed", kRefused, kIndexedObject, "]}"},
                                         GreedyCase{"RefusedPieces", kPieces, ",", "\n"},
                                         GreedyCase{"Texts", kAccepted, R"(,"")", "]}"},
                                         GreedyCase{"Numbers", kAccepted, ",1", "]}"},
                                         GreedyCase{"Pieces", kPieces + "123456", ",", "\n"}),
                         nameOfCase);

// The manifests that take most.
INSTANTIATE_TEST_SUITE_P(Manifests, FullDirectoriesTest,
                         testing::Values(GreedyCase{"Numbers", kRefused, ",1", "]}"},
                                         GreedyCase{"DeepArrays", kRefused, kDeepArrays, "]}"},
                                         GreedyCase{"Indexed", kRefused, kIndexedObject, "]}"}),
                         nameOfCase);

INSTANTIATE_TEST_SUITE_P(Shortages, InstallMemoryTest,
                         testing::Values(Shortage::kOnce, Shortage::kForGood));

}  // namespace
}  // namespace wzapp
