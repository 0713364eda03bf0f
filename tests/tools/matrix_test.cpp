// wz matrix: packages on many terminals.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/tools/key_files.h"
#include "tests/tools/program.h"
#include "tests/tools/sample_application.h"
#include "tools/wz/terminal/development_roots.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

constexpr int kDone = 0, kRejected = 1, kUsage = 2, kEnvironment = 3;

Arguments operator+(Arguments some, const Arguments& more) {
  some.insert(some.end(), more.begin(), more.end());
  return some;
}

// Packages of every kind of fate, made once for all tests.
struct Packages {
  TemporaryDirectory folder;
  std::string shop = folder / "shop.zip", older = folder / "shop-old.zip",
              other = folder / "other.zip", needy = folder / "needy.zip",
              giver = folder / "giver.zip", mean = folder / "mean.zip", cut = folder / "cut.zip";

  Packages() {
    pack(shop, R"({"application": {"id": "shop", "version": "1.2"}, "sponsors": ["123456"]})");
    pack(older, R"({"application": {"id": "shop", "version": "1.1"}, "sponsors": ["123456"]})");
    pack(other, R"({"application": {"id": "other", "version": "1.0"}, "sponsors": ["654321"]})");
    pack(giver, R"({"application": {"id": "giver", "version": "2.0"}, "sponsors": ["123456"],
                    "exports_trigger": [{"id": "GIFT"}]})");
    pack(mean, R"({"application": {"id": "giver", "version": "3.0"}, "sponsors": ["123456"]})");
    pack(needy, R"({"application": {"id": "needy", "version": "1.0"}, "sponsors": ["123456"],
                    "imports_trigger": [{"id": "GIFT"}]})");
    folder.write("cut.zip", contentOf(shop).substr(0, 1500));
  }

  static void pack(const std::string& file, const std::string& manifest) {
    const SampleApplication app;
    app.write("manifest.mft", manifest);
    const ProgramResult packed =
        runWz({"pack", app.path(), "-o", file, "--keys", DEVELOPMENT_KEYS, "--allow", "WZ-0712"});
    EXPECT_EQ(packed.code, 0) << packed.out << packed.errors;
  }
};

const Packages& packages() {
  static const Packages made;
  return made;
}

std::string profile(const std::string& more = "", const std::string& sponsor = "123456",
                    const std::string& serial = "1") {
  return R"({"serial": ")" + serial +
         R"(", "model": "T30", "display": {"width": 480, "height": 800, "colour": true}, )"
         R"("memory": 524288, "keys": 0, "touch": true, "sponsor": {"id": ")" +
         sponsor + R"(", "text": "a sponsor"})" + (more.empty() ? "" : ", " + more) + "}\n";
}

// Of the cells in lines of JSON: "shop.zip on desk: refused WZ-0503".
std::vector<std::string> cellsOf(const std::string& lines) {
  std::vector<std::string> cells;
  for (const std::string& line : linesOf(lines)) {
    rapidjson::Document value;
    value.Parse(line.c_str());
    if (!value.IsObject() || !value.HasMember("event") ||
        std::string(value["event"].GetString()) != "cell") {
      continue;
    }
    const std::string code = value["code"].GetString();
    cells.push_back(fs::path(value["package"].GetString()).filename().string() + " on " +
                    value["terminal"].GetString() + ": " + value["word"].GetString() +
                    (code.empty() ? "" : " " + code));
  }
  return cells;
}

class MatrixTest : public testing::Test {
 protected:
  void SetUp() override {
    if (wz::developmentRoots().empty()) GTEST_SKIP() << "built with a product's authorities";
  }

  // Lines of JSON, from a fleet in a file.
  std::string found(const Arguments& files, const std::string& fleet, const Arguments& more = {},
                    int code = kDone) {
    const std::string terminals = folder_.write("fleet.jsonl", fleet);
    const ProgramResult result =
        runWz(Arguments{"matrix", "--json"} + files + Arguments{"--terminals", terminals} + more);
    EXPECT_EQ(result.code, code) << result.out << result.errors;
    return result.out;
  }

  TemporaryDirectory folder_;
};

// ---- Verdicts ----------------------------------------------------------------------------------

