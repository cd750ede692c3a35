// What the kernel refuses to a program on a scratch root, and what it only pretends.
#pragma once

// For this process and what it starts, for ever: device nodes are not made, but the program hears
// that they were, as only the machine's own root may make them. The same goes for flushing file
// systems, which would be all of the machine's. Without forks every attempt to start
// a process fails, and so does every package script. False, with errno, when the kernel does not
// take it.
[[nodiscard]] bool filterSystemCalls(bool allowForks);
