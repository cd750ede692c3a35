// The console of a run, byte for byte, as a list of events that a test can name.
#pragma once

#include <string>
#include <vector>

using Lines = std::vector<std::string>;

// "say TEXT" for a message line and "status TEXT" for what the status line shows from there on
// (without TEXT when empty). Anything that is neither stands there as "raw BYTES".
Lines consoleEvents(const std::string& console);

// The texts of the messages among the events.
Lines messagesOf(const Lines& events);

std::string joined(const Lines& words, const char* between);
