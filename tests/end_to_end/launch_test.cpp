// From wzAppRun to onExit: what a page is given, what comes back, what is told of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/end_to_end/application.h"
#include "tests/end_to_end/station.h"

namespace wzapp_test {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Pair;
using testing::UnorderedElementsAre;
using Pairs = std::vector<std::pair<const std::string, std::string>>;

class LaunchTest : public EndToEndTest {};

// Hands back what the page was given: the names of its properties begin with "seen_".
constexpr char kHandBack[] = R"(
  const seen = {};
  for (const [key, value] of Object.entries(wz.properties)) seen['seen_' + key] = value;
  wz.exit(0, seen);)";

TEST_F(LaunchTest, DesktopPageSeesThePropertiesOfItsTerminal) {
  Application shop("shop");
  shop.script(kHandBack).file("confApp.json", R"({"tip": [5, 10]})").ownerDocument("{\"o\":1}\n");
  ApplicationRun run(shop, "desktop",
                     {{"till", "7"}, {"wz_appId", "somebody"}, {"wz_sponsorId", "999999"}});

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.result(), 0);
  EXPECT_THAT(run.properties(), IsSupersetOf(Pairs{
                                    {"seen_wz_appId", "shop"},
                                    {"seen_wz_appVersion", "1.2.3"},
                                    {"seen_wz_terminalSerialNo", "10000000001"},
                                    {"seen_wz_terminalModel", "T30"},
                                    {"seen_wz_sponsorId", "123456"},
                                    {"seen_wz_confApp", R"({"tip": [5, 10]})"},
                                    {"seen_wz_confOwner", "{\"o\":1}\n"},
                                    {"seen_till", "7"},
                                }));
}

TEST_F(LaunchTest, MissingDocumentsAreNoProperties) {
  Application shop("shop");
  shop.script(kHandBack);
  ApplicationRun run(shop);

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.properties().count("seen_wz_appId"), 1U);
  EXPECT_EQ(run.properties().count("seen_wz_confApp"), 0U);
  EXPECT_EQ(run.properties().count("seen_wz_confOwner"), 0U);
}

TEST_F(LaunchTest, ResultAndFinalPropertiesReachTheHost) {
  Application shop("shop");
  shop.script(R"(wz.exit(2147483647, {total: '12,50 \u20ac', till: 'new'});)");
  ApplicationRun run(shop, "desktop", {{"till", "7"}, {"clerk", "Ann"}});

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.result(), 2147483647);
  EXPECT_THAT(run.properties(),
              UnorderedElementsAre(
                  Pair("total", "12,50 \xe2\x82\xac"), Pair("till", "new"), Pair("clerk", "Ann"),
                  Pair("wz_appId", "shop"), Pair("wz_appVersion", "1.2.3"),
                  Pair("wz_terminalSerialNo", "10000000001"), Pair("wz_terminalModel", "T30"),
                  Pair("wz_sponsorId", "123456")));
  EXPECT_EQ(run.timesTold(), 1);
}

TEST_F(LaunchTest, TriggerOpensItsOwnPage) {
  Application shop("shop");
  shop.manifest(R"({
    "application": {"id": "shop", "version": "1.2.3"},
    "desktop": {"file": "index.html"},
    "imports_trigger": [{"file": "nameless.html"}, {"id": "OTHER", "file": "other.html"},
                        {"id": "CARD", "file": "pages/card.html"}, {"id": "CARD", "file": "other.html"}]})");
  shop.script("wz.exit(1);").file("other.html", "<script>wz.exit(2)</script>");
  shop.file("pages/card.html", "<script src='card.js'></script>")
      .file("pages/card.js", "wz.exit(3)");
  ApplicationRun run(shop, "CARD");

  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.result(), 3);
}

TEST_F(LaunchTest, KeyValueManifestNamesThePageInTheSectionOfTheEntry) {
  Application shop("shop");
  shop.manifest(
      "[application]\nid=shop\nversion=4.5\n[desktop]\nfile=index.html\n[CARD]\nfile=card.html\n");
  shop.script("wz.exit(1, {v: wz.properties.wz_appVersion});");
  shop.file("card.html", "<script>wz.exit(2, {v: wz.properties.wz_appVersion})</script>");
  ApplicationRun desktop(shop, "desktop");
  ASSERT_TRUE(desktop.awaitEnd());
  ApplicationRun card(shop, "CARD");
  ASSERT_TRUE(card.awaitEnd());

  EXPECT_EQ(desktop.result(), 1);
  EXPECT_EQ(card.result(), 2);
  EXPECT_EQ(card.properties().at("v"), "4.5");
}

TEST_F(LaunchTest, ApplicationWithoutAnIdRuns) {
  Application shop("shop");
  shop.manifest(R"({"desktop": {"file": "index.html"}})");
  shop.script("wz.exit(4);");
  ApplicationRun run(shop);

  // Its folder would be the application root itself, which has no such page.
  ASSERT_TRUE(run.awaitEnd());

  EXPECT_EQ(run.code(), 0);
  EXPECT_LT(run.result(), 0);
}

