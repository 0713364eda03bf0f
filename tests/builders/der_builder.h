/// Writes DER texts, well formed or not, for tests and tools of the test suite.
///
///   DerBuilder().sequence(DerBuilder().oid("1.2.840.113549.1.1.1").null()).octets()
///
/// Each call appends one element; what takes content takes another builder or octets.
#ifndef WZAPP_TESTS_BUILDERS_DER_BUILDER_H
#define WZAPP_TESTS_BUILDERS_DER_BUILDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wzapp_test {

using Octets = std::vector<std::uint8_t>;

// As the content of a file.
inline std::string textOf(const Octets& octets) { return {octets.begin(), octets.end()}; }

/// The octets that `hex` names, two digits each; blanks between them are passed over.
Octets fromHex(std::string_view hex);

/// The characters of a text as octets.
Octets fromText(std::string_view text);

class DerBuilder {
 public:
  DerBuilder() = default;
  // Not explicit: octets pass as a builder.
  DerBuilder(Octets octets) : octets_(std::move(octets)) {}

  /// An element whose length takes as few octets as it can.
  DerBuilder& element(std::uint8_t identifier, const DerBuilder& content);

  /// An element of indefinite length, with its end of contents.
  DerBuilder& indefinite(std::uint8_t identifier, const DerBuilder& content);

  /// An element whose length is written in `lengthOctets` octets behind 0x80 + `lengthOctets`.
  DerBuilder& longForm(std::uint8_t identifier, std::size_t lengthOctets,
                       const DerBuilder& content);

  /// Octets as they are.
  DerBuilder& raw(const DerBuilder& octets);

  DerBuilder& boolean(bool value);
  DerBuilder& integer(std::int64_t value);
  DerBuilder& integer(const Octets& content) { return element(0x02, content); }
  DerBuilder& bitString(const DerBuilder& octets, std::uint8_t unusedBits = 0);
  DerBuilder& octetString(const DerBuilder& content) { return element(0x04, content); }
  DerBuilder& null() { return element(0x05, {}); }
  DerBuilder& oid(std::string_view text);
  DerBuilder& printableString(std::string_view text) { return element(0x13, fromText(text)); }
  DerBuilder& ia5String(std::string_view text) { return element(0x16, fromText(text)); }
  DerBuilder& utcTime(std::string_view text) { return element(0x17, fromText(text)); }
  DerBuilder& generalizedTime(std::string_view text) { return element(0x18, fromText(text)); }
  DerBuilder& sequence(const DerBuilder& content) { return element(0x30, content); }
  DerBuilder& set(const DerBuilder& content) { return element(0x31, content); }

  /// [tag], constructed and of the context-specific class.
  DerBuilder& tagged(std::uint8_t tag, const DerBuilder& content);

  [[nodiscard]] const Octets& octets() const { return octets_; }

 private:
  Octets octets_;
};

}  // namespace wzapp_test

#endif  // WZAPP_TESTS_BUILDERS_DER_BUILDER_H
