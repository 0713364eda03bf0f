// What a page prints, as a developer reads it.

#include <string>
#include <tuple>
#include <vector>

#include "tests/platform/browser/browser_fixture.h"

namespace wzapp_test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Field;
using testing::HasSubstr;
using testing::StartsWith;
using workstation::PageEvent;

constexpr PageEvent::Kind kConsole = PageEvent::Kind::kConsole;

class ConsoleTest : public BrowserTest {
 protected:
  // The console lines of a page that runs `script` and then ends.
  std::vector<PageEvent> linesOf(const std::string& script) {
    return linesOf(TestApplication(script + "\nwz.exit();"));
  }

  std::vector<PageEvent> linesOf(const TestApplication& application) {
    EXPECT_EQ(run(application).result, 0);
    std::vector<PageEvent> lines;
    for (const PageEvent& event : host.events) {
      if (event.kind == kConsole) lines.push_back(event);
    }
    return lines;
  }

  std::vector<std::string> textsOf(const std::string& script) {
    std::vector<std::string> texts;
    for (const PageEvent& line : linesOf(script)) texts.push_back(line.texts.at(0));
    return texts;
  }
};

TEST_F(ConsoleTest, ObjectsShowWhatTheyHold) {
  EXPECT_THAT(
      textsOf(R"(
    console.log({till: 3, items: [{name: 'Tea', price: 2.5}], get total() { return 1; }});
    console.log([1, , 'two', [3, [4]]], new Map([['a', {b: 1}]]), new Set([1, 'x']));
    console.log(new (class Till { open = true })(), Object.create(null), null, undefined, -0, 10n);
    console.log(Symbol('s'), function pay() {}, new Date(0), /a+/g, new Uint8Array([1, 2]));
    const ring = {}; ring.self = ring; console.log(ring, {a: {b: {c: {d: {e: 1}}}}});)"),
      ElementsAre("{till: 3, items: [{name: \"Tea\", price: 2.5}], total: (...)}",
                  "[1, empty, \"two\", [3, [4]]] Map(1) {\"a\" => {b: 1}} Set(2) {1, \"x\"}",
                  "Till {open: true} [null prototype] {} null undefined -0 10n",
                  "Symbol(s) ƒ pay() 1970-01-01T00:00:00.000Z /a+/g Uint8Array(2) [1, 2]",
                  "{self: [Circular]} {a: {b: {c: {d: Object {…}}}}}"));
}

TEST_F(ConsoleTest, NodesShowTheirTags) {
  EXPECT_THAT(textsOf(R"(
    const line = document.createElement('p');
    line.id = 'total'; line.textContent = 'Total'; console.log(line, document);)"),
              ElementsAre("<p id=\"total\">Total</p> #document"));
}

TEST_F(ConsoleTest, ErrorsShowTheirStackAndTheirCause) {
  const std::vector<std::string> texts = textsOf(R"(
    function pay() { throw new TypeError('no card'); }
    try { pay(); } catch (error) {
      console.error(new Error('not paid', {cause: Object.assign(error, {code: 5})}));
    })");

  ASSERT_EQ(texts.size(), 1U);
  EXPECT_THAT(texts[0], StartsWith("Error: not paid\n    at index.html:"));
  EXPECT_THAT(texts[0], HasSubstr("\nCaused by: TypeError: no card\n    at pay (index.html:"));
  EXPECT_THAT(texts[0], EndsWith(" {code: 5}"));
}

TEST_F(ConsoleTest, FormatCharactersAreApplied) {
  EXPECT_THAT(textsOf(R"(
    console.log('%s of %d, %i, %f: %o %O%c!', 'two', 3.7, '4.9', '5.5', {a: 1}, [2], 'color: red');
    console.log('100 %', 'of %s', '%%', 7); console.log('%d', 'x'); console.log('%s');)"),
              ElementsAre("two of 3, 4, 5.5: {a: 1} [2]!", "100 % of %s %% 7", "NaN", "%s"));
}

TEST_F(ConsoleTest, GroupsAreNestedUntilTheyEnd) {
  const auto lines = linesOf(R"(
    console.group('Basket'); console.log('tea'); console.groupCollapsed('Milk');
    console.log('none'); console.groupEnd(); console.groupEnd(); console.groupEnd();
    console.log('done');)");

  std::vector<int> depths;
  for (const PageEvent& line : lines) depths.push_back(line.depth);
  EXPECT_THAT(depths, ElementsAre(0, 1, 1, 2, 0));
}

