// Search for one element of a DER text: along a path, then by identifier octet or by the object
// identifier before it, then some elements on.
#ifndef WZAPP_CRYPTO_DER_DER_SEARCH_H
#define WZAPP_CRYPTO_DER_DER_SEARCH_H

#include <cstdint>
#include <span>
#include <string_view>

#include "crypto/der/der_walker.h"

namespace wzapp {

struct DerPathStep {
  std::uint32_t depth;
  std::uint32_t index;
};

enum class DerSearchKind : std::uint32_t {
  kNone = 0,
  kByIdentifier = 1,  // for whoever looks for a tag; no parser here does
  kByOid = 2,
};

struct DerQuery {
  std::span<const DerPathStep> path = {};  // elements to reach, one after the other
  DerSearchKind kind = DerSearchKind::kNone;
  std::uint32_t depthOffset = 0;  // levels below the end of the path that a match lies at least
  std::uint32_t skipCount = 0;    // elements to step on, in pre-order, behind the match
  std::string_view oid = {};      // dotted text for kByOid; never found beyond kMaxOidText
  std::uint32_t identifier = 0;   // octet for kByIdentifier
};

// Walks to the element that `query` asks for.
//
// The search is confined: it ends when it comes back to less than the depth of the element at the
// end of the path. Without a path that depth is 0, and the first step looks for the match already.
// An OID is looked for in the content of any element, whatever its identifier.
//
// `first`: mode of the first step; with another than kRestart the search goes on from where
// `walker` stands.
// `result` is filled on success.
// Returns 0; kDerEnd when the search left its subtree; kDerNotFound when the text ran out without
// the OID; kDerUnknownSearch; or the code of the step that failed.
[[nodiscard]] int derSearch(DerWalker& walker, const DerQuery& query, WalkMode first,
                            DerElement& result);

}  // namespace wzapp

#endif  // WZAPP_CRYPTO_DER_DER_SEARCH_H
