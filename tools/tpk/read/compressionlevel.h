// With which of zlib's levels an archive was compressed.
#pragma once

#include "tools/tpk/read/packreader.h"

#include <optional>

// The level with which this machine's zlib makes exactly these bytes; of several the likeliest.
// Nothing when none does. Throws Failure for a broken archive.
std::optional<int> compressionLevel(const InputFile& file, const PartSpan& archive);
