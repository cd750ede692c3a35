// Every field of a package file with its place, its bytes and what they mean.
#pragma once

#include "tools/tpk/show/dumpwriter.h"

#include <ostream>

class InputFile;

// Goes as far as the file does and points at what is wrong. False when the installer refuses the
// package, or when an archive in it is damaged.
bool dumpFile(const InputFile& file, const DumpStyle& style, std::ostream& out);
