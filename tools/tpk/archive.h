// The file archive of a package out of a folder (stream/packformat.h, ArchiveHeader).
#pragma once

#include <ostream>
#include <string>

// Writes an entry for everything below the folder, sorted by name, a directory before what is in
// it. Names are relative to the folder; the owner is root; modes and times are those of the files.
// Throws Failure for what an archive cannot hold and for files that cannot be read.
void writeArchive(std::ostream& out, const std::string& folder);
