#include "tests/crypto/vector_file.h"

#include <gtest/gtest.h>

#include <fstream>

namespace wzapp_test {

std::vector<rapidjson::Document> readVectors(const std::string& name) {
  std::vector<rapidjson::Document> vectors;
  std::ifstream file(std::string(WZAPP_CRYPTO_TEST_DATA "/") + name);
  for (std::string line; std::getline(file, line);) {
    rapidjson::Document& vector = vectors.emplace_back();
    vector.Parse(line.data(), line.size());
    EXPECT_FALSE(vector.HasParseError()) << name << " line " << vectors.size();
    if (vector.HasParseError()) return {};
  }
  EXPECT_FALSE(vectors.empty()) << name;
  return vectors;
}

}  // namespace wzapp_test
