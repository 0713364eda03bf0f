#include "crypto/digest/digest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/crypto/random_cases.h"
#include "tests/crypto/vector_file.h"

namespace wzapp {
namespace {

using testing::Each;
using wzapp_test::fromHex;
using wzapp_test::Octets;
using wzapp_test::RandomCases;

Octets octetsOfText(std::string_view text) { return {text.begin(), text.end()}; }

constexpr std::uint8_t kUntouched = 0xa5;

struct Sha1 {
  using Context = Sha1Context;
  static constexpr std::size_t kSize = kSha1Size;
  static constexpr std::string_view kName = "sha1";
  static constexpr std::string_view kOid = "1.3.14.3.2.26";
  static constexpr std::string_view kOfNothing = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
  static constexpr std::string_view kOfAbc = "a9993e364706816aba3e25717850c26c9cd0d89d";
  static constexpr std::string_view kOfTwoBlocks = "84983e441c3bd26ebaae4aa1f95129e5e54670f1";
  static constexpr std::string_view kOfMillion = "34aa973cd4c4daa4f61eeb2bdbad27316534016f";
};

struct Sha256 {
  using Context = Sha256Context;
  static constexpr std::size_t kSize = kSha256Size;
  static constexpr std::string_view kName = "sha256";
  static constexpr std::string_view kOid = "2.16.840.1.101.3.4.2.1";
  static constexpr std::string_view kOfNothing =
      "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
  static constexpr std::string_view kOfAbc =
      "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
  static constexpr std::string_view kOfTwoBlocks =
      "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1";
  static constexpr std::string_view kOfMillion =
      "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0";
};

template <class Digest>
class DigestTest : public testing::Test {
 protected:
  using Context = typename Digest::Context;

  static Context started() {
    Context context;
    digestStart(&context);
    return context;
  }

  static Context fed(ByteView data) {
    Context context = started();
    digestAdd(&context, data);
    return context;
  }

  static Octets finished(Context context) {
    Octets output(Digest::kSize, kUntouched);
    digestFinish(&context, output.data());
    return output;
  }