TEST_F(MatrixTest, EachPackageIsTriedOnEachTerminal) {
  const std::string out =
      found({packages().shop, packages().other, packages().cut},
            profile(R"("name": "desk")") + profile(R"("name": "till")", "654321"), {}, kRejected);

  EXPECT_THAT(cellsOf(out),
              ElementsAre("shop.zip on desk: accepted", "shop.zip on till: refused WZ-0503",
                          "other.zip on desk: refused WZ-0503", "other.zip on till: accepted",
                          "cut.zip on desk: refused WZ-0111", "cut.zip on till: refused WZ-0111"));
}

// One after the other and not one behind the other: what one has brought is not there for the next.
TEST_F(MatrixTest, TrialsDoNotKnowOfOneAnother) {
  const Arguments files{packages().giver, packages().needy, packages().shop, packages().older};

  EXPECT_THAT(cellsOf(found(files, profile(R"("name": "desk")"), {}, kRejected)),
              ElementsAre("giver.zip on desk: accepted", "needy.zip on desk: refused WZ-0514",
                          "shop.zip on desk: accepted", "shop-old.zip on desk: accepted"));
}

TEST_F(MatrixTest, TogetherPackagesMayNeedOneAnother) {
  const std::string out =
      found({packages().giver, packages().needy},
            profile(R"("name": "desk")") + profile(R"("name": "till")", "654321"), {"--together"},
            kRejected);

  EXPECT_THAT(
      cellsOf(out),
      ElementsAre("giver.zip on desk: accepted", "needy.zip on desk: accepted",
                  "giver.zip on till: refused WZ-0503", "needy.zip on till: refused WZ-0503"));
}

// WZ-0521 and WZ-0522: the package is installed, and yet.
TEST_F(MatrixTest, WhatIsThereIsLookedAt) {
  packages();
  const std::string there =
      R"("installed": [")" + packages().giver + R"(", ")" + packages().needy + R"("])";
  const std::string fleet =
      profile(R"("name": "full", )" + there) +
      profile(R"("name": "new", "installed": [")" + packages().shop + R"("])");

  EXPECT_THAT(
      cellsOf(found({packages().needy, packages().mean, packages().older}, fleet, {}, kRejected)),
      ElementsAre("needy.zip on full: accepted", "needy.zip on new: refused WZ-0514",
                  "mean.zip on full: removes WZ-0521", "mean.zip on new: accepted",
                  "shop-old.zip on full: accepted", "shop-old.zip on new: downgrades WZ-0522"));
}

// The folder is looked at and stays as it is.
TEST_F(MatrixTest, ATerminalsFolderStandsForItself) {
  const std::string desk = folder_ / "desk";
  ASSERT_EQ(runWz({"terminal", "create", desk, "--trigger", "GIFT"}).code, 0);
  ASSERT_EQ(runWz({"install", "--terminal", desk, packages().shop}).code, 0);
  const std::string before = runWz({"list", "--json", "--terminal", desk}).out;

  const ProgramResult result = runWz({"matrix", "--json", packages().older, packages().needy,
                                      "--terminals", desk, folder_ / "desk/terminal.json"});
  const ProgramResult once = runWz(
      {"matrix", "--json", packages().older, packages().needy, "--terminals", folder_.path()});

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("a second terminal is called " + desk));
  EXPECT_THAT(cellsOf(once.out), ElementsAre("shop-old.zip on " + desk + ": downgrades WZ-0522",
                                             "needy.zip on " + desk + ": accepted"));
  EXPECT_EQ(runWz({"list", "--json", "--terminal", desk}).out, before);
}

