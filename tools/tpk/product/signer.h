// Makes the signatures that stream/signature.h checks.
//
// With the secret a, the key P = x(a*B) and a number r of which nobody else knows anything: R =
// r*B, e = the first bytes of H(x of R), k the multiplier that the digest and e make, and s such
// that s*B + k*P is R again. Only the x-coordinate of P is known to the verifier; it takes the
// point with the root that it recovers, which is a*B or its negative. So s = r - k*a in the first
// case and r + k*a in the second.
//
// One package signed twice gets the same signature: r is made of the key and the digest.
#pragma once

#include "stream/packformat.h"
#include "stream/productdata.h"
#include "tools/tpk/product/productfolder.h"

#include <string>

class Signer {
 public:
  // Throws Failure when the key is not the public key's. data must outlive the object.
  Signer(const ProductData& data, const SigningKey& key);

  // Of a package with this 20-byte digest.
  SignatureRecord sign(const unsigned char* digest) const;

 private:
  void chooseScalar(const unsigned char* digest, unsigned char* r) const;

  const ProductData& data_;
  SigningKey key_;
  bool negative_;  // the verifier takes the negative of a*B for the key
};

// x(scalar*B), 32 bytes; scalar is below the group's order and not 0. Throws Failure otherwise.
void baseMultiple(const unsigned char* scalar, unsigned char* x);

// Readies the library that does the arithmetic and the random numbers. Throws Failure.
void readySodium();
