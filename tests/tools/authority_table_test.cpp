// The generator of the table of authorities: what it takes, and what stops a build.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "crypto/certificate/certificate_summary.h"
#include "crypto/store/authorities.h"
#include "tests/tools/key_files.h"
#include "tests/tools/program.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kRule[] =
    "/authorities.txt: the table of authorities has nine rows, of the kinds 2, 2, 3, 4, 3, 4, 2, "
    "2, "
    "2 in this order\n";

// A directory of authorities that may be changed, and where the source of it goes.
class Table {
 public:
  Table() {
    fs::create_directory(keys_);
    fs::copy(madeKeys() + "/authorities", keys_ + "/authorities");
    fs::copy(madeKeys() + "/authorities.txt", keys_ + "/authorities.txt");
  }

  [[nodiscard]] std::string operator/(const std::string& name) const { return keys_ + "/" + name; }
  [[nodiscard]] std::string text() const { return contentOf(*this / "authorities.txt"); }
  void write(const std::string& name, const std::string& content) const {
    folder_.write("keys/" + name, content);
  }
  void setText(const std::string& text) const { write("authorities.txt", text); }

  // The first `from` in the table's text becomes `to`.
  void replace(const std::string& from, const std::string& to) const {
    std::string changed = text();
    const std::size_t position = changed.find(from);
    ASSERT_NE(position, std::string::npos);
    setText(changed.replace(position, from.size(), to));
  }

  [[nodiscard]] ProgramResult generate() const {
    return runProgram(AUTHORITY_TABLE_PROGRAM, {"authorities", keys_, source(), source() + ".d"});
  }

  [[nodiscard]] std::string source() const { return folder_ / "table.cpp"; }
  [[nodiscard]] const std::string& keys() const { return keys_; }

 private:
  TemporaryDirectory folder_;
  std::string keys_ = folder_ / "keys";
};

TEST(AuthorityTableTest, ADirectoryOfDevelopmentKeysIsTaken) {
  const Table table;

  const ProgramResult result = table.generate();

  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(
      contentOf(table.source()),
      AllOf(HasSubstr("{3, kCertificate5},\n      {4, kCertificate6},\n"),
            HasSubstr("kCertificate9[] = {\n    0x30, 0x82,"), Not(HasSubstr("kCertificate10"))));
}

// Only where it is asked for does the table leave room for another in front of it.
TEST(AuthorityTableTest, AProductsTableIsTheLibrarysOwn) {
  const Table table;
  ASSERT_EQ(table.generate().code, 0);
  EXPECT_THAT(contentOf(table.source()),
              AllOf(HasSubstr("kAuthorityCount>& authorities() {"), Not(HasSubstr("compiledIn"))));

  const ProgramResult behind =
      runProgram(AUTHORITY_TABLE_PROGRAM,
                 {"compiled-in-authorities", table.keys(), table.source(), table.source() + ".d"});

  EXPECT_EQ(behind.code, 0) << behind.errors;
  EXPECT_THAT(contentOf(table.source()), HasSubstr("kAuthorityCount>& compiledInAuthorities() {"));
}

TEST(AuthorityTableTest, WhatItWasMadeOfIsWrittenForTheBuild) {
  const Table table;
  fs::copy(table / "authorities/9.der", table / "a $ign.der");
  table.replace("authorities/9.der", "a $ign.der");

  ASSERT_EQ(table.generate().code, 0);

  EXPECT_THAT(contentOf(table.source() + ".d"),
              AllOf(HasSubstr(table.source() + ": \\\n  " + (table / "authorities.txt") + " \\\n"),
                    HasSubstr(" \\\n  " + (table / "authorities/1.der") + " \\\n"),
                    HasSubstr(" \\\n  " + (table / "a\\ $$ign.der") + "\n")));
}

TEST(AuthorityTableTest, ASourceThatWouldBeTheSameStaysUntouched) {
  const Table table;
  ASSERT_EQ(table.generate().code, 0);
  const fs::file_time_type before = fs::file_time_type::clock::now() - std::chrono::hours(1);
  fs::last_write_time(table.source(), before);
  table.setText("# The same rows\n" + table.text());

  ASSERT_EQ(table.generate().code, 0);

  EXPECT_EQ(fs::last_write_time(table.source()), before);
}