TEST_F(ConsoleTest, TablesAreDrawn) {
  EXPECT_THAT(textsOf("console.table([{name: 'Tea', n: 2}, {name: 'Öl'}, 5]);"),
              ElementsAre("┌─────────┬───────┬───┬───────┐\n"
                          "│ (index) │ name  │ n │ Value │\n"
                          "├─────────┼───────┼───┼───────┤\n"
                          "│ 0       │ \"Tea\" │ 2 │       │\n"
                          "│ 1       │ \"Öl\"  │   │       │\n"
                          "│ 2       │       │   │ 5     │\n"
                          "└─────────┴───────┴───┴───────┘"));
}

TEST_F(ConsoleTest, CountsTimersAssertionsAndTracesSayWhatTheyAre) {
  const auto lines = linesOf(R"(
    console.count('till'); console.count('till');
    console.time('pay'); console.timeEnd('pay');
    console.assert(true, 'no'); console.assert(false, 'two', {is: 3}); console.assert(false);
    function pay() { console.trace('here', 1); } pay();)");

  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[0].texts[0], "till: 1");
  EXPECT_EQ(lines[1].texts[0], "till: 2");
  EXPECT_THAT(lines[2].texts[0], AllOf(StartsWith("pay: "), EndsWith(" ms")));
  EXPECT_EQ(lines[3].texts[0], "Assertion failed: two {is: 3}");
  EXPECT_EQ(lines[3].level, 3);
  EXPECT_EQ(lines[4].texts[0], "Assertion failed");
  EXPECT_THAT(lines[5].texts[0], StartsWith("Trace: here 1\n    at pay (index.html:"));
}

auto isUncaughtAt(const std::string& file, int line) {
  return AllOf(Field(&PageEvent::isUncaught, true), Field(&PageEvent::level, 3),
               Field(&PageEvent::place, AllOf(Field(&PageEvent::Place::file, file),
                                              Field(&PageEvent::Place::line, line))));
}

TEST_F(ConsoleTest, LinesNameTheirPlace) {
  TestApplication application("");
  application.file("index.html", "<script src=app.js></script>");
  application.file("app.js", "\n  console.log('x');\nwz.exit();");

  const auto lines = linesOf(application);

  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].place.file, "app.js");
  EXPECT_EQ(lines[0].place.line, 2);
  EXPECT_EQ(lines[0].place.column, 11);
  EXPECT_FALSE(lines[0].isUncaught);
}

TEST_F(ConsoleTest, WhatNobodyCatchesIsToldWithItsPlace) {
  TestApplication application("");
  application.file(
      "index.html",
      "<script src=thrown.js></script><script src=broken.js></script>"
      "<script src=rejected.js></script>"
      "<script type=module src=module.mjs></script>"
      "<script>addEventListener('load', () => setTimeout(() => wz.exit(), 50))</script>");
  application.file("thrown.js", "\nthrow new RangeError('too much', {cause: 'greed'});");
  application.file("broken.js", "\n\nlet = ;");
  application.file("rejected.js", "Promise.reject({code: 7});");
  application.file("module.mjs", "import {none} from './other.mjs';");
  application.file("other.mjs", "export const one = 1;");

  const auto lines = linesOf(application);

  ASSERT_EQ(lines.size(), 4U);
  EXPECT_THAT(lines[0], isUncaughtAt("thrown.js", 2));
  EXPECT_EQ(lines[0].texts[0],
            "Uncaught RangeError: too much\n    at thrown.js:2:7\nCaused by: \"greed\"");
  EXPECT_THAT(lines[1], isUncaughtAt("broken.js", 3));
  EXPECT_THAT(lines[1].texts[0], StartsWith("Uncaught SyntaxError: "));
  const auto& [rejected, module] = std::tie(lines[2], lines[3]);
  const bool inOrder = rejected.texts[0].find("promise") != std::string::npos;
  EXPECT_EQ((inOrder ? rejected : module).texts[0], "Uncaught (in promise) {code: 7}");
  EXPECT_THAT((inOrder ? module : rejected), isUncaughtAt("module.mjs", 1));
}

