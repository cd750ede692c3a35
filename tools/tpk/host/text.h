// Texts for messages.
#pragma once

#include <string>
#include <vector>

// In quotation marks, as printable() has it: a file can have any name, and a message is one line.
std::string quoted(const std::string& text);

// Of the words the one that text was probably meant to be; empty when none is near enough.
std::string nearestWord(const std::string& text, const std::vector<std::string>& words);
