#include "tests/crypto/fake_security_service.h"

#include <algorithm>
#include <cstring>

#include "zelsec/zelsec.h"

namespace wzapp_test {
namespace {

constexpr int kEnd = -510;
constexpr std::size_t kBufferSize = 8192;

FakeSecurityService* current = nullptr;

}  // namespace

FakeSecurityService::FakeSecurityService() { current = this; }

FakeSecurityService::FakeSecurityService(const std::vector<Octets>& certificates)
    : FakeSecurityService() {
  for (const Octets& certificate : certificates) records.push_back({certificate});
}

FakeSecurityService::~FakeSecurityService() { current = nullptr; }

int FakeSecurityService::answer(int operation, void* buffer, unsigned short* length) {
  calls.push_back({operation, *length, 0});
  const auto failure = failures.find(static_cast<int>(calls.size()) - 1);
  if (failure != failures.end()) return calls.back().result = failure->second;
  if (position >= records.size()) {
    position = 0;
    return calls.back().result = kEnd;
  }
  const ServiceRecord& record = records[position++];
  const std::size_t size = std::min(record.certificate.size(), kBufferSize);
  std::memset(buffer, 0xEE, kBufferSize);  // all of it is the service's
  if (size > 0) std::memcpy(buffer, record.certificate.data(), size);
  *length = record.statedLength.value_or(static_cast<unsigned short>(size));
  return 0;
}

extern "C" int CMDiag(int operation, void* buffer, unsigned short* length) {
  return current == nullptr ? -1 : current->answer(operation, buffer, length);
}

}  // namespace wzapp_test
