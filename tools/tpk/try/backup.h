// What a router's backup says of the router, laid out in a scratch root: the database word for
// word, of everything else only where it is and how large.
#pragma once

#include <string>

// What every package script needs.
constexpr char kScriptShell[] = "/flash/bin/bash";
constexpr char kScriptProfile[] = "/flash/tarn/lib/install/profile.sh";

class HeldSignals;
class ScratchRoot;

// The backup is a folder or a tar that holds "flash/var/pdb" or "var/pdb", or what is in that
// folder. Of one that begins at the router's "/" the requests that wait for the next run come along
// ("ram/pdb", "rw/DOWNGRADE"). Package files in the drop directories do not, nor do links. Throws
// Failure for a backup without a database, and for one with anything in its database that is
// neither file nor folder.
void layOutBackup(const std::string& path, ScratchRoot& root, const HeldSignals& signals);
