#include "packaging/signature_writer.h"

#include <gtest/gtest.h>

#include <string>

#include "crypto/signature/package_signature.h"
#include "crypto/signature/signature_file.h"
#include "tests/tools/key_files.h"

namespace wzapp_test {
namespace {

std::string textOf(wzapp::ByteView octets) { return {octets.begin(), octets.end()}; }

TEST(SignatureWriterTest, TheLibraryReadsEveryPart) {
  const std::string digest(32, 'd'), keyIdentifier(20, 'k'), signature(256, 's');
  const std::string octets = packaging::octetsToSign(digest);

  const std::string file = packaging::signatureFile(octets, keyIdentifier, signature);

  wzapp::SignatureInfo info;
  ASSERT_EQ(wzapp::parseSignatureFile(viewOf(file), info), 0);
  EXPECT_EQ(textOf(info.signedAttributes), octets);
  EXPECT_EQ(textOf(info.messageDigest), digest);
  EXPECT_EQ(textOf(info.signerKeyId), keyIdentifier);
  EXPECT_EQ(textOf(info.signature), signature);
}

// What stands before the signature is not taken for the key's name, and what is behind it is.
TEST(SignatureWriterTest, TheKeyIdentifierStandsBehindTheSignature) {
  const std::string file =
      packaging::signatureFile(packaging::octetsToSign(std::string(32, 'd')), "key", "signature");

  EXPECT_GT(file.find("key"), file.find("signature"));
}

// Lengths on both sides of the two places where their form changes.
TEST(SignatureWriterTest, EveryLengthIsWrittenAsDer) {
  for (const std::size_t size : {1U, 127U, 128U, 255U, 256U}) {
    const std::string signature(size, 's');

    const std::string file = packaging::signatureFile(packaging::octetsToSign(std::string(32, 'd')),
                                                      std::string(49, 'k'), signature);

    wzapp::SignatureInfo info;
    ASSERT_EQ(wzapp::parseSignatureFile(viewOf(file), info), 0) << size;
    EXPECT_EQ(textOf(info.signature), signature);
  }
}

}  // namespace
}  // namespace wzapp_test
