// The installer's verdict on package files.
#pragma once

#include <string>

enum class Verdict {
  kGood,
  kUnreadable,  // its headers, or the file is not as long as its header says
  kNotGenuine,  // neither signed with the product's key nor in its list
};

// Checks against productData(). Throws Failure when the file cannot be opened.
Verdict verifyFile(const std::string& file);
