/// A user and a mount namespace of a process's own (user_namespaces(7), mount_namespaces(7)), made
/// as an ordinary user. For a process with one thread. What is made inside of such namespaces may
/// be made in others inside of those.
#ifndef WORKSTATION_TERMINAL_PRIVATE_NAMESPACES_H
#define WORKSTATION_TERMINAL_PRIVATE_NAMESPACES_H

namespace workstation {

/// The ids of the user outside, and what they become inside. There are no others inside.
struct NamespaceIds {
  unsigned outerUid = 0, outerGid = 0;
  unsigned innerUid = 0, innerGid = 0;
};

/// Moves the process into new namespaces, in which it may mount. What is mounted on the machine
/// later still shows there; nothing done there shows on the machine. Null on success, otherwise the
/// step that failed, with errno set.
[[nodiscard]] const char* makePrivateNamespaces(const NamespaceIds& ids);

/// Gives up all capabilities for good, as the last step. The same results.
[[nodiscard]] const char* dropAllCapabilities();

}  // namespace workstation

#endif  // WORKSTATION_TERMINAL_PRIVATE_NAMESPACES_H
