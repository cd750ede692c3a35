// Points of the Montgomery curve y^2 = x^3 + 486662 x^2 + x over the integers modulo 2^255 - 19
// (RFC 7748, curve25519): what checking a signature needs of them.
#pragma once

#include "stream/field25519.h"

// Finds y for a point with the given x. Of the two roots it is v^((p+3)/8), v being the curve's
// right side, where that is a root, otherwise rootSelector times it; rootSelector is a square root
// of -1. False when v has no root: no point of the curve has this x.
[[nodiscard]] bool recoverRoot(const Field25519& x, const Field25519& rootSelector, Field25519& y);

// Writes the x-coordinate of s*B + k*P as 32 bytes, fully reduced; 0 for the point at infinity. B
// is the base point with x = 9, P the point with this x and the root that recoverRoot() finds. s, k
// and x are 32 bytes, little-endian; of s and k all 256 bits count. Right for every P, also those
// of small order and the multiples of B. False when P is on no point of the curve.
[[nodiscard]] bool jointMultiple(const unsigned char* s, const unsigned char* k,
                                 const unsigned char* x, const unsigned char* rootSelector,
                                 unsigned char* out);
