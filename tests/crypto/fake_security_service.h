// The security service of these tests, in memory: its list of certificates, and a note of each
// call. Without an object the service refuses every call with -1.
#ifndef WZAPP_TESTS_CRYPTO_FAKE_SECURITY_SERVICE_H
#define WZAPP_TESTS_CRYPTO_FAKE_SECURITY_SERVICE_H

#include <cstddef>
#include <map>
#include <optional>
#include <vector>

#include "tests/builders/der_builder.h"

namespace wzapp_test {

struct ServiceCall {
  int operation;
  unsigned short lengthBefore;
  int result;
  bool operator==(const ServiceCall& other) const = default;
};

// What the service hands out: at most 8192 octets of a certificate, and a length of its own for one
// that it states wrongly.
struct ServiceRecord {
  Octets certificate;
  std::optional<unsigned short> statedLength = std::nullopt;
};

// One at a time.
class FakeSecurityService {
 public:
  FakeSecurityService();
  explicit FakeSecurityService(const std::vector<Octets>& certificates);
  FakeSecurityService(const FakeSecurityService&) = delete;
  FakeSecurityService& operator=(const FakeSecurityService&) = delete;
  ~FakeSecurityService();

  std::vector<ServiceRecord> records;
  std::size_t position = 0;     // in the list
  std::map<int, int> failures;  // by call, counted from 0: its result; the list stays where it is

  std::vector<ServiceCall> calls;

  int answer(int operation, void* buffer, unsigned short* length);
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_CRYPTO_FAKE_SECURITY_SERVICE_H
