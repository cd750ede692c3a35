// The two ways in which a package's bytes are accepted: a signature made with the product's key, or
// a place in the product's list of known-good digests. Both check against productData().
#pragma once

#include "stream/packformat.h"

struct ProductData;

// Whether the 20 bytes are one of the known-good digests.
[[nodiscard]] bool goodSignature(const unsigned char* digest);

// Whether record signs the 20-byte digest.
[[nodiscard]] bool goodSignatureRecord(const SignatureRecord& record, const unsigned char* digest);

// Writes the 32 bytes of the number by which a signature multiplies the key: the product's hash of
// the 20-byte digest, mixed with the 16-byte check value and clamped as for X25519 (RFC 7748).
void signatureMultiplier(const ProductData& data, const unsigned char* digest,
                         const unsigned char* check, unsigned char* out);
