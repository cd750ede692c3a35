// Fills the signature parts of a package file.
#pragma once

#include <string>

class Signer;

// Every package of the file must end in a signature part with room for the record, which is written
// over. Throws Failure.
void signPackages(const std::string& file, const Signer& signer);
