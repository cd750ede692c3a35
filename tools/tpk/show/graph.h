// The relations between packages as a picture: Graphviz DOT.
#pragma once

#include <string>
#include <vector>

// One node for each package, a cluster for each bundle with what it carries. Each requirement is an
// edge to the packages that meet it for the installer, by their names or by what they provide; one
// that no other package of the files meets is red. Files are package files or descriptions. Throws
// Failure.
std::string packageGraph(const std::vector<std::string>& files);

// Text between double quotes as DOT takes it for exactly this label, whatever is in it.
std::string dotQuoted(const std::string& text);
