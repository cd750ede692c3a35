// Texts out of packages for people's terminals and for JSON: names can hold any bytes.
#pragma once

#include <string>

bool isUtf8(const std::string& text);

// On one line, with nothing in it that a terminal acts upon: control characters, bytes that are not
// UTF-8 and the backslash become "\n", "\t", "\\" or "\x1b".
std::string printable(const std::string& text);

// A message for a terminal: what printable() shows of control characters, but for line ends. The
// backslashes of names that are printable already stay as they are.
std::string consoleText(const std::string& message);
