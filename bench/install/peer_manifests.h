/// What the peer does with manifests after its packages: the sponsor rules, and the check of what
/// applications import.
#ifndef WZAPP_BENCH_INSTALL_PEER_MANIFESTS_H
#define WZAPP_BENCH_INSTALL_PEER_MANIFESTS_H

#include <set>
#include <string>

namespace bench::peer {

/// Six digits, from the security service.
std::string terminalSponsor();

/// The id in an application's manifest; empty: there is none.
std::string applicationId(const std::string& manifest);

/// Removes every application without a marketplace manifest for this sponsor. False when there was
/// one.
bool applySponsorRules(const std::string& sponsor);

/// Removes every application that imports what nobody exports. False when there was one.
bool checkDependencies();

/// Prints the ids of the applications that are installed.
void listApplications(const std::string& sponsor);

}  // namespace bench::peer

#endif  // WZAPP_BENCH_INSTALL_PEER_MANIFESTS_H
