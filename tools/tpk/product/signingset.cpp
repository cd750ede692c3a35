#include "tools/tpk/product/signingset.h"

#include "tools/tpk/product/productfolder.h"

#include <cstdio>

SigningSet::SigningSet(const std::string& folder) : data_(readProductData(folder)) {
  SigningKey key;
  readSigningKey(folder, key);
  signer_ = std::make_unique<Signer>(*data_, key);
  const std::string warning = signingKeyWarning(folder);
  if (!warning.empty()) std::fprintf(stderr, "tpk: warning: %s\n", warning.c_str());
}

SigningSet::~SigningSet() = default;
