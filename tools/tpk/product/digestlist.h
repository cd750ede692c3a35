// The list of known digests of a product data folder. Its length is fixed: places that are not in
// use hold a digest of ones, which no package has.
#pragma once

#include "tools/tpk/read/packreader.h"

#include <cstddef>
#include <string>
#include <vector>

struct ProductData;

enum : unsigned char { kFreePlaceByte = 0xff };

std::size_t countFreePlaces(const ProductData& data);

struct ListedDigest {
  Digest digest;
  std::string comment;  // the package's name, for whoever reads the list
};

// Puts the digests into free places of the folder's list: all of them, or none. The file keeps its
// layout and its comments; a line that holds nothing behind its digest gets the new one's. Returns
// how many places are still free. Throws Failure, also when one of the digests is in the list.
std::size_t addToDigestList(const std::string& folder, const std::vector<ListedDigest>& digests);
