/// What the operating system says of the processor, read from its files: another way than the
/// library's, whose fast paths must not vanish unseen.
#ifndef WZAPP_TESTS_CRYPTO_SYSTEM_FEATURES_H
#define WZAPP_TESTS_CRYPTO_SYSTEM_FEATURES_H

namespace wzapp_test {

/// Instructions for SHA-1 and SHA-256 that the library knows.
[[nodiscard]] bool systemHasSha();

[[nodiscard]] bool systemHasAvx2();

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_SYSTEM_FEATURES_H
