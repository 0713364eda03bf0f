#include "crypto/digest_kernel.h"

namespace wzapp {

const DigestKernel& digestKernel() {
  static const DigestKernel& chosen = shaInstructionsDigestKernel() != nullptr
                                          ? *shaInstructionsDigestKernel()
                                          : portableDigestKernel();
  return chosen;
}

}  // namespace wzapp
