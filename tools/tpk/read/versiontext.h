// Versions as people write them: the texts that versionString() makes (model/version.h).
#pragma once

#include <cstdint>
#include <string>

// Takes "3.22", "3.22.1", "3.20rc2", "5.0beta7", "4.0alpha". False when text is none of these or a
// number is above 255.
[[nodiscard]] bool parseVersion(const std::string& text, std::uint32_t& version);
