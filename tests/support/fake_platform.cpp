#include "tests/support/fake_platform.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include "platforminfo/platforminfo.h"
#include "zelsec/zelsec.h"

namespace wzapp_test {
namespace {

std::mutex mutex;
FakePlatform* current = nullptr;

}  // namespace

FakePlatform::FakePlatform() { current = this; }

FakePlatform::~FakePlatform() { current = nullptr; }

void FakePlatform::setRecord(int key, std::size_t size,
                             std::initializer_list<std::uint32_t> fields) {
  std::string record;
  for (const std::uint32_t field : fields) record += octetsOf(field);
  record.resize(size);
  info[key] = record;
}

std::string octetsOf(std::uint32_t number) {
  std::string octets(sizeof number, '\0');
  std::memcpy(octets.data(), &number, sizeof number);
  return octets;
}

extern "C" int platforminfo_get(int key, void* buffer, unsigned int size, unsigned int* length) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (current == nullptr) return -1;
  current->queries.push_back({key, size});
  const auto found = current->info.find(key);
  if (found == current->info.end()) {
    std::memset(buffer, '?', size);  // nothing may be read of a failed query's buffer
    return -1;
  }
  *length = static_cast<unsigned int>(std::min<std::size_t>(size, found->second.size()));
  std::memcpy(buffer, found->second.data(), *length);
  return 0;
}

extern "C" int CMDiag(int operation, void* buffer, unsigned short* length) {
  const std::lock_guard<std::mutex> lock(mutex);
  if (current == nullptr) return -1;
  current->diagOperations.push_back(operation);
  if (current->diag.empty()) return -1;
  const DiagAnswer answer = current->diag.front();
  current->diag.erase(current->diag.begin());
  if (answer.result != 0) return answer.result;
  std::memcpy(buffer, answer.record.data(), answer.record.size());
  *length = static_cast<unsigned short>(answer.record.size());
  return 0;
}

}  // namespace wzapp_test
