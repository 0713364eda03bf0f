#include "crypto/der/der_search.h"

#include <optional>

#include "crypto/der/oid.h"

namespace wzapp {

namespace {

class Search {
 public:
  Search(DerWalker& walker, const DerQuery& query, WalkMode first)
      : walker_(walker), query_(query), mode_(first) {}

  int followPath() {
    bool started = false;
    for (const DerPathStep& step : query_.path) {
      do {
        if (started) mode_ = modeTowards(step);
        started = true;
        if (const int code = walker_.walk(mode_, 0, element_); code != 0) return code;
      } while (element_.depth != step.depth || element_.index != step.index);
    }
    if (started) {
      depth_ = element_.depth;
      mode_ = WalkMode::kNext;
    }
    return 0;
  }

  int findMatch() {
    switch (query_.kind) {
      case DerSearchKind::kNone:
        return query_.path.empty() ? walker_.walk(mode_, 0, element_) : 0;
      case DerSearchKind::kByIdentifier:
        return findBy([this] { return element_.identifier == query_.identifier; });
      case DerSearchKind::kByOid:
        return findByOid();
    }
    return kDerUnknownSearch;
  }

  int skip() {
    for (std::uint32_t i = 0; i < query_.skipCount; ++i) {
      if (const int code = walker_.next(element_); code != 0) return code;
      if (!isDeepEnough()) return kDerEnd;
    }
    return 0;
  }

  [[nodiscard]] const DerElement& element() const { return element_; }

 private:
  // Into an element as long as the wanted one lies more than one level below it, else over it.
  [[nodiscard]] WalkMode modeTowards(const DerPathStep& step) const {
    return step.depth > element_.depth + 1 ? WalkMode::kNext : WalkMode::kNextSibling;
  }

  [[nodiscard]] bool isDeepEnough() const {
    return element_.depth >= std::uint64_t{depth_} + query_.depthOffset;
  }

  int findByOid() {
    const std::optional<ShortOid> wanted = ShortOid::parse(query_.oid);
    const int code = findBy([this, &wanted] {
      ShortOid oid;
      return ShortOid::read(element_.content(), oid) == 0 && oid == wanted;
    });
    return code == kRanOut ? static_cast<int>(kDerNotFound) : code;
  }

  template <typename Matches>
  int findBy(Matches matches) {
    do {
      if (const int code = walker_.walk(mode_, 0, element_); code != 0) {
        return code == kDerEnd && query_.kind == DerSearchKind::kByOid ? kRanOut : code;
      }
      mode_ = WalkMode::kNext;
      if (element_.depth < depth_) return kDerEnd;
    } while (!isDeepEnough() || !matches());
    return 0;
  }

  // The text has ended, as opposed to kDerEnd for a search that left its subtree.
  static constexpr int kRanOut = 1;

  DerWalker& walker_;
  const DerQuery& query_;
  WalkMode mode_;  // of the next step
  std::uint32_t depth_ = 0;
  DerElement element_;
};

}  // namespace

int derSearch(DerWalker& walker, const DerQuery& query, WalkMode first, DerElement& result) {
  Search search(walker, query, first);
  if (const int code = search.followPath(); code != 0) return code;
  if (const int code = search.findMatch(); code != 0) return code;
  if (const int code = search.skip(); code != 0) return code;
  result = search.element();
  return 0;
}

}  // namespace wzapp
