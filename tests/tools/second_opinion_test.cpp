#include "wz/reports/second_opinion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/builders/temporary_directory.h"
#include "tests/builders/zip_builder.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SecondOpinionTest : public testing::Test {
 protected:
  // What the library is said to have made of a package whose archive nobody has signed.
  wz::PackageReport reportOf(bool isAccepted) {
    wz::PackageReport report;
    report.file = folder_.write("shop.zip", ZipBuilder().stored("shop.zip", "x").build());
    report.inners.resize(1);
    report.inners[0].entry = "shop.zip";
    report.inners[0].checks = {{"signature found", isAccepted, ""}};
    report.diagnostics = {{"WZ-0301", "", report.file, "shop.zip", 0, 0, ""}};
    return report;
  }

  static std::vector<std::string> textsOf(const wz::SecondOpinion& opinion) {
    std::vector<std::string> texts;
    for (const auto& difference : opinion.differences) {
      texts.push_back(difference.entry + ": " + difference.library + ", " + difference.verifier);
    }
    return texts;
  }

  TemporaryDirectory folder_;
};

TEST_F(SecondOpinionTest, SaysTheSame) {
  const wz::SecondOpinion opinion = wz::secondOpinion(reportOf(false), {});

  EXPECT_TRUE(opinion.wasAsked);
  EXPECT_FALSE(opinion.isAccepted);
  EXPECT_THAT(textsOf(opinion), IsEmpty());
}

TEST_F(SecondOpinionTest, NamesWhatItRefusesAndTheLibraryDoesNot) {
  EXPECT_THAT(textsOf(wz::secondOpinion(reportOf(true), {})),
              ElementsAre("shop.zip: accepted, refused"));
}

TEST_F(SecondOpinionTest, NamesAFileThatTheLibraryAloneRefuses) {
  wz::PackageReport report = reportOf(false);
  report.refusal = "the file is no ZIP archive";
  report.diagnostics = {{"WZ-0110", "", report.file, "", 0, 0, ""}};

  EXPECT_THAT(textsOf(wz::secondOpinion(report, {})), ElementsAre(": WZ-0110, accepted"));
}

TEST_F(SecondOpinionTest, IsNotAskedOfWhatIsTooLarge) {
  wz::PackageReport report = reportOf(false);
  report.entries = {{"shop.zip", std::uint64_t{1} << 30, {}}};

  EXPECT_FALSE(wz::secondOpinion(report, {}).wasAsked);
  EXPECT_EQ(wz::secondOpinion(report, {}).whyNot, "the package is too large");
}

TEST_F(SecondOpinionTest, IsNotAskedOfWhatIsNotThere) {
  wz::PackageReport report = reportOf(false);
  report.file = "/nowhere/shop.zip";

  EXPECT_FALSE(wz::secondOpinion(report, {}).wasAsked);
  EXPECT_EQ(wz::secondOpinion(report, {}).whyNot, "the package cannot be read");
}

}  // namespace
}  // namespace wzapp_test
