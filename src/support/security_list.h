// The lists of the terminal's security service, which hands them out record by record.
//
// How far a list is read is one state for the process, kept by the service.
#ifndef WZAPP_SUPPORT_SECURITY_LIST_H
#define WZAPP_SUPPORT_SECURITY_LIST_H

#include <cstddef>
#include <cstdint>
#include <span>

namespace wzapp {

// By the service's operation that reads it.
enum class SecurityList {
  kCertificates = 2,
  kSponsors = 4,
};

// There is no further record; the next call begins the list afresh.
inline constexpr int kSecurityListEnded = -510;

// Octets that the buffer for a record holds at least: the service is not told how many.
inline constexpr std::size_t kSecurityRecordSize = 8192;

// Copies the next record of `list` into `buffer`, of kSecurityRecordSize octets or more, and sets
// `length` to its length, as the service says; one that says nothing leaves `length` alone. 0,
// kSecurityListEnded, or the service's own failure.
[[nodiscard]] int readSecurityRecord(SecurityList list, std::span<std::uint8_t> buffer,
                                     std::uint16_t& length);

}  // namespace wzapp

#endif  // WZAPP_SUPPORT_SECURITY_LIST_H
