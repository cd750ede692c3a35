// A process that has been moved away from the machine: users, processes, mounts and network are its
// own.
#pragma once

#include <string>

#include <sys/types.h>

// As fork(), with the child in namespaces of its own; it is process 1 there and root without power
// outside. -1, with errno, when the machine does not permit it.
pid_t forkIntoNamespaces();

// The rest is for the child, before it does anything else. False, with errno and what the name of
// the step is, as soon as something is not permitted.

[[nodiscard]] bool becomeRootOfNamespace(uid_t user, gid_t group, const char*& step);

// Makes mountPoint, an empty folder, the root. It has the folder router as /router, the machine's
// libraries, which cannot be changed, and the file program, unless empty, as /installer. Nothing
// else of the machine can be seen.
[[nodiscard]] bool leaveMachine(const std::string& mountPoint, const std::string& router,
                                const std::string& program, const char*& step);

// Keeps what is needed to be root in a folder and gives up everything that changes the machine.
[[nodiscard]] bool giveUpPowers(const char*& step);
