#include "tools/tpk/read/archiveindex.h"

#include "tools/tpk/host/failure.h"
#include "tools/tpk/read/entrypath.h"
#include "tools/tpk/read/inputfile.h"

#include <climits>
#include <vector>

namespace {

std::string pathOf(const std::string& name) {
  try {
    return cleanPath(name);
  } catch (const Failure&) {
    return name;
  }
}

}  // namespace

bool ArchiveBudget::fits(const ArchiveEntry& entry) {
  const std::string& name = entry.name;
  nameBytes_ += name.size() + entry.target.size();
  // Paths that are longer have no folders that can be.
  for (std::size_t end = name.find('/'); end < PATH_MAX; end = name.find('/', end + 1))
    nameBytes_ += end;
  return ++entries_ <= kMostEntries && nameBytes_ <= kMostNameBytes;
}

void ArchiveBudget::take(const ArchiveEntry& entry, const ArchiveReader& archive) {
  if (!fits(entry))
    throw Failure(archive.file().name() + ": archive: it has more entries than any router holds");
}

ArchiveIndex indexArchive(const InputFile& file, std::uint64_t offset) {
  ArchiveIndex index;
  ArchiveReader reader(file, offset);
  ArchiveBudget budget;
  ArchiveEntry entry;
  std::vector<char> buffer(65536);
  while (reader.next(entry)) {
    budget.take(entry, reader);
    SHA1 hash;
    while (const std::size_t got = reader.read(buffer.data(), buffer.size()))
      hash.update(buffer.data(), static_cast<unsigned>(got));
    IndexedEntry& indexed = index[pathOf(entry.name)];
    indexed.header = entry.header;
    indexed.target = entry.target;
    indexed.device = entry.device;
    hash.digest(indexed.contents.data());
  }
  return index;
}