TEST(AuthorityTableTest, BlanksCommentsAndForeignLineEndsDoNotCount) {
  const Table plain, changed;
  changed.setText(
      "# Ours\r\n"
      "\r\n"
      "2 authorities/1.der\r\n"
      "2\tauthorities/2.der  \r\n"
      "   # of applications, then of manifests\n"
      "  3    authorities/3.der\n"
      "4 " +
      (changed / "authorities/4.der") +
      "\n"
      "3 authorities/../authorities/5.der\n"
      "4 authorities/6.der\n"
      " \t \n"
      "2 authorities/7.der\n"
      "2 authorities/8.der\n"
      "2 authorities/9.der");

  ASSERT_EQ(plain.generate().code, 0);
  const ProgramResult result = changed.generate();

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_EQ(contentOf(changed.source()), contentOf(plain.source()));
}

struct Wrong {
  const char* name;
  std::function<void(const Table&)> change;
  std::vector<std::string> messages;  // behind the path of the directory
  bool explainsTable;
};

void PrintTo(const Wrong& row, std::ostream* out) { *out << row.name; }

class WrongAuthorityTableTest : public testing::TestWithParam<Wrong> {};

TEST_P(WrongAuthorityTableTest, StopsTheBuildWithAMessage) {
  const Table table;
  GetParam().change(table);

  const ProgramResult result = table.generate();

  EXPECT_EQ(result.code, kRejected);
  EXPECT_EQ(result.out, "");
  std::string expected;
  for (const std::string& message : GetParam().messages) expected += table.keys() + message + "\n";
  if (GetParam().explainsTable) expected += table.keys() + kRule;
  EXPECT_EQ(result.errors, expected);
  EXPECT_FALSE(fs::exists(table.source()));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, WrongAuthorityTableTest,
    testing::Values(
        Wrong{"NoTable",
              [](const Table& table) { fs::remove(table / "authorities.txt"); },
              {"/authorities.txt: cannot be read"},
              false},
        Wrong{"Empty",
              [](const Table& table) { table.setText(""); },
              {"/authorities.txt: has 0 rows"},
              true},
        Wrong{"EightRows",
              [](const Table& table) { table.replace("2 authorities/9.der\n", ""); },
              {"/authorities.txt: has 8 rows"},
              true},
        Wrong{"TenRows",
              [](const Table& table) { table.setText(table.text() + "2 authorities/1.der\n"); },
              {"/authorities.txt: has 10 rows"},
              true},
        Wrong{"WrongKind",
              [](const Table& table) { table.replace("3 authorities/3", "4 authorities/3"); },
              {"/authorities.txt:3: row 3 is of kind 4 where kind 3 belongs"},
              true},
        Wrong{"WrongOrder",
              [](const Table& table) {
                table.replace("4 authorities/6.der\n", "");
                table.replace("3 authorities/5", "4 authorities/6.der\n3 authorities/5");
              },
              {"/authorities.txt:5: row 5 is of kind 4 where kind 3 belongs",
               "/authorities.txt:6: row 6 is of kind 3 where kind 4 belongs"},
              true},
        Wrong{"NoSuchKind",
              [](const Table& table) { table.replace("2 authorities/9", "0 authorities/9"); },
              {"/authorities.txt:9: row 9 is of kind 0 where kind 2 belongs"},
              true},
        Wrong{"KindOfTwoDigits",
              [](const Table& table) { table.replace("2 authorities/9", "22 authorities/9"); },
              {"/authorities.txt:9: '22 authorities/9.der' is not a kind and a file, such as: 2 "
               "authority.der",
               "/authorities.txt: has 8 rows"},
              true},
        Wrong{"KindAlone",
              [](const Table& table) { table.replace("2 authorities/1.der", "2 "); },
              {"/authorities.txt:1: '2' is not a kind and a file, such as: 2 authority.der",
               // The rows behind it have moved up.
               "/authorities.txt:3: row 2 is of kind 3 where kind 2 belongs",
               "/authorities.txt:4: row 3 is of kind 4 where kind 3 belongs",
               "/authorities.txt:5: row 4 is of kind 3 where kind 4 belongs",
               "/authorities.txt:6: row 5 is of kind 4 where kind 3 belongs",
               "/authorities.txt:7: row 6 is of kind 2 where kind 4 belongs",
               "/authorities.txt: has 8 rows"},
              true},
        Wrong{"MissingFile",
              [](const Table& table) { fs::remove(table / "authorities/4.der"); },
              {"/authorities/4.der: cannot be read"},
              false},
        Wrong{"EmptyFile",
              [](const Table& table) { table.write("authorities/4.der", ""); },
              {"/authorities/4.der: is no certificate that the library reads: it does not begin "
               "like a certificate in DER (-118)"},
              false},
        Wrong{"PemText",
              [](const Table& table) {
                table.write("authorities/4.der", "-----BEGIN CERTIFICATE-----\nMIID\n");
              },
              {"/authorities/4.der: is no certificate that the library reads: it does not begin "
               "like a certificate in DER (-118)"},
              false},
        Wrong{"TwoThatAreNone",
              [](const Table& table) {
                table.write("authorities/1.der", "x");
                fs::remove(table / "authorities/9.der");
              },
              {"/authorities/1.der: is no certificate that the library reads: it does not begin "
               "like a certificate in DER (-118)",
               "/authorities/9.der: cannot be read"},
              false},
        Wrong{"CutCertificate",
              [](const Table& table) {
                const std::string whole = contentOf(table / "authorities/7.der");
                table.write("authorities/7.der", whole.substr(0, whole.size() - 1));
              },
              {"/authorities/7.der: is no certificate that the library reads: it does not begin "
               "like a certificate in DER (-118)"},
              false}),
    [](const testing::TestParamInfo<Wrong>& row) { return row.param.name; });