// What a matrix says of a cell is what an installation on a copy says.
TEST_F(MatrixTest, ItAgreesWithADryRun) {
  const std::string desk = folder_ / "desk";
  ASSERT_EQ(runWz({"terminal", "create", desk}).code, 0);
  const Arguments all{packages().shop, packages().other, packages().needy, packages().cut};

  const ProgramResult matrix =
      runWz(Arguments{"matrix", "--json"} + all + Arguments{"--terminals", desk});

  std::map<std::string, std::string> words;
  for (const std::string& line : linesOf(matrix.out)) {
    rapidjson::Document value;
    value.Parse(line.c_str());
    if (value.HasMember("word")) words[value["package"].GetString()] = line;
  }
  for (const std::string& file : all) {
    rapidjson::Document trial, cell;
    trial.Parse(runWz({"install", "--dry-run", "--json", "--terminal", desk, file}).out.c_str());
    cell.Parse(words[file].c_str());
    const auto& package = trial["result"]["packages"][0];
    EXPECT_EQ(package["done"].GetBool(), std::string(cell["word"].GetString()) != "refused")
        << file;
    EXPECT_TRUE(package["reasons"] == cell["reasons"]) << file << words[file];
    EXPECT_TRUE(trial["diagnostics"] == cell["diagnostics"]) << file << words[file];
    EXPECT_TRUE(trial["result"]["changes"] == cell["changes"]) << file << words[file];
  }
}

// ---- Groups ------------------------------------------------------------------------------------

// Terminals that differ in what no installation looks at, and in each thing that one looks at.
std::string mixedFleet(const std::string& package) {
  std::string lines;
  int number = 0;
  const auto add = [&](const std::string& line, const std::string& more = "") {
    std::string named = line;
    named.replace(named.rfind('}'), 1,
                  R"(, "name": "t)" + std::to_string(number++) + "\"" + more + "}");
    lines += named;
  };
  for (const char* const serial : {"1", "2", "3"}) add(profile("", "123456", serial));
  std::string memory = profile(), text = profile(), model = profile(), keys = profile();
  memory.replace(memory.find("524288"), 6, "262144");
  text.replace(text.find("a sponsor"), 9, "another text");
  model.replace(model.find("\"T30\""), 5, "\"N255k\"");
  keys.replace(keys.find("480"), 3, "320");
  for (const std::string& line : {memory, text, model, keys}) add(line);
  add(profile("", "654321"));
  add(profile(), R"(, "exports": {"triggers": ["GIFT"]})");
  add(profile(), R"(, "installed": [")" + package + R"("])");
  add(profile(), R"(, "installed": [")" + package + R"("], "count": 7)");
  return lines;
}

TEST_F(MatrixTest, EqualTerminalsAreTriedOnceAndSayTheSame) {
  const Arguments all{packages().shop, packages().older, packages().needy, packages().mean};
  const std::string fleet = mixedFleet(packages().giver);

  const std::string grouped = found(all, fleet, {}, kRejected);
  const std::string ungrouped = found(all, fleet, {"--ungrouped"}, kRejected);

  EXPECT_EQ(grouped, ungrouped);
  const std::vector<std::string> distinct = cellsOf(found(all, fleet, {"--distinct"}, kRejected));
  EXPECT_EQ(distinct.size(), 6 * all.size());
  EXPECT_THAT(cellsOf(grouped), testing::IsSupersetOf(distinct));
  const ProgramResult table =
      runWz(Arguments{"matrix"} + all + Arguments{"--terminals", folder_ / "fleet.jsonl"});
  EXPECT_EQ(table.errors, "wz: 11 terminals, 6 of them different\n");
}

// ---- Ways out ----------------------------------------------------------------------------------

TEST_F(MatrixTest, TheTableHasAWordAndACodeForEachCell) {
  const std::string fleet = folder_.write(
      "fleet.jsonl", profile(R"("name": "desk")") + profile(R"("name": "till")", "654321"));

  const ProgramResult result = runWz({"matrix", "shop.zip", "cut.zip", "--terminals", fleet},
                                     [] { (void)!chdir(packages().folder.path().c_str()); });

  EXPECT_EQ(result.code, kRejected);
  EXPECT_EQ(result.errors, "");
  const std::vector<std::string> lines = linesOf(result.out);
  ASSERT_GT(lines.size(), 8U);
  EXPECT_EQ(lines[0], "          desk                till");
  EXPECT_EQ(lines[1], "shop.zip  accepted            refused WZ-0503");
  EXPECT_EQ(lines[2], "cut.zip   refused WZ-0111     refused WZ-0111");
  EXPECT_EQ(lines[4], "WZ-0111, 2 cells: the archive is cut off");
  EXPECT_THAT(lines[5], StartsWith("  such as cut.zip on desk: "));
  EXPECT_THAT(lines[6], StartsWith("  repair: "));
  EXPECT_EQ(lines.back(), "4 cells: 1 accepted, 3 refused");
}

