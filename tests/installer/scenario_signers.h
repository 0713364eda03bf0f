// The certificates that random packages bring, and who signs in them. All keys are made once a
// process; a process that forks afterwards shares them with its children.
#ifndef WZAPP_TESTS_INSTALLER_SCENARIO_SIGNERS_H
#define WZAPP_TESTS_INSTALLER_SCENARIO_SIGNERS_H

#include <string>
#include <vector>

#include "tests/builders/der_builder.h"
#include "tests/builders/test_key.h"
#include "tests/installer/scenario_facts.h"
#include "tests/installer/scenario_model.h"

namespace wzapp_test::scenario {

enum KeyNumber { kRootKey = 1, kAuthorityKey, kSignerKey, kStrangerKey };

struct KnownCertificate {
  std::string what;  // for people
  CertificateFacts facts;
  std::string octets;
};

// The first is of a signer of applications, the second of one of manifests; with them a package is
// sound.
const std::vector<KnownCertificate>& knownCertificates();

// Somebody who signs: a key, and the key identifier that the signature names.
struct Identity {
  std::string what;
  Octets keyId;
  int key;
};
const std::vector<Identity>& identities();                // in the order of what they are good for:
inline constexpr std::size_t kApplicationIdentities = 3;  // these sign applications,
inline constexpr std::size_t kManifestIdentities = 3;     // these manifests, the rest neither

// A signature file, kept by what it is made of.
std::string signatureBy(const Identity& identity, const std::string& archive, bool isSha1);

// Fills in the terminal's roots that are there, and the authorities.
void addAuthorities(TerminalFacts& terminal, bool hasSecondRoot);

}  // namespace wzapp_test::scenario

#endif  // WZAPP_TESTS_INSTALLER_SCENARIO_SIGNERS_H
