/// The record by which a terminal says to which sponsor it belongs.
#ifndef WORKSTATION_ZELSEC_SPONSOR_RECORD_H
#define WORKSTATION_ZELSEC_SPONSOR_RECORD_H

#include <cstdint>
#include <string>
#include <vector>

namespace workstation {

/// Lays out the record for the sponsor `id`, six decimal digits, and its `text`.
std::vector<std::uint8_t> sponsorRecord(const std::string& id, const std::string& text);

}  // namespace workstation

#endif  // WORKSTATION_ZELSEC_SPONSOR_RECORD_H
