/// Reads the published vectors below data/: one JSON object a line.
#ifndef WZAPP_TESTS_CRYPTO_VECTOR_FILE_H
#define WZAPP_TESTS_CRYPTO_VECTOR_FILE_H

#include <rapidjson/document.h>

#include <string>
#include <vector>

#include "tests/builders/der_builder.h"

namespace wzapp_test {

/// The lines of `name`, a path below data/. A file that cannot be read or is no JSON gives none,
/// and a failed assertion.
std::vector<rapidjson::Document> readVectors(const std::string& name);

/// The octets of a member that holds hexadecimal text.
inline Octets hexMember(const rapidjson::Value& vector, const char* name) {
  return fromHex(vector[name].GetString());
}

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_VECTOR_FILE_H
