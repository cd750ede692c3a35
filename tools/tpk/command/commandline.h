// The words of tpk's command line.
#pragma once

// Parses the words and runs the command that they name. The result is the exit status, an
// ExitStatus (host/exitstatus.h); what a command throws comes through.
int runCommandLine(int argc, char** argv);