  static Octets digestOf(ByteView data) { return finished(fed(data)); }
};

using Digests = testing::Types<Sha1, Sha256>;
TYPED_TEST_SUITE(DigestTest, Digests);

TYPED_TEST(DigestTest, GivesTheStandardsExamples) {
  const Octets twoBlocks = octetsOfText("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq");

  EXPECT_EQ(this->digestOf({}), fromHex(TypeParam::kOfNothing));
  EXPECT_EQ(this->digestOf(octetsOfText("abc")), fromHex(TypeParam::kOfAbc));
  EXPECT_EQ(this->digestOf(twoBlocks), fromHex(TypeParam::kOfTwoBlocks));
  EXPECT_EQ(this->digestOf(Octets(1000000, 'a')), fromHex(TypeParam::kOfMillion));
}

TYPED_TEST(DigestTest, GivesThePublishedDigestsAtOnceAndInPieces) {
  std::size_t checked = 0;
  for (const auto& row : wzapp_test::readVectors("sha/messages.jsonl")) {
    if (row["alg"].GetString() != TypeParam::kName) continue;
    SCOPED_TRACE(row["id"].GetString());
    const Octets message = wzapp_test::hexMember(row, "msg");
    const Octets digest = wzapp_test::hexMember(row, "md");
    ASSERT_EQ(message.size(), row["len"].GetUint());

    EXPECT_EQ(this->digestOf(message), digest);
    for (const std::size_t piece : {1U, 7U, 63U, 64U, 65U}) {
      auto context = this->started();
      ByteView rest = message;
      while (!rest.empty()) {
        const std::size_t size = std::min(piece, rest.size());
        digestAdd(&context, rest.first(size));
        rest = rest.subspan(size);
      }
      EXPECT_EQ(this->finished(context), digest) << "in pieces of " << piece;
    }
    ++checked;
  }
  EXPECT_EQ(checked, 76U);
}

TYPED_TEST(DigestTest, StartForgetsEverything) {
  auto context = this->fed(Octets(100, 1));
  this->finished(context);
  context.corrupted = kContextFinished;
  context.computed = 1;

  digestStart(&context);

  EXPECT_EQ(this->finished(context), fromHex(TypeParam::kOfNothing));
}

TYPED_TEST(DigestTest, NullContextIsTolerated) {
  typename TypeParam::Context* const none = nullptr;
  Octets output(TypeParam::kSize, kUntouched);

  digestStart(none);
  digestAdd(none, output);
  digestFinish(none, output.data());

  EXPECT_THAT(output, Each(kUntouched));
}

TYPED_TEST(DigestTest, AddingNothingChangesNothing) {
  auto context = this->fed(octetsOfText("abc"));
  const std::uint8_t octet = 0;

  digestAdd(&context, ByteView());
  digestAdd(&context, ByteView(&octet, std::size_t{0}));

  EXPECT_EQ(context.bitsLow, 24U);
  EXPECT_EQ(this->finished(context), fromHex(TypeParam::kOfAbc));
}

TYPED_TEST(DigestTest, FinishingWithoutOutputDoesNotFinish) {
  auto context = this->fed(octetsOfText("ab"));

  digestFinish(&context, nullptr);
  digestAdd(&context, octetsOfText("c"));

  EXPECT_EQ(this->finished(context), fromHex(TypeParam::kOfAbc));
}

TYPED_TEST(DigestTest, FinishMayBeRepeated) {
  auto context = this->fed(octetsOfText("abc"));
  Octets first(TypeParam::kSize);
  Octets second(TypeParam::kSize);

  digestFinish(&context, first.data());
  digestFinish(&context, second.data());

  EXPECT_EQ(first, fromHex(TypeParam::kOfAbc));
  EXPECT_EQ(second, first);
}

TYPED_TEST(DigestTest, FinishWipesTheMessage) {
  auto context = this->fed(octetsOfText("a secret"));
  Octets output(TypeParam::kSize);

  digestFinish(&context, output.data());

  EXPECT_THAT(context.block, Each(0));
  EXPECT_EQ(context.bitsLow, 0U);
  EXPECT_EQ(context.bitsHigh, 0U);
  EXPECT_EQ(context.computed, 1U);
}

TYPED_TEST(DigestTest, DataAfterFinishCorrupts) {
  auto context = this->fed(octetsOfText("abc"));
  Octets output(TypeParam::kSize);
  digestFinish(&context, output.data());
  const std::uint8_t octet = 0;

  digestAdd(&context, ByteView(&octet, 1));

  EXPECT_EQ(context.corrupted, kContextFinished);
  EXPECT_THAT(this->finished(context), Each(kUntouched));
}

TYPED_TEST(DigestTest, AddingNothingAfterFinishDoesNotCorrupt) {
  auto context = this->fed(octetsOfText("abc"));
  Octets output(TypeParam::kSize);
  digestFinish(&context, output.data());
  const std::uint8_t octet = 0;

  digestAdd(&context, ByteView());
  digestAdd(&context, ByteView(&octet, std::size_t{0}));

  EXPECT_EQ(context.corrupted, kContextSound);
  EXPECT_EQ(this->finished(context), fromHex(TypeParam::kOfAbc));
}

TYPED_TEST(DigestTest, LengthCarriesIntoItsHighHalf) {
  auto context = this->started();
  context.bitsLow = 0xfffffff8;

  digestAdd(&context, octetsOfText("ab"));

  EXPECT_EQ(context.bitsLow, 8U);
  EXPECT_EQ(context.bitsHigh, 1U);
  EXPECT_EQ(context.corrupted, kContextSound);
}

TYPED_TEST(DigestTest, InputOf2To64BitsCorrupts) {
  auto context = this->started();
  context.bitsLow = 0xfffffff0;
  context.bitsHigh = 0xffffffff;

  digestAdd(&context, octetsOfText("a"));
  const std::uint32_t lastThatFits = context.corrupted;
  digestAdd(&context, octetsOfText("b"));

  EXPECT_EQ(lastThatFits, kContextSound);
  EXPECT_EQ(context.corrupted, kContextInputTooLong);
  EXPECT_THAT(this->finished(context), Each(kUntouched));
}

TYPED_TEST(DigestTest, CorruptedContextIgnoresData) {
  auto context = this->fed(octetsOfText("abc"));
  context.corrupted = kContextInputTooLong;

  digestAdd(&context, Octets(200, 'x'));

  EXPECT_EQ(context.fill, 3U);
  EXPECT_EQ(context.bitsLow, 24U);
  EXPECT_EQ(context.corrupted, kContextInputTooLong);
}

TYPED_TEST(DigestTest, IsFoundByItsObjectIdentifier) {
  Octets output(TypeParam::kSize);

  const int code = digestByOid(TypeParam::kOid, octetsOfText("abc"), output.data());

  EXPECT_EQ(code, 0);
  EXPECT_EQ(output, fromHex(TypeParam::kOfAbc));
  EXPECT_EQ(digestSize(TypeParam::kOid), TypeParam::kSize);
}

class UnknownDigestTest : public testing::TestWithParam<const char*> {};

TEST_P(UnknownDigestTest, IsRefused) {
  Octets output(64, kUntouched);

  const int code = digestByOid(GetParam(), octetsOfText("abc"), output.data());

  EXPECT_EQ(code, -4);
  EXPECT_THAT(output, Each(kUntouched));
  EXPECT_EQ(digestSize(GetParam()), 0U);
}

INSTANTIATE_TEST_SUITE_P(ObjectIdentifiers, UnknownDigestTest,
                         testing::Values("", "1.3.14.3.2.2", "1.3.14.3.2.260", "1.3.14.3.2.26 ",
                                         "2.16.840.1.101.3.4.2", "2.16.840.1.101.3.4.2.2",
                                         "2.16.840.1.101.3.4.2.3", "1.2.840.113549.2.5", "sha1"));

// Both digests in one call: the same as one after the other, whatever state the two are in.
class BothDigestsTest : public testing::Test {
 protected:
  BothDigestsTest() {
    digestStart(&sha1_);
    digestStart(&sha256_);
  }

