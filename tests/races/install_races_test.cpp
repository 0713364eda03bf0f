// A thousand runs beside an attacker who exchanges files all the time. Whatever comes of a run: no
// octet that was not verified is installed, and nothing outside of the roots is touched.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <set>
#include <string>

#include "support/install_result.h"
#include "tests/installer/install_fixture.h"
#include "tests/races/attacker.h"

// Nobody cuts the power here, and a thousand runs would wait for the machine's disk.
extern "C" int __wrap_syncfs(int) { return 0; }

namespace wzapp {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using namespace wzapp_test;

constexpr int kRuns = 1000;
const std::string kPackage = kSource + "/shop.zip";
const std::string kOutside = "/mnt/flash/outside";
const std::string kShop = kApps + "/shop";
const std::string kTool = kApps + "/tool";

// Larger than what is read at once, so that there is a middle in which to strike.
const std::string& goodPage() {
  static const std::string page = "good" + noise(200000);
  return page;
}

// As long as the honest one, with other octets in the middle of it only.
const std::string& evilPage() {
  static const std::string page = [] {
    std::string text = goodPage();
    for (std::size_t at = 1000; at < text.size() - 1000; at += 500) text.replace(at, 4, "evil");
    return text;
  }();
  return page;
}

std::string shopArchive(const std::string& page) {
  return ZipBuilder()
      .stored("shop/index.html", page)
      .stored("shop/pages/second.html", page)
      .stored("shop.MFT", manifestFor("shop"))
      .build();
}

// A package file with the honest signatures, whatever its page. Two of them have the same size and
// differ in the page and its checksums alone.
std::string packageWith(const std::string& page) {
  const std::string signature = signatureOf(shopArchive(goodPage()), applicationSigner());
  const std::string manifest = manifestArchive("shop").build();
  const auto text = [](const Octets& octets) { return std::string(octets.begin(), octets.end()); };
  return ZipBuilder()
      .stored("a.crt", text(applicationSigner().certificate))
      .stored("m.crt", text(manifestSigner().certificate))
      .stored("SHOP-O.P7S", signatureOf(manifest, manifestSigner()))
      .stored("SHOP-O.ZIP", manifest)
      .stored("SHOP.P7S", signature)
      .stored("SHOP.ZIP", shopArchive(page))
      .build();
}

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

void put(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

// Whether a path can be worked on without leaving the roots. Nobody but the attacker makes links,
// so that it stays true during a strike.
bool isInPlace(const std::string& path) {
  fs::path folder = fs::path(path).parent_path();
  while (folder != kConfig && !fs::is_symlink(folder)) folder = folder.parent_path();
  return folder == kConfig;
}

class InstallRacesTest : public wzapp_test::InstallTest {
 protected:
  InstallRacesTest() {
    terminal.writeFile(kOutside + "/index.html", "kept");
    terminal.writeFile(kOutside + "/pages/second.html", "kept");
    terminal.writeFile(kOutside + "/mpmanifest.mft", "kept");
  }

  // Every file below the roots, links not followed, holds octets that were signed. A file that
  // could not be written to its end may hold the beginning of them.
  static void expectOnlyVerified() {
    static const std::array<std::string, 4> verified = {goodPage(), manifestFor("shop"),
                                                        manifestFor("tool"), "<p>tool"};
    if (!fs::exists(kConfig)) return;
    for (const auto& entry : fs::recursive_directory_iterator(kConfig)) {
      if (entry.symlink_status().type() != fs::file_type::regular) continue;
      const std::string content = contentOf(entry.path());
      const bool isVerified =
          std::any_of(verified.begin(), verified.end(), [&content](const std::string& whole) {
            return whole.compare(0, content.size(), content) == 0;
          });
      ASSERT_TRUE(isVerified) << entry.path();
    }
  }

  static void expectOutsideUntouched() {
    ASSERT_THAT(treeOf(kOutside),
                ElementsAre("index.html", "mpmanifest.mft", "pages/", "pages/second.html"));
    for (const char* file : {"/index.html", "/pages/second.html", "/mpmanifest.mft"}) {
      ASSERT_EQ(contentOf(kOutside + file), "kept");
    }
  }

  // A thousand runs beside `strike`, each begun by `prepare`, which nobody disturbs. The runs must
  // have come to both ends, or the attacker was not there when it mattered; unless he can so rarely
  // do harm that each may end well.
  void race(const std::function<void()>& prepare,
            const std::function<void(std::uint64_t number)>& strike, bool mayEachInstall = false) {
    prepare();
    Attacker attacker(strike);
    int installed = 0;
    int struck = 0;  // runs
    for (int i = 0; i < kRuns; ++i) {
      attacker.hold();
      prepare();
      const std::uint64_t before = attacker.strikes();
      attacker.goOn();

      static_cast<void>(install());

      attacker.hold();
      if (attacker.strikes() > before) ++struck;
      expectOnlyVerified();
      expectOutsideUntouched();
      if (contentOf(kShop + "/pages/second.html") == goodPage()) ++installed;
      attacker.goOn();
      if (HasFatalFailure()) break;
    }
    std::cout << "[ RACES    ] " << kRuns << " runs, " << installed << " of them installed, "
              << struck << " of them struck, " << attacker.strikes() << " strikes\n";
    EXPECT_GT(struck, kRuns / 2);
    EXPECT_GT(installed, 0);
    EXPECT_LE(installed, mayEachInstall ? kRuns : kRuns - 1);
  }

  const std::string honest = packageWith(goodPage());
  const std::string evil = packageWith(evilPage());
};

TEST_F(InstallRacesTest, PackagesAreRenamed) {
  const std::string other = kSource + "/other";
  race(
      [&] {
        fs::remove_all(kConfig);
        drop("shop.zip", honest);
        drop("other", evil);
      },
      [&](std::uint64_t) { exchange(kPackage.c_str(), other.c_str()); });
}

TEST_F(InstallRacesTest, APackageIsRewrittenInPlace) {
  ASSERT_EQ(honest.size(), evil.size());
  race(
      [&] {
        fs::remove_all(kConfig);
        drop("shop.zip", honest);
      },
      [&](std::uint64_t number) {
        const int file = open(kPackage.c_str(), O_WRONLY | O_CLOEXEC);
        if (file < 0) return;
        const std::string& content = number % 2 == 0 ? evil : honest;
        [[maybe_unused]] const ssize_t ignored = pwrite(file, content.data(), content.size(), 0);
        close(file);
      });
}

// By an archive of the attacker's, a link to one, a link to what he may not write, a directory.
TEST_F(InstallRacesTest, TheTemporaryFileIsReplaced) {
  const std::string archive = kSource + "/evil";
  const std::string next = kSource + "/next";
  const std::string content = shopArchive(evilPage());
  race(
      [&] {
        fs::remove_all(kConfig);
        drop("shop.zip", honest);
        drop("evil", content);
      },
      [&](std::uint64_t number) {
        std::error_code ignored;
        switch (number % 5) {
          case 0:
            fs::create_hard_link(archive, next, ignored);
            break;
          case 1:
            fs::create_symlink(archive, next, ignored);
            break;
          case 2:
            fs::create_symlink(kOutside + "/index.html", next, ignored);
            break;
          case 3:
            put(next, content);
            break;
          default:
            fs::create_directory(next, ignored);
        }
        if (number % 3 == 0) fs::remove(kTemporary, ignored);
        exchange(next.c_str(), kTemporary.c_str());
        fs::remove_all(next, ignored);
      },
      true);
}

// Folders and files of the roots, and of the application in them.
TEST_F(InstallRacesTest, TargetsBecomeLinks) {
  const std::pair<std::string, std::string> targets[] = {
      {kShop, kOutside},
      {kShop + "/index.html", kOutside + "/index.html"},
      {kShop + "/pages", kOutside + "/pages"},
      {kShop + "/pages/second.html", kOutside + "/pages/second.html"},
      {kManifests + "/shop", kOutside},
      {kManifests + "/shop/mpmanifest.mft", kOutside + "/mpmanifest.mft"},
      {kData + "/shop", kOutside},
      {kApps + "/shop.MFT", kOutside + "/index.html"},
  };
  race(
      [&] {
        for (const auto& [target, outside] : targets) {
          if (isInPlace(target) && fs::is_symlink(target)) fs::remove(target);
        }
        drop("shop.zip", honest);
      },
      [&](std::uint64_t number) {
        const auto& [target, outside] = targets[number / 2 % std::size(targets)];
        if (!isInPlace(target)) return;
        std::error_code ignored;
        if (fs::is_symlink(target, ignored)) {
          fs::remove(target, ignored);
        } else {
          if (number % 16 < 8) fs::remove_all(target, ignored);
          fs::create_symlink(outside, target, ignored);
        }
      });
}

// A folder and a link in its place, and two applications' folders, at once.
TEST_F(InstallRacesTest, FoldersAreExchanged) {
  const std::string links = "/mnt/flash/links";
  terminal.makeFolder(links);
  const std::pair<std::string, std::string> pairs[] = {
      {kShop, links + "/shop"},
      {kShop + "/pages", links + "/pages"},
      {kManifests + "/shop", links + "/manifest"},
      {kShop, kTool},
  };
  race(
      [&] {
        for (const auto& [folder, other] : pairs) {
          if (isInPlace(folder)) fs::remove_all(folder);
          if (other != kTool) fs::remove_all(other);
        }
        fs::remove_all(kTool);  // it may be the link by now
        fs::create_directory_symlink(kOutside, links + "/shop");
        fs::create_directory_symlink(kOutside + "/pages", links + "/pages");
        fs::create_directory_symlink(kOutside, links + "/manifest");
        terminal.writeFile(kTool + "/index.html", "<p>tool");
        terminal.writeFile(kApps + "/tool.MFT", manifestFor("tool"));
        terminal.writeFile(kManifests + "/tool/mpmanifest.mft", manifestFor("tool"));
        drop("shop.zip", honest);
      },
      [&](std::uint64_t number) {
        const auto& [folder, other] = pairs[number % std::size(pairs)];
        if (!isInPlace(folder)) return;
        exchange(folder.c_str(), other.c_str());
      });
}

}  // namespace
}  // namespace wzapp
