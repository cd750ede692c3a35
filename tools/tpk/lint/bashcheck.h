// The syntax of scripts, as bash sees it.
#pragma once

#include <optional>
#include <string>

// The first bash of PATH; empty when there is none.
std::string findBash();

// What bash has to say against the script; nothing when it is fine. Nothing of the script is run.
// Throws EnvironmentFailure.
std::optional<std::string> checkSyntax(const std::string& bash, const std::string& script);
