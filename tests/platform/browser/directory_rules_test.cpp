// Which directories are taken where no terminal is played; tests/end_to_end has the others.

#include "workstation/browser/engine/files/directory_rules.h"

#include <gtest/gtest.h>

#include "workstation/browser/engine/page/result_codes.h"
#include "workstation/browser/engine/service/browser_service.h"

namespace workstation {
namespace {

constexpr DirectoryUse kUses[] = {DirectoryUse::kApplication, DirectoryUse::kInApplication,
                                  DirectoryUse::kFileSystem, DirectoryUse::kFileSystemRoot};

TEST(DirectoryRulesTest, PlainAbsolutePathsAreTaken) {
  for (const DirectoryUse use : kUses) {
    for (const char* path : {"", "/apps/shop", "/apps/shop/", "/a..b", "/..."})
      EXPECT_EQ(whyNoDirectory(use, path), "") << path;
  }
}

TEST(DirectoryRulesTest, PathsThatLeadElsewhereAreNot) {
  for (const DirectoryUse use : kUses) {
    for (const char* path : {"/", "//", "shop", "..", ".", "/apps/..", "/apps/../etc", "/apps/.",
                             "/apps//shop", "/apps/\\shop", "//apps/shop"})
      EXPECT_NE(whyNoDirectory(use, path), "") << path;
    EXPECT_NE(whyNoDirectory(use, std::string_view("/apps\0x", 7)), "");
  }
}

TEST(DirectoryRulesTest, TheServiceItselfServesNoOther) {
  for (const char* path : {"/", "/tmp/..", "tmp"}) {
    InvokeRequest request;
    request.applicationDir = path;
    request.url = "index.html";
    std::string error;

    EXPECT_EQ(startInvocation(request, error), kOutsideApplication) << path;
    EXPECT_NE(error.find(path), std::string::npos) << error;
  }
}

}  // namespace
}  // namespace workstation
