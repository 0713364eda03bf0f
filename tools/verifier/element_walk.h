/// Elements of BER and DER (ITU-T X.690) as terminals read them: what is laxer than DER, and the
/// limits, are those of the terminals' format.
#ifndef VERIFIER_ELEMENT_WALK_H
#define VERIFIER_ELEMENT_WALK_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace verifier {

struct Element {
  std::size_t start = 0;   ///< of the identifier, in the octets that are walked
  std::size_t header = 0;  ///< octets of identifier and length
  std::size_t size = 0;    ///< of the content; nothing in the indefinite form
  bool isIndefinite = false;
  bool isConstructed = false;
  std::uint8_t identifier = 0;  ///< the first octet, class and all
  int depth = 0;                ///< 0 is the outermost
  int index = 0;                ///< among the children of its parent

  [[nodiscard]] std::string_view content(std::string_view octets) const {
    return octets.substr(start + header, size);
  }
  [[nodiscard]] std::string_view whole(std::string_view octets) const {
    return octets.substr(start, header + size);
  }
};

/// A walk in pre-order. A parent is left when its children have used up what it stated, so that a
/// child may run past it, but never past the octets as a whole. After a failure nothing more is
/// read.
class ElementWalk {
 public:
  /// `from` is where the outermost element begins. The octets outlive the walk.
  explicit ElementWalk(std::string_view octets, std::size_t from = 0);

  [[nodiscard]] bool next();         ///< into what the last element holds
  [[nodiscard]] bool nextSibling();  ///< past the content of the one it comes to, where that can be

  /// On to the element of that place, at least one element further. The first on the way is
  /// entered, so that what cannot be walked through hides what lies behind it; the others are
  /// passed over, except on the way down. One past it is a failure only at the end of the octets.
  [[nodiscard]] bool find(int depth, int index);

  [[nodiscard]] const Element& element() const { return state_.element; }

 private:
  struct Level {
    bool isIndefinite;
    std::size_t stated;
    std::size_t used;
    int children;
  };
  struct State {
    std::size_t position;
    std::vector<Level> levels;
    Element element;
  };

  [[nodiscard]] bool step(bool enters);
  void closeFullLevels();

  std::string_view octets_;
  State state_;
  std::optional<State> beforeSibling_;
};

/// The element at `position`, which lies in the octets with all its content; else nothing.
[[nodiscard]] std::optional<Element> elementAt(std::string_view octets, std::size_t position);

/// The direct children that can be read, in order.
[[nodiscard]] std::vector<Element> childrenOf(std::string_view octets, const Element& parent);

/// Dotted text of the content of an object identifier; nothing when it is none.
[[nodiscard]] std::optional<std::string> oidText(std::string_view content);

/// The longest text of an object identifier that terminals compare.
inline constexpr std::size_t kLongestOid = 30;
/// Whether the text of it, or of what there is of it before it breaks off, is longer; an arc of
/// more octets than terminals read makes it so.
[[nodiscard]] bool isLongOid(std::string_view content);
[[nodiscard]] bool isOid(std::string_view content, std::string_view text);

/// The value of an INTEGER of one to four octets.
[[nodiscard]] std::optional<std::int32_t> smallInteger(std::string_view content);

}  // namespace verifier

#endif  // VERIFIER_ELEMENT_WALK_H