  // Adds `data` to the two members in one call and checks them against copies fed one by one.
  void addAndCompare(ByteView data) {
    Sha1Context sha1 = sha1_;
    Sha256Context sha256 = sha256_;
    digestAdd(&sha1, data);
    digestAdd(&sha256, data);

    digestAdd(&sha1_, &sha256_, data);

    EXPECT_EQ(sha1_.words, sha1.words);
    EXPECT_EQ(sha1_.fill, sha1.fill);
    EXPECT_EQ(sha1_.bitsLow, sha1.bitsLow);
    EXPECT_EQ(sha1_.bitsHigh, sha1.bitsHigh);
    EXPECT_EQ(sha1_.corrupted, sha1.corrupted);
    EXPECT_EQ(sha256_.words, sha256.words);
    EXPECT_EQ(sha256_.fill, sha256.fill);
    EXPECT_EQ(sha256_.bitsLow, sha256.bitsLow);
    EXPECT_EQ(sha256_.bitsHigh, sha256.bitsHigh);
    EXPECT_EQ(sha256_.corrupted, sha256.corrupted);
    expectSameDigests(sha1, sha256);
  }

  void expectSameDigests(Sha1Context sha1, Sha256Context sha256) {
    Sha1Context sha1Copy = sha1_;
    Sha256Context sha256Copy = sha256_;
    Octets expected(kSha1Size + kSha256Size, kUntouched);
    Octets actual(kSha1Size + kSha256Size, kUntouched);
    digestFinish(&sha1, expected.data());
    digestFinish(&sha256, expected.data() + kSha1Size);
    digestFinish(&sha1Copy, actual.data());
    digestFinish(&sha256Copy, actual.data() + kSha1Size);
    EXPECT_EQ(actual, expected);
  }

