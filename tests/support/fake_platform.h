// The platform information and security services of these tests, in memory. They begin without an
// answer to anything; a FakePlatform object fills them and empties them at its end.
#ifndef WZAPP_TESTS_SUPPORT_FAKE_PLATFORM_H
#define WZAPP_TESTS_SUPPORT_FAKE_PLATFORM_H

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

namespace wzapp_test {

struct PlatformQuery {
  int key;
  unsigned int size;
  bool operator==(const PlatformQuery& other) const = default;
};

// What CMDiag does at one call: its result and, for 0, the record.
struct DiagAnswer {
  int result;
  std::string record;
};

class FakePlatform {
 public:
  FakePlatform();
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;
  ~FakePlatform();

  // Answers of platforminfo_get by key; it fails for a key without one.
  std::map<int, std::string> info;
  // Answers of CMDiag, one a call; when none is left it fails with -1.
  std::vector<DiagAnswer> diag;

  // What was asked.
  std::vector<PlatformQuery> queries;
  std::vector<int> diagOperations;

  // Adds an answer made of 32-bit fields, filled up with zeros to `size` octets.
  void setRecord(int key, std::size_t size, std::initializer_list<std::uint32_t> fields);
};

// The octets of a 32-bit number in this machine's order.
std::string octetsOf(std::uint32_t number);

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_SUPPORT_FAKE_PLATFORM_H