TEST_F(LaunchTest, LaunchAndExitStandInOneRecord) {
  Application shop("shop");
  shop.script("wz.exit();");
  ApplicationRun run(shop);

  ASSERT_TRUE(run.awaitEnd());

  const std::vector<Received> records = awaitRecords("shop");
  ASSERT_EQ(records.size(), 1U);
  const Received& record = records.front();
  EXPECT_EQ(record.from, "shop");
  EXPECT_EQ(record.to, "1");
  EXPECT_EQ(record.name, "_WZLog");
  EXPECT_EQ(record.flags, 0U);
  EXPECT_THAT(record.payload.keys(), ElementsAre("data"));
  const zelipc::JSObject& data = record.payload["data"];
  EXPECT_THAT(data.keys(), testing::UnorderedElementsAre("sys", "sSys", "v", "spId", "h", "msgs"));
  for (const auto& [key, value] : Pairs{{"sys", "ZTK"},
                                        {"sSys", "shop"},
                                        {"v", "1.2.3"},
                                        {"spId", "123456"},
                                        {"h", "10000000001"}}) {
    EXPECT_TRUE(data[key].isString()) << key;
    EXPECT_EQ(data[key].asString(), value) << key;
  }
  const zelipc::JSObject& messages = data["msgs"];
  ASSERT_TRUE(messages.isArray());
  ASSERT_EQ(messages.size(), 2U);
  const char* const kTexts[][2] = {{"Application launched", "LAUNCH"},
                                   {"Application ended", "EXIT"}};
  for (std::size_t index = 0; index < 2; ++index) {
    const zelipc::JSObject& message = messages.at(index);
    EXPECT_THAT(message.keys(), testing::UnorderedElementsAre("t", "s", "msgT", "msg", "aE"));
    EXPECT_TRUE(message["s"].isInt());
    EXPECT_EQ(message["s"].asInt(), 5);
    EXPECT_EQ(message["msgT"].asString(), "APPLICATION");
    EXPECT_EQ(message["msg"].asString(), kTexts[index][0]);
    EXPECT_EQ(message["aE"].asString(), kTexts[index][1]);
    EXPECT_THAT(message["t"].asString(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"
                             "[+-][0-9]{2}:[0-9]{2}:[0-9]{2}"));
  }
}

TEST_F(LaunchTest, HostsSystemAndMerchantAreTheRecordsPrivatePart) {
  Application shop("shop");
  shop.script("wz.exit();");
  ApplicationRun run(shop, "desktop",
                     {{"wz_parameters", R"({"wz_merchantId": "M-17", "other": 1})"},
                      {"wz_system", "POS"},
                      {"wz_system_version", "9.1"}});

  ASSERT_TRUE(run.awaitEnd());

  const std::vector<Received> records = awaitRecords("shop");
  ASSERT_EQ(records.size(), 1U);
  const zelipc::JSObject& payload = records.front().payload;
  EXPECT_EQ(payload["data"]["sys"].asString(), "POS");
  const zelipc::JSObject& origin = payload["wz_private"];
  EXPECT_THAT(origin.keys(),
              testing::UnorderedElementsAre("wz_merchantId", "wz_system", "wz_system_version"));
  EXPECT_EQ(origin["wz_merchantId"].asString(), "M-17");
  EXPECT_EQ(origin["wz_system"].asString(), "POS");
  EXPECT_EQ(origin["wz_system_version"].asString(), "9.1");
}

TEST_F(LaunchTest, PrivatePartHasOnlyWhatTheHostTold) {
  Application shop("shop");
  shop.script("wz.exit();");
  ApplicationRun run(shop, "desktop",
                     {{"wz_parameters", R"({"wz_merchantId": 17})"},
                      {"wz_system", ""},
                      {"wz_system_version", "9.1"}});

  ASSERT_TRUE(run.awaitEnd());

  const std::vector<Received> records = awaitRecords("shop");
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records.front().payload["data"]["sys"].asString(), "ZTK");
  EXPECT_THAT(records.front().payload["wz_private"].keys(), ElementsAre("wz_system_version"));
}

struct RefusedLaunch {
  const char* name;
  const char* manifest;
  const char* entry;
  int code;
};

class RefusedLaunchTest : public EndToEndTest, public testing::WithParamInterface<RefusedLaunch> {};

TEST_P(RefusedLaunchTest, IsToldByTheCodeAlone) {
  Application shop("shop");
  shop.manifest(GetParam().manifest).script("wz.exit();");
  ApplicationRun run(shop, GetParam().entry);

  EXPECT_EQ(run.code(), GetParam().code);

  EXPECT_EQ(run.timesTold(), 0);
  EXPECT_TRUE(recordsOf("shop").empty());
}

INSTANTIATE_TEST_SUITE_P(
    LaunchTest, RefusedLaunchTest,
    testing::Values(RefusedLaunch{"NeitherJsonNorKeyValue", "{\"application\": \n", "desktop", 2},
                    RefusedLaunch{"NoSuchEntry",
                                  R"({"application":{"id":"shop"},"imports_trigger":[]})", "CARD",
                                  3},
                    RefusedLaunch{"FirstMatchHasNoFile",
                                  R"({"application":{"id":"shop"},"imports_trigger":[{"id":"CARD"},
                          {"id":"CARD","file":"index.html"}]})",
                                  "CARD", 3},
                    RefusedLaunch{"NoDesktop", R"({"application":{"id":"shop"}})", "desktop", 3}),
    [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace wzapp_test
