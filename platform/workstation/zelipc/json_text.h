// What the JSON library underneath leaves open: the value of a number's literal, well-formed UTF-8,
// and the few texts that are JSON although that library refuses them.
//
// Standards: RFC 8259 (JSON), RFC 3629 (UTF-8). Nothing here depends on the locale.
#ifndef WORKSTATION_ZELIPC_JSON_TEXT_H
#define WORKSTATION_ZELIPC_JSON_TEXT_H

#include <cstddef>
#include <string>
#include <string_view>
#include <variant>

namespace workstation {

/// The value of a JSON number's literal: an integer when it is written without fraction and
/// exponent and fits 64 bits with a sign, otherwise the nearest double. A literal beyond all
/// doubles becomes the largest finite one of its sign (so that it can be written again), one too
/// small becomes zero.
std::variant<long long, double> readNumber(std::string_view literal);

/// The shortest literal that reads back as `value`, and as a double; "null" for what JSON has no
/// literal for, infinities and NaN.
std::string writeNumber(double value);

/// Whether `text` stands in a JSON text as it is: ASCII without control characters, quotation marks
/// and backslashes.
bool isPlain(std::string_view text);

/// The length of the longest beginning of `text` that is well-formed UTF-8; text.size() when all
/// is.
std::size_t wellFormedLength(std::string_view text);

/// `text` with every ill-formed sequence replaced by U+FFFD, one for each maximal part of a
/// character.
std::string repairUtf8(std::string_view text);

/// Whether `text` holds a surrogate (U+D800 to U+DFFF) encoded as if it were a character.
bool holdsSurrogate(std::string_view text);

/// A copy of a JSON text, octet for octet as long, in which every number of five or more octets is
/// some small number of the same length and every escape of half a surrogate pair is "\ufffd". A
/// malformed text stays malformed, up to its first error at the same place.
std::string tameCopy(std::string_view text);

}  // namespace workstation

#endif  // WORKSTATION_ZELIPC_JSON_TEXT_H
