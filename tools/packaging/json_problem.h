/// Where a text stops being JSON (RFC 8259).
#ifndef PACKAGING_JSON_PROBLEM_H
#define PACKAGING_JSON_PROBLEM_H

#include <string>

namespace packaging {

/// "Missing a comma ... (line 3, column 7)": what is wrong with the text and where, lines counted
/// from 1 and columns in octets from 1. Empty when it is one value of JSON.
[[nodiscard]] std::string whyNoJson(const std::string& text);

}  // namespace packaging

#endif  // PACKAGING_JSON_PROBLEM_H
