#include "workstation/browser/engine/files/application_url.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

struct LabelRow {
  std::string name, label;
};

class HostLabelTest : public testing::TestWithParam<LabelRow> {};

TEST_P(HostLabelTest, IsAlwaysALabel) { EXPECT_EQ(hostLabel(GetParam().name), GetParam().label); }

INSTANTIATE_TEST_SUITE_P(Table, HostLabelTest,
                         testing::Values(LabelRow{"shop", "shop"}, LabelRow{"Shop_1", "shop-1"},
                                         LabelRow{"com.example.Shop", "com-example-shop"},
                                         LabelRow{"--a--b--", "a-b"}, LabelRow{"", "app"},
                                         LabelRow{"\xC3\xBC", "app"}, LabelRow{"../..", "app"},
                                         LabelRow{"a@b:8/c?d#e", "a-b-8-c-d-e"},
                                         LabelRow{"xn--a", "xn-a"},
                                         LabelRow{std::string(100, 'a'), std::string(40, 'a')}));

struct UrlRow {
  const char* url;
  bool ok;
  const char* host;
  const char* path;
};

class SplitUrlTest : public testing::TestWithParam<UrlRow> {};

TEST_P(SplitUrlTest, GivesHostAndPath) {
  std::string host;
  std::string path;

  ASSERT_EQ(splitUrl(GetParam().url, host, path), GetParam().ok);

  if (!GetParam().ok) return;
  EXPECT_EQ(host, GetParam().host);
  EXPECT_EQ(path, GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    Table, SplitUrlTest,
    testing::Values(UrlRow{"https://a.invalid/x/y?q=/z#f", true, "a.invalid", "/x/y"},
                    UrlRow{"https://a.invalid", true, "a.invalid", "/"},
                    UrlRow{"https://a.invalid?x", true, "a.invalid", "/"},
                    UrlRow{"http://a.invalid/", false, "", ""}, UrlRow{"https:///x", false, "", ""},
                    UrlRow{"https://b@a.invalid/", false, "", ""},
                    UrlRow{"https://a.invalid:444/", false, "", ""}, UrlRow{"", false, "", ""}));

struct PathRow {
  const char* path;
  bool ok;
  const char* file;
};

class FilePathTest : public testing::TestWithParam<PathRow> {};

TEST_P(FilePathTest, StaysBelowItsRoot) {
  std::string file;

  ASSERT_EQ(filePathOfUrl(GetParam().path, file), GetParam().ok);

  if (!GetParam().ok) return;
  EXPECT_EQ(file, GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(
    Table, FilePathTest,
    testing::Values(PathRow{"/", true, ""}, PathRow{"", true, ""}, PathRow{"/a/b.c", true, "a/b.c"},
                    PathRow{"//a//b", true, "a/b"}, PathRow{"/a/./b/../c", true, "a/c"},
                    PathRow{"/a%20b", true, "a b"}, PathRow{"/%e2%82%AC", true, "\xE2\x82\xAC"},
                    PathRow{"/a/", true, "a/"}, PathRow{"/a/..", true, ""},
                    PathRow{"/..", false, ""}, PathRow{"/a/../..", false, ""},
                    PathRow{"/%2e%2e/a", false, ""}, PathRow{"/a%2fb", false, ""},
                    PathRow{"/a%00", false, ""}, PathRow{"/a%", false, ""},
                    PathRow{"/a%4", false, ""}, PathRow{"/a%4g", false, ""}));

struct StartRow {
  const char* url;
  bool ok;
  const char* target;
  const char* file;
};

class StartUrlTest : public testing::TestWithParam<StartRow> {};

TEST_P(StartUrlTest, IsResolvedInTheApplication) {
  std::string target;
  std::string file;

  ASSERT_EQ(resolveStartUrl(GetParam().url, target, file), GetParam().ok);

  if (!GetParam().ok) return;
  EXPECT_EQ(target, GetParam().target);
  EXPECT_EQ(file, GetParam().file);
}

INSTANTIATE_TEST_SUITE_P(
    Table, StartUrlTest,
    testing::Values(StartRow{"index.html", true, "/index.html", "index.html"},
                    StartRow{"/a/b.html", true, "/a/b.html", "a/b.html"},
                    StartRow{"./a b.html?x y#z", true, "/./a%20b.html?x%20y#z", "a b.html"},
                    StartRow{"a\\b.html", true, "/a/b.html", "a/b.html"},
                    StartRow{"a%41.html", true, "/a%41.html", "aA.html"},
                    StartRow{"x/../y.html", true, "/x/../y.html", "y.html"},
                    StartRow{"../y.html", false, "", ""}, StartRow{"..\\y.html", false, "", ""},
                    StartRow{"//host/x", false, "", ""}, StartRow{"\\\\host\\x", false, "", ""},
                    StartRow{"/\\host", false, "", ""}, StartRow{"http://x/", false, "", ""},
                    StartRow{"FILE:/x", false, "", ""},
                    StartRow{"data:text/html,x", false, "", ""}));

TEST(UrlSchemeTest, IsWhatStandsBeforeTheColon) {
  EXPECT_EQ(urlScheme("devtools://x"), "devtools");
  EXPECT_EQ(urlScheme("a/b:c"), "");
  EXPECT_EQ(urlScheme("1a:b"), "");
  EXPECT_EQ(urlScheme(":b"), "");
  EXPECT_EQ(urlScheme("x"), "");
}

}  // namespace
}  // namespace workstation
