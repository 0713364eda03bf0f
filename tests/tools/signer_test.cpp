#include "packaging/signer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "crypto/digest/digest.h"
#include "crypto/rsa/rsa.h"
#include "crypto/signature/package_signature.h"
#include "crypto/signature/signature_file.h"
#include "packaging/sign_command.h"
#include "packaging/signature_writer.h"
#include "tests/tools/key_files.h"

namespace wzapp_test {
namespace {

namespace fs = std::filesystem;
using packaging::Signer;
using packaging::SignerRole;
using testing::HasSubstr;
using testing::StartsWith;

std::string digestOf(std::string_view oid, const std::string& content) {
  std::string digest(wzapp::digestSize(oid), '\0');
  EXPECT_EQ(
      wzapp::digestByOid(oid, viewOf(content), reinterpret_cast<std::uint8_t*>(digest.data())), 0);
  return digest;
}

class SignerTest : public testing::Test {
 protected:
  SignerTest() { fs::copy(madeKeys(), keys_, fs::copy_options::recursive); }

  bool load(SignerRole role = SignerRole::kApplication, const std::string& command = "") {
    return signer_.load(keys_, role, command, error_);
  }

  bool sign() { return signer_.signArchive(archive_, signature_, error_); }

  // Whether the library takes the signature, with the certificate of this name, for the archive.
  [[nodiscard]] int verify(const std::string& certificate) const {
    const std::string content = contentOf(archive_);
    const std::string sha1 = digestOf(wzapp::kSha1Oid, content);
    const std::string sha256 = digestOf(wzapp::kSha256Oid, content);
    const std::string der = contentOf(keys_ + "/signers/" + certificate);
    return wzapp::verifyPackage(viewOf(signature_), viewOf(sha1), viewOf(sha256), viewOf(der));
  }

  TemporaryDirectory folder_;
  std::string keys_ = folder_ / "keys";
  std::string archive_ = folder_.write("shop.zip", "what is to be signed");
  Signer signer_;
  std::string signature_, error_;
};

TEST_F(SignerTest, TheLibraryAcceptsItsSignature) {
  ASSERT_TRUE(load() && sign()) << error_;

  EXPECT_EQ(verify("application.der"), wzapp::kSignatureValid);
}

TEST_F(SignerTest, AnotherSignersCertificateDoesNotFit) {
  ASSERT_TRUE(load(SignerRole::kManifest) && sign()) << error_;

  EXPECT_EQ(verify("application.der"), wzapp::kSignatureInvalid);
  EXPECT_EQ(verify("manifest.der"), wzapp::kSignatureValid);
}

TEST_F(SignerTest, TheSameArchiveGivesTheSameSignature) {
  ASSERT_TRUE(load() && sign()) << error_;
  const std::string first = signature_;

  ASSERT_TRUE(sign()) << error_;

  EXPECT_EQ(signature_, first);
}

TEST_F(SignerTest, AMissingCertificateIsNamed) {
  fs::remove(keys_ + "/signers/application.der");

  EXPECT_FALSE(load());
  EXPECT_THAT(error_, StartsWith("cannot read the certificate " + keys_ +
                                 "/signers/application.der; wz keys init"));
}

TEST_F(SignerTest, AFileThatIsNoCertificateIsNamed) {
  fs::copy_file(keys_ + "/signers/application.key", keys_ + "/signers/application.der",
                fs::copy_options::overwrite_existing);

  EXPECT_FALSE(load());
  EXPECT_THAT(error_, HasSubstr("application.der is no certificate that a terminal reads"));
}

TEST_F(SignerTest, AMissingKeyIsNamed) {
  fs::remove(keys_ + "/signers/application.key");

  EXPECT_FALSE(load());
  EXPECT_THAT(error_, StartsWith("cannot read the key " + keys_ + "/signers/application.key"));
}

TEST_F(SignerTest, AKeyOfAnotherCertificateIsRefused) {
  fs::copy_file(keys_ + "/signers/manifest.key", keys_ + "/signers/application.key",
                fs::copy_options::overwrite_existing);
  ASSERT_TRUE(load()) << error_;

  EXPECT_FALSE(sign());
  EXPECT_THAT(error_, HasSubstr("application.key signs what "));
}

TEST_F(SignerTest, AFileThatIsNoKeyIsRefused) {
  folder_.write("keys/signers/application.key", "no key");
  ASSERT_TRUE(load()) << error_;

  EXPECT_FALSE(sign());
  EXPECT_THAT(error_, HasSubstr("application.key is no RSA key as PEM text without a password"));
}

// ---- A command that signs ----------------------------------------------------------------------

TEST_F(SignerTest, ACommandGetsTheOctetsAndGivesTheSignature) {
  ASSERT_TRUE(load() && sign()) << error_;
  const std::string withKey = signature_;
  wzapp::SignatureInfo info;
  ASSERT_EQ(wzapp::parseSignatureFile(viewOf(signature_), info), 0);
  folder_.write("raw", std::string(info.signature.begin(), info.signature.end()));
  fs::remove(keys_ + "/signers/application.key");

  ASSERT_TRUE(load(SignerRole::kApplication, "cat > '" + (folder_ / "given") +
                                                 "'; printf %s $WZ_SIGNER > '" + (folder_ / "who") +
                                                 "'; cat '" + (folder_ / "raw") + "'"))
      << error_;
  ASSERT_TRUE(sign()) << error_;

  EXPECT_EQ(signature_, withKey);
  EXPECT_EQ(contentOf(folder_ / "given"),
            packaging::octetsToSign(digestOf(wzapp::kSha256Oid, contentOf(archive_))));
  EXPECT_EQ(contentOf(folder_ / "who"), "application");
}

TEST_F(SignerTest, ACommandWithAWrongSignatureIsRefused) {
  ASSERT_TRUE(load(SignerRole::kApplication, "printf nonsense")) << error_;

  EXPECT_FALSE(sign());
  EXPECT_THAT(error_, StartsWith("the sign command signs what " + keys_));
}

struct BadCommand {
  const char* name;
  const char* command;
  const char* error;
};

class SignCommandTest : public testing::TestWithParam<BadCommand> {};

TEST_P(SignCommandTest, IsRefusedWithTheReason) {
  std::string signature = "as it was", error;

  EXPECT_FALSE(
      packaging::runSignCommand(GetParam().command, "manifest", "octets", signature, error));

  EXPECT_EQ(error, std::string(GetParam().error) + GetParam().command);
  EXPECT_EQ(signature, "as it was");
}

INSTANTIATE_TEST_SUITE_P(
    Commands, SignCommandTest,
    testing::Values(
        BadCommand{"Fails", "exit 4",
                   "the sign command failed (exit code 4) for the manifest signer: "},
        BadCommand{"IsKilled", "kill -9 $$",
                   "the sign command failed (signal 9) for the manifest signer: "},
        BadCommand{"WritesNothing", "true",
                   "the sign command wrote nothing where the raw signature of the manifest "
                   "signer belongs: "},
        BadCommand{"WritesTooMuch", "head -c 1025 /dev/zero",
                   "the sign command wrote more than 1024 octets where the raw signature of the "
                   "manifest signer belongs: "}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
}  // namespace wzapp_test
