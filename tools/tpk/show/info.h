// What the headers of a package file say, and its archive in a few numbers.
#pragma once

#include <ostream>

class InputFile;
struct PackedFile;

// For people. False when an archive is broken.
bool writeInfo(std::ostream& out, const InputFile& file, const PackedFile& contents);
// One object, over several lines; the same result. (infojson.cpp)
bool writeInfoJson(std::ostream& out, const InputFile& file, const PackedFile& contents);
