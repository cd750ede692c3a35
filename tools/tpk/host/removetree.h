// Removing what strangers made.
#pragma once

#include <string>

// Removes what is at the path with everything below it, however deep, whatever its modes. Follows
// no link. False, with errno, when something stayed; nothing there is no failure.
bool removeHostTree(const std::string& path);
