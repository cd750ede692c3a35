// The run modes. Each returns the process's exit status.
#pragma once

struct Options;

// Changes the root, loads the database and runs the one mode that the options ask for.
int run(const Options& options);
