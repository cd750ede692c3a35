// What kind of flash the router has.
#pragma once

// Whether the flash has erase blocks of 256 KiB; not when there is no flash that answers.
bool flashHasLargeBlocks();
