/// The authorities that a terminal's folder brings along, beside the platform's interface: what
/// plays the firmware on a workstation may trust others than those that were compiled in.
///
///     TERMINAL/authorities/authorities.txt      nine lines KIND FILE
///     TERMINAL/authorities/1.der ... 9.der
///
/// Only a library that was built together with this platform, and without a product's authorities,
/// asks for them. On a terminal there is no such function, and such a library does not load.
#ifndef WORKSTATION_ZELSEC_TERMINAL_TABLE_H
#define WORKSTATION_ZELSEC_TERMINAL_TABLE_H

#include <cstddef>

namespace workstation {

inline constexpr std::size_t kTerminalTableRows = 9;

}  // namespace workstation

/// One row of the table of the terminal that this process plays when it asks for the first time; it
/// does not change afterwards. Any thread may call it. The only exception is std::bad_alloc.
/// \param row   from 0.
/// \param der   static octets; none where the table, or the certificate, cannot be read.
/// \return 1; 0 where the terminal has no table of its own.
extern "C" __attribute__((visibility("default"))) int workstationAuthority(
    std::size_t row, int* kind, const unsigned char** der, std::size_t* size);

#endif  // WORKSTATION_ZELSEC_TERMINAL_TABLE_H
