#include "support/platform_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <thread>

#include "tests/builders/child_process.h"
#include "tests/builders/wrapped_calls.h"
#include "tests/support/fake_platform.h"

namespace wzapp {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using wzapp_test::FakePlatform;
using wzapp_test::PlatformQuery;
using wzapp_test::runInChild;
using wzapp_test::WrappedCalls;

constexpr int kMemory = 39;
constexpr int kDisplay = 46;
constexpr int kModel = 68;
constexpr int kKeypad = 72;

constexpr PlatformQuery kModelQuery = {kModel, 13};
constexpr PlatformQuery kDisplayQuery = {kDisplay, 72};

// A terminal with a model name and, if told so, the touch controller's device.
class Terminal : public FakePlatform {
 public:
  explicit Terminal(const std::string& model, bool hasTouchDevice = false) {
    info[kModel] = model + std::string(1, '\0');
    calls_.stat = [hasTouchDevice](const char* path, struct stat* status) {
      if (std::string(path) != "/sys/devices/platform/captouch.0") {
        return wzapp_test::realStat(path, status);
      }
      return hasTouchDevice ? 0 : -1;
    };
  }

 private:
  WrappedCalls calls_;
};

// --- modelName --------------------------------------------------------------------------------

struct NameCase {
  const char* told;
  const char* name;
};

class ModelNameTest : public testing::TestWithParam<NameCase> {};

TEST_P(ModelNameTest, IsCutToWhatTellsModelsApart) {
  runInChild([] {
    const Terminal terminal(GetParam().told);

    EXPECT_STREQ(modelName(), GetParam().name);
  });
}

INSTANTIATE_TEST_SUITE_P(
    All, ModelNameTest,
    testing::Values(
        NameCase{"T30", "T30"}, NameCase{"T30x", "T30"}, NameCase{"T3045678", "T30"},
        NameCase{"t30xy", "t30x"}, NameCase{"T3", "T3"}, NameCase{"T7", "T7"},
        NameCase{"T7Plus", "T7"}, NameCase{"t7plus", "t7pl"}, NameCase{"N255k", "N255k"},
        NameCase{"N255kX", "N255k"}, NameCase{"N255k more", "N255k"}, NameCase{"N255K", "N255"},
        NameCase{"N273", "N273"}, NameCase{"N273xy", "N273"}, NameCase{"N466k", "N466k"},
        NameCase{"N466kX", "N466k"}, NameCase{"N466xy", "N466"}, NameCase{"N277w", "N277w"},
        NameCase{"N277wX", "N277w"}, NameCase{"n277w", "n277"}, NameCase{"LN-ZAP", "T30"},
        NameCase{"LN-ZAP2000", "T30"}, NameCase{"LN-ZAQ", "LN-Z"}, NameCase{"ln-zap", "ln-z"},
        NameCase{"LNRADIOMOD7", "T30"}, NameCase{"LNRADIOMOD7x", "T30"},
        NameCase{"LNRADIOMOD8", "LNRA"}, NameCase{"KM420", "KM42"}, NameCase{"KM420C", "KM42"},
        NameCase{"WP200", "WP20"}, NameCase{"K271", "K271"}, NameCase{"k271 b", "k271"},
        NameCase{"abc", "abc"}, NameCase{"a", "a"}, NameCase{"abcd", "abcd"},
        NameCase{"abcde", "abcd"}, NameCase{"T30 x", "T30"}, NameCase{"T 30", "T"},
        NameCase{"", ""}, NameCase{" T30", ""}));

TEST(ModelNameCacheTest, AsksOnceForTheBuffersSize) {
  runInChild([] {
    const Terminal terminal("N273");

    const char* const name = modelName();

    EXPECT_EQ(modelName(), name);
    EXPECT_STREQ(name, "N273");
    EXPECT_THAT(terminal.queries, ElementsAre(kModelQuery));
  });
}

TEST(ModelNameCacheTest, IsNeverReset) {
  runInChild([] {
    const char* name = nullptr;
    {
      const Terminal terminal("N273");
      name = modelName();
    }
    const Terminal another("T30");

    EXPECT_EQ(modelName(), name);
    EXPECT_STREQ(name, "N273");
  });
}

TEST(ModelNameCacheTest, AsksAgainWhileTheNameIsEmpty) {
  runInChild([] {
    Terminal terminal("");
    EXPECT_STREQ(modelName(), "");

    terminal.info[kModel] = std::string("T7\0", 3);

    EXPECT_STREQ(modelName(), "T7");
  });
}

TEST(ModelNameCacheTest, KeepsTheNameOfAFailedQuery) {
  runInChild([] {
    FakePlatform platform;
    EXPECT_STREQ(modelName(), "unkn");

    platform.info[kModel] = std::string("T7\0", 3);

    EXPECT_STREQ(modelName(), "unkn");
  });
}

TEST(ModelNameCacheTest, TakesAnAnswerThatFillsTheBuffer) {
  runInChild([] {
    FakePlatform platform;
    platform.info[kModel] = "N466kABCDEFGH";

    EXPECT_STREQ(modelName(), "N466k");
  });
}

TEST(ModelNameCacheTest, AsksTheDisplayOfAKM420Only) {
  runInChild([] {
    Terminal terminal("KM420 x");
    terminal.setRecord(kDisplay, 72, {1, 320, 240});

    EXPECT_STREQ(modelName(), "KM42");

    EXPECT_THAT(terminal.queries, ElementsAre(kModelQuery, kDisplayQuery));
  });
  runInChild([] {
    const Terminal terminal("KM420C");

    EXPECT_STREQ(modelName(), "KM42");

    EXPECT_THAT(terminal.queries, ElementsAre(kModelQuery));
  });
}

TEST(ModelNameCacheTest, MayBeFilledByTwoThreadsAtOnce) {
  runInChild([] {
    const Terminal terminal("N255k");
    std::string first;
    std::string second;
    int firstTouch = -1;
    int secondTouch = -1;

    std::thread thread([&] {
      first = modelName();
      firstTouch = hasTouchScreen();
    });
    second = modelName();
    secondTouch = hasTouchScreen();
    thread.join();

    EXPECT_EQ(first, "N255k");
    EXPECT_EQ(second, "N255k");
    EXPECT_EQ(firstTouch, 1);
    EXPECT_EQ(secondTouch, 1);
  });
}

// --- hasTouchScreen ---------------------------------------------------------------------------

struct TouchCase {
  const char* model;
  int hasTouch;
};

class TouchScreenTest : public testing::TestWithParam<TouchCase> {};

TEST_P(TouchScreenTest, IsToldByTheModel) {
  runInChild([] {
    const Terminal terminal(GetParam().model);

    EXPECT_EQ(hasTouchScreen(), GetParam().hasTouch);
  });
}

TEST_P(TouchScreenTest, IsToldByTheDeviceFirst) {
  runInChild([] {
    const Terminal terminal(GetParam().model, true);

    EXPECT_EQ(hasTouchScreen(), 1);

    EXPECT_THAT(terminal.queries, ElementsAre());
  });
}

INSTANTIATE_TEST_SUITE_P(
    All, TouchScreenTest,
    testing::Values(TouchCase{"T30", 1}, TouchCase{"T7", 1}, TouchCase{"N255k", 1},
                    TouchCase{"n255k", 0}, TouchCase{"N255x", 0}, TouchCase{"N273", 1},
                    TouchCase{"n273", 1}, TouchCase{"k293", 1}, TouchCase{"K293", 1},
                    TouchCase{"k291", 1}, TouchCase{"K291", 1}, TouchCase{"N466k", 1},
                    TouchCase{"N277w", 0}, TouchCase{"K271", 0}, TouchCase{"k247", 0},
                    TouchCase{"K335", 1}, TouchCase{"x2", 0}, TouchCase{"x3", 1}, TouchCase{"x", 0},
                    TouchCase{"2", 0}, TouchCase{"", 0}, TouchCase{"x222", 0}, TouchCase{"22", 0},
                    TouchCase{"23", 1}));

TEST(TouchScreenCacheTest, IsFoundOutOnce) {
  for (const bool hasDevice : {false, true}) {
    runInChild([hasDevice] {
      {
        const Terminal terminal("x2", hasDevice);
        EXPECT_EQ(hasTouchScreen(), hasDevice ? 1 : 0);
      }
      const Terminal another("x2", !hasDevice);

      EXPECT_EQ(hasTouchScreen(), hasDevice ? 1 : 0);
    });
  }
}

TEST(TouchScreenCacheTest, IsThereOnAnUnknownModel) {
  runInChild([] {
    WrappedCalls calls;
    calls.stat = [](const char*, struct stat*) { return -1; };

    EXPECT_EQ(hasTouchScreen(), 1);
  });
}

// --- displayInfo and memorySizeKB -------------------------------------------------------------

struct DisplayCase {
  std::uint32_t colour;
  int depth;
};

class DisplayInfoTest : public testing::TestWithParam<DisplayCase> {};

TEST_P(DisplayInfoTest, IsTakenFromTheRecord) {
  FakePlatform platform;
  platform.setRecord(kDisplay, 72, {GetParam().colour, 480, 800});
  int width = 7;
  int height = 7;
  int depth = 7;

  displayInfo(width, height, depth);

  EXPECT_EQ(width, 480);
  EXPECT_EQ(height, 800);
  EXPECT_EQ(depth, GetParam().depth);
  EXPECT_THAT(platform.queries, ElementsAre(kDisplayQuery));
}

INSTANTIATE_TEST_SUITE_P(All, DisplayInfoTest,
                         testing::Values(DisplayCase{0, 1}, DisplayCase{1, 24}, DisplayCase{2, 24},
                                         DisplayCase{0x80000000, 24}));

TEST(DisplayInfoFailureTest, LeavesSizeAndDepthUnknown) {
  const FakePlatform platform;
  int width = 7;
  int height = 7;
  int depth = 7;

  displayInfo(width, height, depth);

  EXPECT_EQ(width, -1);
  EXPECT_EQ(height, -1);
  EXPECT_EQ(depth, 0);
}

struct MemoryCase {
  std::uint32_t octets;
  unsigned int size;
};

class MemorySizeTest : public testing::TestWithParam<MemoryCase> {};

TEST_P(MemorySizeTest, IsRoundedDown) {
  FakePlatform platform;
  platform.setRecord(kMemory, 16, {GetParam().octets, 7, 7, 7});

  EXPECT_EQ(memorySizeKB(), GetParam().size);

  EXPECT_THAT(platform.queries, ElementsAre(PlatformQuery{kMemory, 16}));
}

INSTANTIATE_TEST_SUITE_P(All, MemorySizeTest,
                         testing::Values(MemoryCase{0, 0}, MemoryCase{1023, 0}, MemoryCase{1024, 1},
                                         MemoryCase{2047, 1}, MemoryCase{536870912, 524288},
                                         MemoryCase{536870911, 524287},
                                         MemoryCase{2147483648, 2097152},
                                         MemoryCase{4294967295, 4194303}));

TEST(MemorySizeFailureTest, IsZero) {
  const FakePlatform platform;

  EXPECT_EQ(memorySizeKB(), 0U);
}

// --- keyCount ---------------------------------------------------------------------------------

struct KeyCase {
  const char* model;
  int keys;
};

class KeyCountTest : public testing::TestWithParam<KeyCase> {};

TEST_P(KeyCountTest, IsToldByTheModel) {
  runInChild([] {
    Terminal terminal(GetParam().model);
    terminal.setRecord(kKeypad, 52, {1, 2, 3, 99});

    EXPECT_EQ(keyCount(), GetParam().keys);

    EXPECT_THAT(terminal.queries, Not(Contains(PlatformQuery{kKeypad, 52})));
  });
}

INSTANTIATE_TEST_SUITE_P(
    Named, KeyCountTest,
    testing::Values(KeyCase{"K271", 15}, KeyCase{"K335", 15}, KeyCase{"K357", 15},
                    KeyCase{"K379", 15}, KeyCase{"k271", 15}, KeyCase{"k335", 15},
                    KeyCase{"T30", 0}, KeyCase{"t30", 0}, KeyCase{"T7", 0}, KeyCase{"t7", 0},
                    KeyCase{"t7ab", 0}, KeyCase{"N255k", 15}, KeyCase{"N273", 15},
                    KeyCase{"n273", 15}, KeyCase{"k247", 15}, KeyCase{"K247", 15},
                    KeyCase{"k293", 15}, KeyCase{"k291", 0}, KeyCase{"K291", 0},
                    KeyCase{"G570", 15}, KeyCase{"g570", 15}));

// Names whose rows are longer than what the model name keeps of them.
INSTANTIATE_TEST_SUITE_P(CutNames, KeyCountTest,
                         testing::Values(KeyCase{"Qelta", 21}, KeyCase{"DuoQelta8", 21},
                                         KeyCase{"WP105", 21}, KeyCase{"WP200", 21},
                                         KeyCase{"WP310", 21}, KeyCase{"KM420", 21},
                                         KeyCase{"KM575", 21}, KeyCase{"KM705", 21},
                                         KeyCase{"T6000", 21}));

INSTANTIATE_TEST_SUITE_P(Other, KeyCountTest,
                         testing::Values(KeyCase{"N466k", 15}, KeyCase{"x4", 15}, KeyCase{"x5", 21},
                                         KeyCase{"44", 15}, KeyCase{"x3x4", 21},
                                         KeyCase{"N277w", 21}, KeyCase{"N255", 21},
                                         KeyCase{"n255k", 21}));

class ModelKeyCountTest : public testing::TestWithParam<KeyCase> {};

TEST_P(ModelKeyCountTest, HoldsForNamesThatBeginSo) {
  const std::string name = GetParam().model;

  EXPECT_EQ(keyCountOfModel(name), GetParam().keys);
  EXPECT_EQ(keyCountOfModel(name + "-x"), GetParam().keys);
}

TEST_P(ModelKeyCountTest, HoldsInAnyCase) {
  std::string lower = GetParam().model;
  std::string upper = GetParam().model;
  std::transform(lower.begin(), lower.end(), lower.begin(), ::tolower);
  std::transform(upper.begin(), upper.end(), upper.begin(), ::toupper);

  EXPECT_EQ(keyCountOfModel(lower), GetParam().keys);
  EXPECT_EQ(keyCountOfModel(upper), GetParam().keys);
}

TEST_P(ModelKeyCountTest, NeedsTheWholePrefix) {
  const std::string cut(GetParam().model, std::strlen(GetParam().model) - 1);

  EXPECT_EQ(keyCountOfModel(cut), cut.size() < 2 ? kUnknownKeyCount : cut[1] == '4' ? 15 : 21);
}

INSTANTIATE_TEST_SUITE_P(
    All, ModelKeyCountTest,
    testing::Values(KeyCase{"K271", 15}, KeyCase{"K335", 15}, KeyCase{"K357", 15},
                    KeyCase{"K379", 15}, KeyCase{"Qelta", 13}, KeyCase{"DuoQelta8", 13},
                    KeyCase{"WP105", 0}, KeyCase{"WP200", 16}, KeyCase{"WP201", 16},
                    KeyCase{"WP310", 16}, KeyCase{"KM420", 24}, KeyCase{"KM500", 15},
                    KeyCase{"KM575", 24}, KeyCase{"KM580", 15}, KeyCase{"KM585", 15},
                    KeyCase{"KM590", 15}, KeyCase{"KM705", 24}, KeyCase{"KM720", 15},
                    KeyCase{"KM725", 15}, KeyCase{"T30", 0}, KeyCase{"T7", 0}, KeyCase{"N255k", 15},
                    KeyCase{"N273", 15}, KeyCase{"k247", 15}, KeyCase{"k293", 15},
                    KeyCase{"k291", 0}, KeyCase{"T6000", 15}, KeyCase{"G570", 15}));

class ShortNameKeyCountTest : public testing::TestWithParam<const char*> {};

TEST_P(ShortNameKeyCountTest, IsToldByTheKeypad) {
  runInChild([] {
    Terminal terminal(GetParam());
    terminal.setRecord(kKeypad, 52, {1, 2, 3, 18, 5});

    EXPECT_EQ(keyCount(), 18);

    EXPECT_THAT(terminal.queries, Contains(PlatformQuery{kKeypad, 52}));
  });
}

TEST_P(ShortNameKeyCountTest, IsZeroWithoutAKeypad) {
  runInChild([] {
    const Terminal terminal(GetParam());

    EXPECT_EQ(keyCount(), 0);
  });
}

INSTANTIATE_TEST_SUITE_P(All, ShortNameKeyCountTest, testing::Values("", "x", "4", " x"));

TEST(KeyCountUnknownTest, Is21) {
  runInChild([] {
    const FakePlatform platform;

    EXPECT_EQ(keyCount(), 21);
  });
}

// --- Serial number and model for applications -------------------------------------------------

struct AnswerCase {
  std::string told;
  const char* text;
};

class SerialNumberTest : public testing::TestWithParam<AnswerCase> {};

TEST_P(SerialNumberTest, IsTheTrimmedAnswer) {
  FakePlatform platform;
  platform.info[35] = GetParam().told;

  EXPECT_EQ(terminalSerialNumber(), GetParam().text);

  EXPECT_THAT(platform.queries, ElementsAre(PlatformQuery{35, 17}));
}

INSTANTIATE_TEST_SUITE_P(All, SerialNumberTest,
                         testing::Values(AnswerCase{std::string("12345\0", 6), "12345"},
                                         AnswerCase{std::string(" 12 3\t\0x", 8), "12 3"},
                                         AnswerCase{std::string("\0", 1), ""},
                                         AnswerCase{"12345678901234567", "12345678901234567"}));

TEST(SerialNumberFailureTest, IsElevenZeros) {
  const FakePlatform platform;

  EXPECT_EQ(terminalSerialNumber(), "00000000000");
}

class TerminalModelTest : public testing::TestWithParam<AnswerCase> {};

TEST_P(TerminalModelTest, IsTheTrimmedAnswer) {
  FakePlatform platform;
  platform.info[kModel] = GetParam().told;

  EXPECT_EQ(terminalModel(), GetParam().text);

  EXPECT_THAT(platform.queries, ElementsAre(PlatformQuery{kModel, 14}));
}

INSTANTIATE_TEST_SUITE_P(
    All, TerminalModelTest,
    testing::Values(AnswerCase{std::string("N255k black\0", 12), "N255k black"},
                    AnswerCase{std::string("  T30 \0", 7), "T30"}, AnswerCase{"T30", "T30"},
                    AnswerCase{"LNRADIOMOD7-XY", "LNRADIOMOD7-XY"}));

TEST(TerminalModelFailureTest, IsEmpty) {
  const FakePlatform platform;

  EXPECT_EQ(terminalModel(), "");
}

}  // namespace
}  // namespace wzapp
