#include "tools/tpk/read/partnames.h"

#include "stream/packformat.h"

#include <algorithm>
#include <iterator>

namespace {

struct Name {
  std::uint32_t number;
  const char* name;
};

const Name kPartNames[] = {
    {kPartPackage, "package header"},     {kPartDescription, "description"},
    {kPartRequires, "requires list"},     {kPartArchive, "archive"},
    {kPartOnInstall, "oninstall script"}, {kPartOnUninstall, "onuninstall script"},
    {kPartSignature, "signature"},        {kPartArchitecture, "architecture"},
    {kPartConflicts, "conflicts list"},   {kPartBundle, "bundle header"},
    {kPartProvides, "provides list"},     {kPartTurnOff, "turn-off list"},
    {kPartImage, "image marker"},
};

const Name kEntryTypeNames[] = {
    {ArchiveHeader::kRegular, "file"},      {ArchiveHeader::kDirectory, "directory"},
    {ArchiveHeader::kSymlink, "link"},      {ArchiveHeader::kCharDevice, "char"},
    {ArchiveHeader::kBlockDevice, "block"}, {ArchiveHeader::kFifo, "fifo"},
};

}  // namespace

bool isKnownPart(std::uint32_t type) {
  return std::any_of(std::begin(kPartNames), std::end(kPartNames),
                     [type](const Name& part) { return part.number == type; });
}

std::string partName(std::uint32_t type) {
  for (const Name& part : kPartNames) {
    if (part.number == type) return part.name;
  }
  return "part of unknown type " + std::to_string(type);
}

const char* entryTypeName(std::uint16_t mode) {
  const std::uint32_t type = mode & std::uint32_t{ArchiveHeader::kTypeMask};
  for (const Name& entry : kEntryTypeNames) {
    if (entry.number == type) return entry.name;
  }
  return "unknown";
}
