#include "crypto/digest/digest_kernel.h"

namespace wzapp {

namespace {

const DigestKernel& fastestKernel() {
  for (const DigestKernel* const kernel : {shaInstructionsDigestKernel(), vectorDigestKernel()}) {
    if (kernel != nullptr) return *kernel;
  }
  return portableDigestKernel();
}

}  // namespace

const DigestKernel* shaInstructionsDigestKernel() {
  const DigestKernel* const x86 = x86ShaDigestKernel();
  return x86 != nullptr ? x86 : armShaDigestKernel();
}

const DigestKernel& digestKernel() {
  static const DigestKernel& chosen = fastestKernel();
  return chosen;
}

}  // namespace wzapp