TEST(AuthorityTableTest, AnOlderSourceStaysWhenTheTableIsWrong) {
  const Table table;
  ASSERT_EQ(table.generate().code, 0);
  const std::string before = contentOf(table.source());
  table.setText("");

  EXPECT_EQ(table.generate().code, kRejected);

  EXPECT_EQ(contentOf(table.source()), before);
}

TEST(AuthorityTableTest, AnUnwritableSourceIsNamed) {
  const ProgramResult result = runProgram(
      AUTHORITY_TABLE_PROGRAM, {"authorities", madeKeys(), "/nowhere/table.cpp", "/nowhere/d"});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_EQ(result.errors, "/nowhere/table.cpp: cannot be written\n");
}

TEST(AuthorityTableTest, TheRootsBecomeAListOfNamesAndOctets) {
  const TemporaryDirectory folder;
  const std::string source = folder / "roots.cpp";

  const ProgramResult result =
      runProgram(AUTHORITY_TABLE_PROGRAM, {"roots", madeKeys() + "/roots", source, source + ".d"});

  EXPECT_EQ(result.code, 0) << result.errors;
  EXPECT_THAT(contentOf(source), HasSubstr("{\"development-root-1.der\", kCertificate1},\n"
                                           "    {\"development-root-2.der\", kCertificate2},\n"));
}

TEST(AuthorityTableTest, AFolderWithoutRootsIsRejected) {
  const TemporaryDirectory folder;

  const ProgramResult result =
      runProgram(AUTHORITY_TABLE_PROGRAM, {"roots", folder.path(), folder / "s", folder / "d"});

  EXPECT_EQ(result.code, kRejected);
  EXPECT_EQ(result.errors, folder.path() + ": holds no *.der file\n");
}

TEST(AuthorityTableTest, WrongCommandLinesAreExplained) {
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {}, {"authorities", "a", "b"}, {"leaves", "a", "b", "c"}}) {
    const ProgramResult result = runProgram(AUTHORITY_TABLE_PROGRAM, arguments);

    EXPECT_EQ(result.code, kUsage);
    EXPECT_THAT(result.errors, HasSubstr("Usage: wzapp_authority_table authorities DIR "));
  }
}

// What this very build has compiled in.
TEST(CompiledAuthoritiesTest, AreNineOfTheirKindsAndCanBeUsed) {
  std::vector<int> kinds;
  for (const wzapp::Authority& authority : wzapp::authorities()) {
    kinds.push_back(authority.kind);
    wzapp::CertificateSummary summary;
    EXPECT_EQ(wzapp::summariseCertificate(authority.der, summary), 0);
  }

  EXPECT_THAT(kinds, ElementsAre(2, 2, 3, 4, 3, 4, 2, 2, 2));
}

}  // namespace
}  // namespace wzapp_test
