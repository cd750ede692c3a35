// Signatures for packages that tests make, with the signing key of the product that the tests are
// built for.
#pragma once

#include <string>

// The contents of a signature part for a package whose bytes have this 20-byte SHA-1 digest. The
// digest is that of everything from the package's header on, the header of the signature part
// included.
std::string signatureFor(const unsigned char* digest);
