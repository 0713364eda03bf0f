#include "support/json_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/builders/temporary_directory.h"

namespace wzapp {
namespace {

using wzapp_test::TemporaryDirectory;
using zelipc::JSObject;

struct JSONCase {
  const char* name;
  std::string text;
  bool isJSON;
  const char* dump;
};

void PrintTo(const JSONCase& row, std::ostream* out) { *out << row.name; }

class ReadJSONFileTest : public testing::TestWithParam<JSONCase> {};

TEST_P(ReadJSONFileTest, TakesAFileThatIsOneValue) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("file.json", GetParam().text);
  JSObject object("before");

  EXPECT_EQ(readJSONFile(object, path), GetParam().isJSON);

  EXPECT_EQ(object.dump(), GetParam().dump);
}

INSTANTIATE_TEST_SUITE_P(
    All, ReadJSONFileTest,
    testing::Values(JSONCase{"Object", R"({"a":1})", true, R"({"a":1})"},
                    JSONCase{"WhiteSpaceAround", " \r\n\t{\"a\":1}\t\r\n ", true, R"({"a":1})"},
                    JSONCase{"LineFeedBehind", "{}\n", true, "{}"},
                    JSONCase{"Array", "[1,2]", true, "[1,2]"},
                    JSONCase{"String", "\"x\"", true, "\"x\""},
                    JSONCase{"Number", "12", true, "12"}, JSONCase{"Null", "null", true, "null"},
                    JSONCase{"Empty", "", false, "{}"}, JSONCase{"WhiteSpace", " \n", false, "{}"},
                    JSONCase{"Malformed", R"({"a":)", false, "{}"},
                    JSONCase{"Sectioned", "[a]\nk=v\n", false, "{}"},
                    JSONCase{"GarbageBehind", R"({"a":1} x)", false, "{}"},
                    JSONCase{"TwoValues", "{}{}", false, "{}"},
                    JSONCase{"ZeroOctetBehind", std::string("{}\0", 3), false, "{}"},
                    JSONCase{"TextBehindAZeroOctet", std::string("{}\0{}", 5), false, "{}"},
                    JSONCase{"ZeroOctetOnly", std::string(1, '\0'), false, "{}"}));

TEST(ReadJSONFileMissingTest, EmptiesTheObject) {
  const TemporaryDirectory directory;
  JSObject object("before");

  EXPECT_FALSE(readJSONFile(object, directory / "missing"));

  EXPECT_TRUE(object.isObject());
  EXPECT_EQ(object.size(), 0U);
}

struct FileSizeCase {
  std::size_t size;
  bool isJSON;
};

class ReadJSONFileSizeTest : public testing::TestWithParam<FileSizeCase> {};

TEST_P(ReadJSONFileSizeTest, IsBounded) {
  const TemporaryDirectory directory;
  const std::string path =
      directory.write("file.json", "{}" + std::string(GetParam().size - 2, ' '));
  JSObject object;

  EXPECT_EQ(readJSONFile(object, path), GetParam().isJSON);
}

INSTANTIATE_TEST_SUITE_P(All, ReadJSONFileSizeTest,
                         testing::Values(FileSizeCase{4096, true}, FileSizeCase{16777216, true},
                                         FileSizeCase{16777217, false}));

}  // namespace
}  // namespace wzapp
