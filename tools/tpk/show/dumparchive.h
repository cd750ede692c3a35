// The entries of an archive in a dump.
#pragma once

#include "tools/tpk/show/dumpwriter.h"

#include <cstdint>

class InputFile;

// Of the archive part whose contents begin at the offset. False when it is damaged.
bool dumpArchive(const InputFile& file, std::uint64_t offset, DumpWriter& out);
