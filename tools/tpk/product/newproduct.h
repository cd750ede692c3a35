// Fresh product data.
#pragma once

#include "stream/field25519.h"
#include "tools/tpk/product/productfolder.h"

#include <memory>

// Random data from the system's random source, with a random key; every place of the list of known
// digests is free. Throws Failure.
std::unique_ptr<ProductData> makeProductData(SigningKey& key);

// One of the two numbers whose square is -1 modulo p.
Field25519 rootOfMinusOne();
