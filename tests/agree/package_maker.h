// Package files, each made of a number alone: sound ones that are changed at one or several levels.
#ifndef WZAPP_TESTS_AGREE_PACKAGE_MAKER_H
#define WZAPP_TESTS_AGREE_PACKAGE_MAKER_H

#include <cstdint>
#include <string>

namespace wzapp_test {

struct MadePackage {
  std::string octets;
  std::string changes;  // for people: the levels at which it was changed
};

MadePackage makePackage(std::uint64_t seed);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_AGREE_PACKAGE_MAKER_H