  Sha1Context sha1_;
  Sha256Context sha256_;
};

TEST_F(BothDigestsTest, ChunksOf8192OctetsGiveTheDigestsOfTheWhole) {
  const Octets message = RandomCases(1).octets(3 * 8192 + 100);
  Octets whole(kSha1Size + kSha256Size);
  ASSERT_EQ(digestByOid(kSha1Oid, message, whole.data()), 0);
  ASSERT_EQ(digestByOid(kSha256Oid, message, whole.data() + kSha1Size), 0);

  for (ByteView rest = message; !rest.empty();) {
    const std::size_t size = std::min<std::size_t>(8192, rest.size());
    digestAdd(&sha1_, &sha256_, rest.first(size));
    rest = rest.subspan(size);
  }

  Octets inChunks(kSha1Size + kSha256Size);
  digestFinish(&sha1_, inChunks.data());
  digestFinish(&sha256_, inChunks.data() + kSha1Size);
  EXPECT_EQ(inChunks, whole);
}

TEST_F(BothDigestsTest, PiecesOfEverySizeAreTakenInStep) {
  const Octets message = RandomCases(2).octets(300);

  for (std::size_t size = 0; size <= message.size(); ++size) {
    addAndCompare(ByteView(message).first(size));
  }
}

TEST_F(BothDigestsTest, ContextsOutOfStepAreFedEachByItself) {
  const Octets message = RandomCases(3).octets(300);
  for (std::size_t ahead = 1; ahead < 130; ++ahead) {
    digestStart(&sha1_);
    digestStart(&sha256_);
    digestAdd(&sha1_, ByteView(message).first(ahead));

    addAndCompare(message);
  }
}

TEST_F(BothDigestsTest, ContextsWithDifferentBeginningsOfEqualLengthStayApart) {
  digestAdd(&sha1_, Octets(10, 'a'));
  digestAdd(&sha256_, Octets(10, 'b'));

  addAndCompare(Octets(500, 'c'));
}

TEST_F(BothDigestsTest, FinishedContextIsCorruptedAndTheOtherFed) {
  Octets output(kSha1Size);
  digestFinish(&sha1_, output.data());

  addAndCompare(Octets(500, 'c'));

  EXPECT_EQ(sha1_.corrupted, kContextFinished);
  EXPECT_EQ(sha256_.bitsLow, 4000U);
}

TEST_F(BothDigestsTest, FinishedSha256IsCorruptedAndSha1Fed) {
  Octets output(kSha256Size);
  digestFinish(&sha256_, output.data());

  addAndCompare(Octets(500, 'c'));

  EXPECT_EQ(sha256_.corrupted, kContextFinished);
  EXPECT_EQ(sha1_.bitsLow, 4000U);
}

TEST_F(BothDigestsTest, AddingNothingAfterTheEndDoesNotCorrupt) {
  const std::uint8_t octet = 0;
  Octets output(kSha1Size + kSha256Size);
  digestFinish(&sha1_, output.data());
  digestFinish(&sha256_, output.data() + kSha1Size);

  digestAdd(&sha1_, &sha256_, ByteView(&octet, std::size_t{0}));

  EXPECT_EQ(sha1_.corrupted, kContextSound);
  EXPECT_EQ(sha256_.corrupted, kContextSound);
}

TEST_F(BothDigestsTest, TooLongInputCorruptsTheOneThatIsTooLong) {
  sha1_.bitsHigh = 0xffffffff;
  sha1_.bitsLow = 0xffffff00;

  addAndCompare(Octets(500, 'c'));

  EXPECT_EQ(sha1_.corrupted, kContextInputTooLong);
  EXPECT_EQ(sha256_.corrupted, kContextSound);
}

TEST_F(BothDigestsTest, NothingIsTolerated) {
  digestAdd(&sha1_, &sha256_, ByteView());
  digestAdd(nullptr, nullptr, Octets(500, 'c'));
  digestAdd(&sha1_, nullptr, octetsOfText("abc"));
  digestAdd(nullptr, &sha256_, octetsOfText("abc"));

  Octets output(kSha1Size + kSha256Size);
  digestFinish(&sha1_, output.data());
  digestFinish(&sha256_, output.data() + kSha1Size);
  EXPECT_EQ(output, fromHex(std::string(Sha1::kOfAbc) + std::string(Sha256::kOfAbc)));
}

}  // namespace
}  // namespace wzapp
