#include "workstation/browser/engine/files/content_type.h"

#include <gtest/gtest.h>

namespace workstation {
namespace {

struct ContentTypeCase {
  const char* path;
  const char* type;
};

class ContentTypeTest : public testing::TestWithParam<ContentTypeCase> {};

TEST_P(ContentTypeTest, FollowsTheExtension) {
  EXPECT_STREQ(contentType(GetParam().path), GetParam().type);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ContentTypeTest,
    testing::Values(ContentTypeCase{"index.html", "text/html; charset=utf-8"},
                    ContentTypeCase{"a/b/INDEX.HTM", "text/html; charset=utf-8"},
                    ContentTypeCase{"x.min.js", "text/javascript; charset=utf-8"},
                    ContentTypeCase{"x.mjs", "text/javascript; charset=utf-8"},
                    ContentTypeCase{"x.css", "text/css; charset=utf-8"},
                    ContentTypeCase{"x.json", "application/json"},
                    ContentTypeCase{"x.PNG", "image/png"},
                    ContentTypeCase{"x.svg", "image/svg+xml"},
                    ContentTypeCase{"x.wasm", "application/wasm"},
                    ContentTypeCase{"x.woff2", "font/woff2"},
                    ContentTypeCase{"html", "application/octet-stream"},
                    ContentTypeCase{"dir.html/file", "application/octet-stream"},
                    ContentTypeCase{"x.", "application/octet-stream"},
                    ContentTypeCase{"", "application/octet-stream"},
                    ContentTypeCase{"x.htmlx", "application/octet-stream"}));

}  // namespace
}  // namespace workstation