TEST_F(MatrixTest, AWideTableIsTold) {
  std::string fleet;
  for (int i = 0; i < 30; ++i) {
    fleet += profile(R"("name": "desk-)" + std::to_string(i) + "\"", i == 7 ? "654321" : "123456");
  }
  folder_.write("fleet.jsonl", fleet);

  const ProgramResult result =
      runWz({"matrix", packages().shop, "--terminals", folder_ / "fleet.jsonl"});

  const std::vector<std::string> lines = linesOf(result.out);
  ASSERT_GT(lines.size(), 5U);
  EXPECT_EQ(lines[0], packages().shop);
  EXPECT_THAT(lines[1], StartsWith("  accepted            29: desk-0 desk-1 "));
  EXPECT_THAT(result.out, HasSubstr("\n  refused WZ-0503     1: desk-7\n"));
  for (const std::string& line : lines) {
    if (line.find("repair") == std::string::npos) {
      EXPECT_LE(line.size(), 160U) << line;
    }
  }
}

TEST_F(MatrixTest, ThePageHasEachCellAndEachCodeAndNoMarkupOfOthers) {
  const std::string fleet =
      folder_.write("fleet.jsonl", profile(R"("name": "<b>&\"desk")", "654321"));
  const std::string page = folder_ / "found.html";

  const ProgramResult result =
      runWz({"matrix", packages().shop, "--terminals", fleet, "--html", page});

  EXPECT_EQ(result.code, kRejected) << result.errors;
  EXPECT_THAT(contentOf(page),
              AllOf(StartsWith("<!DOCTYPE html>\n"), HasSubstr("default-src 'none'"),
                    HasSubstr("<th scope=\"col\">&lt;b&gt;&amp;&quot;desk</th>"),
                    HasSubstr("<td class=\"refused\" title=\"Error: Invalid sponsor list"),
                    HasSubstr(">refused <a href=\"#WZ-0503\">WZ-0503</a></td>"),
                    HasSubstr("<section id=\"WZ-0503\">"), Not(HasSubstr("<b>"))));
}

TEST_F(MatrixTest, LinesGoOnWhereTheyEnded) {
  const Arguments all{packages().shop, packages().cut, packages().needy, packages().other};
  const std::string fleet =
      folder_.write("fleet.jsonl", profile(R"("name": "a")") + profile(R"("name": "b")", "654321"));
  const std::string whole = folder_ / "whole.jsonl", part = folder_ / "part.jsonl";
  const auto run = [&](const std::string& output, const Arguments& more) {
    return runWz(Arguments{"matrix"} + all + Arguments{"--terminals", fleet, "-o", output} + more);
  };
  ASSERT_EQ(run(whole, {}).code, kRejected);
  const std::string wanted = contentOf(whole);

  for (const std::size_t size : {std::size_t{0}, std::size_t{40}, wanted.find("\"cell\"") + 20,
                                 wanted.size() / 2, wanted.size() - 1, wanted.size()}) {
    folder_.write("part.jsonl", wanted.substr(0, size));

    const ProgramResult result = run(part, {"--resume"});

    EXPECT_EQ(result.code, kRejected) << result.errors;
    EXPECT_EQ(contentOf(part), wanted) << size;
    EXPECT_THAT(result.out, HasSubstr("8 cells: "));
  }
  const ProgramResult other =
      runWz({"matrix", packages().shop, "--terminals", fleet, "-o", part, "--resume"});
  EXPECT_EQ(other.code, kEnvironment);
  EXPECT_THAT(other.errors, HasSubstr("is of other packages, terminals or options"));
  EXPECT_EQ(contentOf(part), wanted);
}

TEST_F(MatrixTest, SharesAreTheWhole) {
  const Arguments all{packages().shop, packages().older, packages().needy, packages().cut};
  const std::string fleet = folder_.write("fleet.jsonl", mixedFleet(packages().giver));
  for (const Arguments& how : {Arguments{}, Arguments{"--together"}}) {
    const Arguments files = how.empty() ? all : Arguments{packages().shop, packages().needy};
    const auto run = [&](const std::string& output, const Arguments& more) {
      return runWz(Arguments{"matrix"} + files + Arguments{"--terminals", fleet, "-o", output} +
                   how + more);
    };
    ASSERT_EQ(run(folder_ / "whole.jsonl", {}).code, kRejected);
    Arguments shares;
    for (const char* const share : {"3/3", "1/3", "2/3"}) {
      shares.push_back(folder_ / (std::string(1, share[0]) + ".jsonl"));
      EXPECT_LE(run(shares.back(), {"--shard", share}).code, kRejected);
    }

    const ProgramResult merged = runWz(Arguments{"matrix", "--json", "--merge"} + shares +
                                       Arguments{"-o", folder_ / "all.jsonl"});
    shares.pop_back();
    const ProgramResult less = runWz(Arguments{"matrix", "--merge"} + shares);

    EXPECT_EQ(merged.code, kRejected) << merged.errors;
    EXPECT_EQ(contentOf(folder_ / "all.jsonl"), contentOf(folder_ / "whole.jsonl"));
    EXPECT_EQ(merged.out, contentOf(folder_ / "whole.jsonl"));
    EXPECT_EQ(less.code, kEnvironment);
    EXPECT_THAT(less.errors, HasSubstr("is in none of the files: a share is missing or cut off"));
  }
}

// ---- What goes wrong ---------------------------------------------------------------------------

TEST_F(MatrixTest, MistakesInProfilesAreSaidWithTheirPlaces) {
  struct Case {
    std::string text, message;
  };
  const Case cases[] = {
      {profile() + "{\"serial\": 7}\n", "fleet.jsonl:2:12: \"serial\" must be a text"},
      {profile(R"("name": "a")") + profile(R"("name": "a")"),
       "fleet.jsonl:2: a second terminal is called a"},
      {profile(R"("count": 0)"), "\"count\" must be a whole number above 0"},
      {profile(R"("installed": "shop.zip")"), "\"installed\" must be a list of package files"},
      {profile(R"("installed": ["none.zip"])"), "none.zip, which is to be installed there"},
      {profile(R"("exports": {"trigers": []})"), "and nothing else"},
      {profile(R"("name": "a", "name": "b")"), "\"name\" stands here a second time"},
      {profile(R"("roots": "nowhere")"), "nowhere is no folder of certificates"},
      {"{\n  \"serial\": \"1\",\n  \"modle\": \"T30\"\n}\n",
       "fleet.jsonl:3:3: unknown key \"modle\""},
      {"{\n  \"serial\": \"1\",,\n}", "fleet.jsonl:2:17: not JSON"},
      {"\n", "there is no profile in it"},
      {"\xEF\xBB\xBF" + profile(), "a byte order mark stands here"},
  };
  for (const Case& one : cases) {
    const std::string fleet = folder_.write("fleet.jsonl", one.text);

    const ProgramResult result = runWz({"matrix", packages().shop, "--terminals", fleet});

    EXPECT_EQ(result.code, kEnvironment) << one.text;
    EXPECT_THAT(result.errors, HasSubstr(one.message)) << one.text;
    EXPECT_EQ(result.out, "");
  }
}

TEST_F(MatrixTest, WhatIsNotThereIsSaid) {
  const std::string fleet = folder_.write("fleet.jsonl", profile());
  fs::create_directory(folder_ / "empty");
  struct Case {
    Arguments arguments;
    int code;
    std::string message;
  };
  const Case cases[] = {
      {{packages().shop}, kUsage, "on which terminals?"},
      {{"--terminals", fleet}, kUsage, "which packages?"},
      {{"none.zip", "--terminals", fleet}, kEnvironment, "cannot read none.zip"},
      {{packages().folder.path(), "--terminals", fleet}, kUsage, "is a folder; make a package"},
      {{fleet, "--terminals", fleet}, kUsage, "names that end in .zip"},
      {{packages().shop, packages().shop, "--terminals", fleet}, kUsage, "is named twice"},
      {{packages().shop, "--terminals", "nowhere"}, kEnvironment, "cannot read nowhere"},
      {{packages().shop, "--terminals", folder_ / "empty"}, kEnvironment, "there are none in it"},
      {{"--terminals", fleet, packages().shop, "--json"}, kUsage, "which packages?"},
      {{packages().shop, "--terminals", packages().shop},
       kEnvironment,
       "is a package; name packages"},
      {{packages().shop, "--terminals", fleet, "--shard", "4/3"}, kUsage, "--shard wants K/N"},
      {{packages().shop, "--terminals", fleet, "--shard", "1"}, kUsage, "--shard wants K/N"},
      {{packages().shop, "--terminals", fleet, "--resume"}, kUsage, "--resume goes on with"},
      {{packages().shop, "--terminals", fleet, "-o", "/nowhere/x"},
       kEnvironment,
       "cannot write /nowhere/x"},
      {{packages().shop, "--terminals", fleet, "--html", "/nowhere/x"},
       kEnvironment,
       "cannot write /nowhere/x"},
      {{"--merge", fleet}, kEnvironment, "this is no matrix"},
      {{packages().shop, "--merge", fleet}, kUsage, "--merge takes what it needs"},
  };
  for (const Case& one : cases) {
    const ProgramResult result = runWz(Arguments{"matrix"} + one.arguments);

    EXPECT_EQ(result.code, one.code) << one.message << result.errors;
    EXPECT_THAT(result.errors, AllOf(StartsWith("wz: "), HasSubstr(one.message)));
  }
}

TEST_F(MatrixTest, WhatIsReadIsNotWrittenOver) {
  const std::string fleet = folder_.write("fleet.jsonl", profile());
  const std::string shop = packages().shop;
  const std::string lines = folder_ / "lines";
  ASSERT_EQ(runWz({"matrix", shop, "--terminals", fleet, "-o", lines}).code, 0);
  const Arguments cases[] = {
      {shop, "--terminals", fleet, "-o", shop},
      {shop, "--terminals", fleet, "--html", shop},
      {shop, "--terminals", fleet, "-o", fleet},
      {shop, "--terminals", fleet, "--html", fleet},
      {"--merge", lines, "-o", lines},
      {"--merge", lines, "--html", lines},
      {shop, "--terminals", fleet, "-o", folder_ / "new", "--html", folder_ / "new"}};
  for (const Arguments& arguments : cases) {
    const ProgramResult result = runWz(Arguments{"matrix"} + arguments);

    EXPECT_EQ(result.code, kUsage) << result.errors;
    EXPECT_THAT(result.errors, HasSubstr(" at once\n"));
  }
  EXPECT_EQ(runWz({"matrix", shop, "--terminals", fleet}).code, 0);
  EXPECT_EQ(runWz({"matrix", "--merge", lines}).code, 0);
}

TEST_F(MatrixTest, HalfAMatrixIsRemovedAndNothingElse) {
  const std::string fleet = folder_.write("fleet.jsonl", mixedFleet(packages().giver));
  const std::string share = folder_ / "share";
  const std::string null = folder_ / "null";
  fs::create_symlink("/dev/null", null);
  ASSERT_LE(runWz({"matrix", packages().shop, packages().older, "--terminals", fleet, "--shard",
                   "1/3", "-o", share})
                .code,
            kRejected);

  for (const std::string& output : {folder_ / "merged", null}) {
    EXPECT_EQ(runWz({"matrix", "--merge", share, "-o", output}).code, kEnvironment);
  }

  EXPECT_FALSE(fs::exists(folder_ / "merged"));
  EXPECT_TRUE(fs::exists(null));
}

// WZ-1012
TEST_F(MatrixTest, ATrialThatTakesTooLongCostsItsCell) {
  EXPECT_THAT(cellsOf(found({packages().shop}, profile(R"("name": "desk")"), {"--timeout", "0.001"},
                            kRejected)),
              ElementsAre("shop.zip on desk: died WZ-1012"));
}

// One that is ended by a signal, since a file becomes too large for it; another goes on behind it.
TEST_F(MatrixTest, ATrialThatDiesCostsItsCell) {
  const SampleApplication app;
  app.write("data.bin", std::string(1 << 20, 'x'));
  const std::string large = folder_ / "large.zip";
  ASSERT_EQ(runWz({"pack", app.path(), "-o", large, "--keys", DEVELOPMENT_KEYS}).code, 0);
  const std::string fleet = folder_.write("fleet.jsonl", profile(R"("name": "desk")"));

  const ProgramResult result = runWz({"matrix", "--json", packages().shop, large, packages().giver,
                                      packages().mean, "--terminals", fleet},
                                     [] {
                                       const rlimit limit{200000, 200000};
                                       setrlimit(RLIMIT_FSIZE, &limit);
                                     });

  EXPECT_EQ(result.code, kRejected);
  EXPECT_EQ(result.errors, "");
  EXPECT_THAT(cellsOf(result.out),
              ElementsAre("shop.zip on desk: accepted", "large.zip on desk: died WZ-1012",
                          "giver.zip on desk: accepted", "mean.zip on desk: accepted"));
  EXPECT_THAT(result.out, HasSubstr("its process was ended by the signal 25"));
}

TEST_F(MatrixTest, OutputThatIsLostEndsIt) {
  const std::string fleet = folder_.write("fleet.jsonl", profile());
  for (const char* const how : {"", "--json"}) {
    Arguments arguments{"matrix", packages().shop, "--terminals", fleet};
    if (*how != '\0') arguments.emplace_back(how);
    const ProgramResult result = runWz(arguments, [] {
      const int full = open("/dev/full", O_WRONLY);
      dup2(full, STDOUT_FILENO);
    });
    EXPECT_EQ(result.code, kEnvironment);
    EXPECT_THAT(result.errors, HasSubstr("cannot write to standard output: No space left"));
  }
  const ProgramResult file =
      runWz({"matrix", packages().shop, "--terminals", fleet, "-o", "/dev/full"});
  EXPECT_EQ(file.code, kEnvironment);
  EXPECT_THAT(file.errors, HasSubstr("cannot write /dev/full: No space left"));
}

// What it has made is removed all the same.
TEST_F(MatrixTest, AReaderThatHasGoneEndsItInOrder) {
  const std::string fleet = folder_.write("fleet.jsonl", profile());

  const ProgramResult result =
      runWz({"matrix", packages().shop, "--terminals", fleet, "--json"}, closeReader);

  EXPECT_EQ(result.code, kEnvironment);
  EXPECT_THAT(result.errors, HasSubstr("cannot write to standard output: Broken pipe"));
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

// Whether a process of the group is there that has not ended; who collects orphans may be slow.
bool isAnyAlive(pid_t group) {
  for (const auto& entry : fs::directory_iterator("/proc")) {
    if (entry.path().filename().string().find_first_not_of("0123456789") != std::string::npos) {
      continue;
    }
    std::ifstream file(entry.path().string() + "/stat");
    std::string text;
    if (!std::getline(file, text)) continue;
    const std::size_t name = text.rfind(") ");
    char state = 'Z';
    int parent = 0, own = 0;
    if (name != std::string::npos &&
        std::sscanf(text.c_str() + name, ") %c %d %d", &state, &parent, &own) == 3 &&
        own == group && state != 'Z' && state != 'X') {
      return true;
    }
  }
  return false;
}

// Neither files nor processes; the terminals were in the memory of these.
TEST_F(MatrixTest, AnInterruptLeavesNothingBehind) {
  std::string fleet;
  for (int i = 0; i < 2000; ++i) {  // none equal to another
    std::string line = profile();
    fleet += line.replace(line.find("480"), 3, std::to_string(481 + i));
  }
  folder_.write("fleet.jsonl", fleet);
  for (const int number : {SIGINT, SIGTERM, SIGKILL}) {
    Program program({"matrix", "--json", packages().shop, "--terminals", folder_ / "fleet.jsonl",
                     "-o", folder_ / "found.jsonl"},
                    [this] {
                      setpgid(0, 0);
                      setenv("TMPDIR", folder_.path().c_str(), 1);
                    });
    ASSERT_TRUE(program.awaitOutput("\"cell\""));

    program.signal(number);

    EXPECT_EQ(program.wait(), -number);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (isAnyAlive(program.id()) && std::chrono::steady_clock::now() < deadline) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));  // nothing tells of their end
    }
    EXPECT_FALSE(isAnyAlive(program.id()));
    EXPECT_THAT(namesIn(folder_.path()), ElementsAre("fleet.jsonl", "found.jsonl"));
  }
}

}  // namespace
}  // namespace wzapp_test