// A wrong call is thrown in the platform's own script, which is no file; what is wrong stands in
// the page's.
TEST_F(ConsoleTest, AWrongCallIsToldWithThePlaceOfTheCall) {
  TestApplication application("");
  application.file("index.html",
                   "<script src=app.js></script>"
                   "<script>setTimeout(() => wz.exit(), 50)</script>");
  application.file("app.js", "\n\nwz.log('info', {});");

  const auto lines = linesOf(application);

  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0], isUncaughtAt("app.js", 3));
  EXPECT_THAT(lines[0].texts[0], StartsWith("Uncaught TypeError: wz: a text must be a string"));
}

TEST_F(ConsoleTest, ALongLineIsShortenedAndThoseBehindItAreShown) {
  const TestApplication application(
      "console.log('x' + 'é'.repeat(1e6)); console.log('behind'); wz.exit();");

  const auto lines = linesOf(application);

  ASSERT_EQ(lines.size(), 2U);
  EXPECT_LT(lines[0].texts[0].size(), 1'100'000U);
  EXPECT_THAT(lines[0].texts[0], testing::EndsWith("é… (951426 octets more)"));
  EXPECT_EQ(lines[1].texts[0], "behind");
}

// What the page does comes out in its order, although objects are asked for what they hold.
TEST_F(ConsoleTest, LinesKeepTheirOrderAmongOtherEvents) {
  const TestApplication application(R"(
    console.log({n: 1}); wz.log('info', 'second'); console.log('third');
    wz.notify('desk', 'FOURTH', {}).then(() => { console.log([5]); wz.exit(); });)");

  EXPECT_EQ(run(application).result, 0);

  std::vector<std::string> story;
  for (const PageEvent& event : host.events) {
    if (event.kind == kConsole || event.kind == PageEvent::Kind::kLog)
      story.push_back(event.texts[0]);
    if (event.kind == PageEvent::Kind::kSent) story.push_back(event.message.name);
  }
  EXPECT_THAT(story, ElementsAre("{n: 1}", "second", "third", "FOURTH", "[5]"));
}

// A page that waits for a reply does not answer: its lines come without what only it knows.
TEST_F(ConsoleTest, APageThatStandsStillHoldsNothingUp) {
  const TestApplication application(R"(
    console.log({a: {b: 1}}); wz.notifyAndWaitSync('desk', 'LOOKUP'); wz.exit();)");

  EXPECT_EQ(run(application).result, 0);

  EXPECT_EQ(host.events.at(1).texts.at(0), "{a: {…}}");
  EXPECT_EQ(host.events.at(2).kind, PageEvent::Kind::kSent);
  EXPECT_EQ(host.events.at(3).kind, PageEvent::Kind::kReply);
  EXPECT_EQ(host.events.at(3).message.payload, R"({"ok":true})");
}

// Nothing of the page runs because its values are shown.
TEST_F(ConsoleTest, ShowingAValueRunsNothingOfThePage) {
  EXPECT_THAT(textsOf(R"(
    let ran = 'nothing ran';
    const ask = () => { ran = 'ran'; return 1; };
    console.log(new Proxy({}, {ownKeys: ask, get: ask}), {get a() { return ask(); }});
    console.log([new Proxy({x: 1}, {ownKeys: ask, getPrototypeOf: ask})]);
    console.log({toJSON: ask, toString: ask, [Symbol.toPrimitive]: ask, valueOf: ask});
    console.log(ran);)")
                  .back(),
              "nothing ran");
}

TEST_F(ConsoleTest, AFloodOfObjectsNeitherFillsTheMemoryNorHoldsUpTheEnd) {
  const TestApplication application(R"(
    const big = {list: new Array(1e6).fill('x')};
    for (let i = 0; i < 6000; ++i) console.log(big, i);
    wz.exit(0);)");

  EXPECT_EQ(run(application).result, 0);

  std::size_t size = 0;
  for (const PageEvent& event : host.events) {
    for (const std::string& text : event.texts) size += text.size();
  }
  EXPECT_LT(size, std::size_t{32} << 20);
}

}  // namespace
}  // namespace wzapp_test
