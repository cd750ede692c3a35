// The file archive of a package (stream/packformat.h, ArchiveHeader).
#pragma once

#include "tools/tpk/make/filetree.h"

#include <functional>
#include <ostream>

// Writes an entry for every node, in the order of the tree. written is told how many bytes of data
// were just written, and may throw. Throws Failure for files that cannot be read or have changed; a
// stream that fails shows it in its state.
void writeArchive(std::ostream& out, const FileTree& tree, const Spool& spool,
                  const std::function<void(std::size_t)>& written);
