#include "packaging/zip_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "archive/unzip.h"
#include "tests/builders/temporary_directory.h"
#include "tests/tools/archive_reader.h"
#include "tests/tools/key_files.h"

namespace wzapp_test {
namespace {

using packaging::ZipMethod;
using packaging::ZipWriter;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

class ZipWriterTest : public testing::Test {
 protected:
  // Two entries of each kind, their sources written when the test runs.
  std::string write(const std::string& name) {
    const std::string source = folder_.write("page.html", std::string(5000, 'p'));
    ZipWriter zip;
    EXPECT_TRUE(zip.create(folder_ / name, error_) &&
                zip.addFile("shop/page.html", source, ZipMethod::kDeflated, error_) &&
                zip.addFile("shop/copy.html", source, ZipMethod::kStored, error_) &&
                zip.addContent("shop/empty", "", error_) &&
                zip.addContent("\xC3\xA9t\xC3\xA9", "summer", error_) && zip.finish(error_))
        << error_;
    return folder_ / name;
  }

  TemporaryDirectory folder_;
  std::string error_;
};

TEST_F(ZipWriterTest, TheLibraryReadsWhatWasWritten) {
  const std::string file = write("a.zip");

  EXPECT_THAT(contentsOf(file),
              ElementsAre(Pair("shop/copy.html", std::string(5000, 'p')), Pair("shop/empty", ""),
                          Pair("shop/page.html", std::string(5000, 'p')),
                          Pair("\xC3\xA9t\xC3\xA9", "summer")));
}

TEST_F(ZipWriterTest, StoredEntriesStandAsTheyAre) {
  const std::string archive = contentOf(write("a.zip"));

  EXPECT_THAT(archive, HasSubstr(std::string(5000, 'p')));
  EXPECT_LT(archive.size(), 6000U);  // the other copy is deflated
}

TEST_F(ZipWriterTest, TheSameCallsGiveTheSameOctets) {
  const std::string first = contentOf(write("a.zip"));
  std::filesystem::last_write_time(folder_ / "page.html", std::filesystem::file_time_type());

  const std::string second = contentOf(write("b.zip"));

  EXPECT_EQ(first, second);
}

TEST_F(ZipWriterTest, ASourceThatIsNotThereIsNamed) {
  ZipWriter zip;
  ASSERT_TRUE(zip.create(folder_ / "a.zip", error_));

  EXPECT_FALSE(zip.addFile("x", folder_ / "missing", ZipMethod::kDeflated, error_));
  EXPECT_EQ(error_, "cannot read " + (folder_ / "missing") + ": No such file or directory");
}

TEST_F(ZipWriterTest, AnArchiveThatCannotBeMadeIsNamed) {
  ZipWriter zip;

  EXPECT_FALSE(zip.create(folder_ / "nowhere/a.zip", error_));
  EXPECT_EQ(error_, "cannot write " + (folder_ / "nowhere/a.zip") + ": No such file or directory");
}

TEST_F(ZipWriterTest, AFullDiskIsAFailure) {
  const std::string source = folder_.write("noise", std::string(1 << 20, 'n'));
  ZipWriter zip;
  ASSERT_TRUE(zip.create("/dev/full", error_));

  const bool written =
      zip.addFile("noise", source, ZipMethod::kStored, error_) && zip.finish(error_);

  EXPECT_FALSE(written);
  EXPECT_THAT(error_, HasSubstr("cannot write /dev/full"));
}

}  // namespace
}  // namespace wzapp_test
