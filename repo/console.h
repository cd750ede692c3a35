// Standard output: past the run log, and past quiet mode.
#pragma once

// At once.
void print(const char* text);
