// Fresh product data.
#pragma once

#include "tools/tpk/productfolder.h"

#include <memory>

// Random data from the system's random source, with a random key. Throws Failure.
std::unique_ptr<ProductData> makeProductData(SigningKey& key);
