#include "tools/tpk/product/digestlist.h"

#include "stream/productdata.h"
#include "tools/tpk/host/failure.h"
#include "tools/tpk/host/hostfile.h"
#include "tools/tpk/host/pendingfile.h"
#include "tools/tpk/product/hexfile.h"
#include "tools/tpk/product/productfolder.h"

#include <algorithm>
#include <cerrno>
#include <fstream>

namespace {

bool isFree(const unsigned char* digest) {
  return std::all_of(digest, digest + ProductData::kDigestSize,
                     [](unsigned char byte) { return byte == kFreePlaceByte; });
}

const unsigned char* entryOf(const HexFile& file, std::size_t entry) {
  return file.bytes() + entry * ProductData::kDigestSize;
}

// In the order of the file.
std::vector<std::size_t> freeEntries(const HexFile& file) {
  std::vector<std::size_t> entries;
  for (std::size_t i = 0; i < ProductData::kKnownDigests; ++i)
    if (isFree(entryOf(file, i))) entries.push_back(i);
  return entries;
}

bool isListed(const HexFile& file, const Digest& digest) {
  for (std::size_t i = 0; i < ProductData::kKnownDigests; ++i)
    if (std::equal(digest.begin(), digest.end(), entryOf(file, i))) return true;
  return false;
}

void checkNew(const HexFile& file, const std::string& path,
              const std::vector<ListedDigest>& digests) {
  std::vector<Digest> seen;
  for (const ListedDigest& added : digests) {
    if (isListed(file, added.digest) ||
        std::find(seen.begin(), seen.end(), added.digest) != seen.end())
      throw Failure(path + ": has the digest of " + added.comment + " already");
    seen.push_back(added.digest);
  }
}

void replaceEntry(std::string& text, std::size_t place, const ListedDigest& added) {
  const std::size_t end = place + 2 * added.digest.size();
  text.replace(place, end - place, digestText(added.digest));
  const std::size_t next = text.find_first_not_of(" \t\r", end);
  if (next == std::string::npos || text[next] == '\n') text.insert(end, "  # " + added.comment);
}

void writeText(const std::string& path, const std::string& text) {
  PendingFile pending(path);
  errno = 0;
  std::ofstream out(pending.workPath(), std::ios_base::binary);
  out << text;
  out.close();
  if (!out) failWithErrno(path, "cannot be written");
  keepPermissions(path, pending.workPath());
  pending.commit();
}

}  // namespace

std::size_t countFreePlaces(const ProductData& data) {
  return static_cast<std::size_t>(
      std::count_if(std::begin(data.knownDigests), std::end(data.knownDigests), isFree));
}

std::size_t addToDigestList(const std::string& folder, const std::vector<ListedDigest>& digests) {
  const std::string path = folder + "/" + kKnownDigests;
  const HexFile file(path, productFileShape(kKnownDigests));
  checkNew(file, path, digests);
  const std::vector<std::size_t> entries = freeEntries(file);
  if (entries.size() < digests.size()) {
    throw Failure(path + ": needs " + std::to_string(digests.size()) +
                  " free places (40 digits f) and has " + std::to_string(entries.size()));
  }
  std::string text = file.text();
  // From the end, so that places further up stay where they are.
  for (std::size_t i = digests.size(); i-- > 0;)
    replaceEntry(text, file.placeOf(entries[i]), digests[i]);
  writeText(path, text);
  return entries.size() - digests.size();
}
