// The library's table of authorities on a workstation that trusts development keys: that of the
// terminal's folder where it has one, otherwise the one that was compiled in. Compiled into the
// library in such a build alone.

#include <array>
#include <cstddef>

#include "crypto/store/compiled_in_authorities.h"
#include "workstation/zelsec/terminal_table.h"

namespace wzapp {
namespace {

using Table = std::array<Authority, kAuthorityCount>;

static_assert(kAuthorityCount == workstation::kTerminalTableRows);

Table tableInForce() {
  Table table = compiledInAuthorities();
  for (std::size_t i = 0; i < table.size(); ++i) {
    int kind = 0;
    const unsigned char* der = nullptr;
    std::size_t size = 0;
    if (workstationAuthority(i, &kind, &der, &size) == 0) break;
    table[i] = {kind, ByteView(der, size)};
  }
  return table;
}

}  // namespace

const std::array<Authority, kAuthorityCount>& authorities() {
  static const Table table = tableInForce();
  return table;
}

}  // namespace wzapp
