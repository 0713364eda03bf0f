// Changes of DER that leave the rest of it readable: the lengths around a change are made anew.
#ifndef WZAPP_TESTS_AGREE_DER_MUTATION_H
#define WZAPP_TESTS_AGREE_DER_MUTATION_H

#include "tests/builders/der_builder.h"
#include "tests/crypto/random_cases.h"

namespace wzapp_test {

// One element of `der`, which may lie inside an OCTET STRING, in another form, gone, twice,
// exchanged with its neighbour or with other content.
Octets mutatedDer(const Octets& der, RandomCases& random);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_AGREE_DER_MUTATION_H
