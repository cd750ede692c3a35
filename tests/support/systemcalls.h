// System calls of this test process that fail when a test says so: disks that break are hard to
// come by. Defined here they take the place of the system's own in the whole executable, so each
// executable that wants them lists this file among its own.
#pragma once

#include <functional>

enum class SystemCall { kWrite, kClose, kChmod, kFork, kWaitpid, kCount };

// The next such call fails with that errno, or the one after as many that work. Of write() and
// close() only those of regular files count, standard output excepted.
void failCall(SystemCall call, int error, unsigned working = 0);
// As failCall(), for as many calls one after the other.
void failCalls(SystemCall call, int error, unsigned count);
// Lets everything work again. Returns whether all failures that were asked for came.
bool healCalls();

// sync() only calls this: a test must not wait for the disks of the machine.
void onSync(std::function<void()> action);
