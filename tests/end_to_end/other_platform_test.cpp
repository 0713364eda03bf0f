// The same libwzapp.so over another set of platform libraries, preloaded under a host program.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/child_program.h"
#include "tests/end_to_end/processes.h"
#include "tests/end_to_end/station.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::StartsWith;

class OtherPlatformTest : public EndToEndTest {
 protected:
  // The sanitizer's run-time library wants to be the first unless told that it need not.
  static std::vector<std::string> environment() {
    const char* const options = std::getenv("ASAN_OPTIONS");
    return {"LD_PRELOAD=" + programFolder() + "/../lib/libplatform_double.so",
            std::string("ASAN_OPTIONS=") + (options != nullptr ? options : "") +
                ":verify_asan_link_order=0"};
  }
};

// The times of a record are left out; they stand between these two.
std::string withoutTimes(std::string text) {
  constexpr char kBegin[] = "\"t\":\"";
  for (std::size_t at = text.find(kBegin); at != std::string::npos; at = text.find(kBegin, at)) {
    at += sizeof kBegin - 1;
    text.erase(at, text.find('"', at) - at);
  }
  return text;
}

TEST_F(OtherPlatformTest, LibraryRestsOnTheDeclaredInterfaceAlone) {
  Application shop("shop");
  shop.manifest("[application]\nid=shop\nversion=1.2.3\n[desktop]\nfile=index.html\n");
  const std::string root = "/mnt/flash/etc/config/wzapp/";

  ChildProgram host("end_to_end_host", {shop.manifestPath(), "desktop", "wz_system=POS"},
                    environment());
  std::vector<std::string> lines;
  for (std::string line; lines.empty() || lines.back().rfind("told ", 0) != 0;) {
    ASSERT_TRUE(host.awaitLine(line)) << "after " << (lines.empty() ? "nothing" : lines.back());
    // The host's own line comes when it will.
    if (line != "run 0") lines.push_back(withoutTimes(line));
  }

  EXPECT_EQ(host.awaitEnd(), 0);
  EXPECT_THAT(
      lines,
      ElementsAre(
          "processor js own", "set notify", "set notifyAndWait", "set trace", "set log",
          "local true", "string 0 2003 " + root + "wz/shop/double",
          "string 0 2007 " + root + "wz/shop/default", "config 0",
          "string 0 2010 " + root + "wz/shop", "string 0 2012 " + root + "fsroot/shop",
          "string 0 2015 " + root + "fsroot", "int 0 20 0",
          "string 0 2013 " + root + "wz/shop/print", "string 0 2006 app.css", "int 0 15 1",
          "invoke 0 0 index.html D-100 Double alone", "wait 42 -1", "notify till PAID 3 shop {}",
          "notify returned 0", "register ASK_reply 0 shop", "register error",
          "notify club ASK 0 shop {}", "unregister error", "unregister ASK_reply shop",
          "notifyAndWait returned 0 {\"points\":7}",
          R"(notify 1 _WZLog 0 shop {"data":{"h":"D-100","msgs":[)"
          R"({"aE":"LAUNCH","msg":"Application launched","msgT":"APPLICATION","s":5,"t":""},)"
          R"({"msg":"from the page","msgT":"APP_INFO","s":6,"t":""},)"
          R"({"eC":"wz_1","eD":"500","eMsg":"URL: u:","eN":"HTTP request failed",)"
          R"("msg":"HTTP request failed","msgT":"ERROR","s":3,"t":""},)"
          R"({"aE":"EXIT","msg":"Application ended","msgT":"APPLICATION","s":5,"t":""}],)"
          R"("sSys":"shop","spId":"","sys":"POS","v":"1.2.3"},"wz_private":{"wz_system":"POS"}})",
          "local false", "property from=the double", "told 17"));
}

}  // namespace
}  // namespace wzapp_test
