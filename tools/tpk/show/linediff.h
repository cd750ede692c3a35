// The difference of two texts as people read it.
#pragma once

#include <string>
#include <vector>

// The lines of the text, without their ends; what comes behind the last end is a line too.
std::vector<std::string> linesOf(const std::string& text);

// Lines that begin with "-", "+" or " ", three of the latter around each change, and "@@" before
// each group as "diff -u" has it. Of long texts that have little in common what is behind the first
// differences counts as replaced, but for the end that they share.
std::vector<std::string> unifiedDiff(const std::vector<std::string>& before,
                                     const std::vector<std::string>& after);
