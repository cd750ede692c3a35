// A machine that permits less than this one: what a program that a test starts may not do. To be
// called in the child, as Trial::tpk's last argument.
#pragma once

enum class Refused {
  kNamespaces,           // of users, without which the others are root's only
  kMounts,               // though namespaces may be made
  kNamespacesAndChroot,  // what takes most rights away from root
};

// For this process and all that it starts, for good. False when that fails.
[[nodiscard]] bool refuse(Refused what);

// Takes an identity other than root's, and root's powers away. What root could read can still be
// read. False when the machine has no other identity for this process.
[[nodiscard]] bool becomeOrdinaryUser();
