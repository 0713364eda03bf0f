// The parser of signature files: every view lies inside the input, the digest has the length of its
// algorithm, and the same file gives the same views again.

#include "crypto/signature/signature_file.h"

#include <algorithm>
#include <vector>

#include "crypto/der/der_walker.h"
#include "fuzz/check.h"
#include "fuzz/view_check.h"

namespace {

using wzapp::ByteView;
using wzapp::SignatureInfo;

std::vector<ByteView> viewsOf(const SignatureInfo& info) {
  return {info.signedAttributes, info.messageDigest, info.signerKeyId,
          info.signature,        info.content,       info.signerDigestAlgorithm};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView input(data, size);
  SignatureInfo info;
  SignatureInfo again;

  const int code = wzapp::parseSignatureFile(input, info);

  FUZZ_CHECK(code == 0 || (code >= -222 && code <= -215));
  const std::vector<ByteView> views = viewsOf(info);
  for (const ByteView view : views) FUZZ_CHECK(wzapp_fuzz::liesInside(view, input));
  if (code == 0) {
    FUZZ_CHECK(info.messageDigest.size() == 20 || info.messageDigest.size() == 32);
    FUZZ_CHECK(wzapp_fuzz::liesInside(info.messageDigest, info.signedAttributes));
    FUZZ_CHECK(!info.signerDigestAlgorithm.empty());
  }
  FUZZ_CHECK(wzapp::parseSignatureFile(wzapp::outermostElement(input), again) == code);
  FUZZ_CHECK(std::ranges::equal(views, viewsOf(again), wzapp_fuzz::isSameView));
  return 0;
}
