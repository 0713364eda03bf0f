// Numbers for names.
#ifndef WZAPP_INSTALLER_NAME_TABLE_H
#define WZAPP_INSTALLER_NAME_TABLE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string_view>
#include <vector>

#include "support/block_resource.h"

namespace wzapp {

// Numbers for names, from 0 upwards: names are compared once and numbers from then on. A name takes
// its octets, 5 more, and some 14 for what finds it.
//
// For one thread at a time. The only exception is std::bad_alloc, after which the table is as it
// was.
class NameTable {
 public:
  using Number = std::uint32_t;

  // The number of `name`, a new one for a new name.
  Number numberOf(std::string_view name);
  [[nodiscard]] std::optional<Number> find(std::string_view name) const;
  // A null character follows it. Valid as long as the table.
  [[nodiscard]] std::string_view nameOf(Number number) const;
  [[nodiscard]] std::size_t size() const { return names_.size(); }

 private:
  // A number, or that there is none.
  using Slot = std::uint32_t;
  static constexpr Slot kEmpty = UINT32_MAX;

  [[nodiscard]] std::size_t slotOf(std::string_view name) const;
  [[nodiscard]] bool isFull() const;
  void grow();
  [[nodiscard]] const char* keep(std::string_view name);

  BlockResource texts_;            // each: its length, its octets, a null character
  std::deque<const char*> names_;  // by number; not a vector, which is there twice while it grows
  std::vector<Slot> slots_;        // a power of two, by hash; a name is in the first free one
};

}  // namespace wzapp

#endif  // WZAPP_INSTALLER_NAME_TABLE_H
