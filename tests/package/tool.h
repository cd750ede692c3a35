// The package of these tests: "tool" 1.0.
#pragma once

// Its record, and what is scheduled for it.
constexpr char kMeta[] = "/flash/var/pdb/tool/";
constexpr char kSchedule[] = "/ram/pdb/tool/schedule";
// What its scripts begin with.
constexpr char kPrologue[] = "#!/bin/bash\n\n. /tarn/lib/install/profile.sh\n\n";
// What is said when its file is broken.
constexpr char kBroken[] = "ERROR: installation of tool-1.0 failed: broken package\n";
