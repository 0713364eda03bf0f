// Versions: numbers with dots between them.
#ifndef WZAPP_INSTALLER_VERSION_H
#define WZAPP_INSTALLER_VERSION_H

#include <algorithm>
#include <compare>
#include <cstdint>
#include <string>
#include <vector>

namespace wzapp {

// A version as text, taken apart once for many comparisons. A component is a decimal number, signed
// or not, with white space around it; what follows its digits does not count, one without digits is
// 0, and one beyond 64 bits the largest or smallest number there is. The empty text is the version
// 0.
class Version {
 public:
  // The only exception is std::bad_alloc.
  explicit Version(std::string text = "");

  [[nodiscard]] const std::string& text() const { return text_; }

  // The first component that differs decides. Of two that agree as far as both go the shorter is
  // less: 1.2 comes before 1.2.0, which is meant.
  friend std::strong_ordering operator<=>(const Version& left, const Version& right) {
    // By hand, since not every standard library compares vectors three ways.
    const auto& a = left.components_;
    const auto& b = right.components_;
    const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
    if (inA == a.end() || inB == b.end()) return a.size() <=> b.size();
    return *inA <=> *inB;
  }
  // As an order, not as text: 1.02 equals 1.2.
  friend bool operator==(const Version& left, const Version& right) {
    return left.components_ == right.components_;
  }

 private:
  std::string text_;
  std::vector<std::int64_t> components_;
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_VERSION_H
