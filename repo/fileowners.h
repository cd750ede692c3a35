// Who a path belongs to. Asked by those who know one package and not the database (package/); the
// run's Repo answers (repo/ownership.cpp). Paths are logical and compared as they stand.
#pragma once

#include <string>

// The name of the first installed package that lists the path; empty when none does.
std::string fileOwner(const std::string& path);
// Whether a running program uses the file, as far as is known.
bool fileIsUsed(const std::string& path);
