// What is read from a mapping when its file lost the pages behind it: another program truncated the file, or the
// disk no longer delivers it.
#pragma once

#include "platform/file_map.h"

// Without a guard, reading a lost page ends the program. Under guard, the page and all after it, up to the end of the
// mapping, are zeros from then on. The part of a page behind the new end of its file reads as zeros without a guard
// as well. The reader can only tell from the data.
// Both functions are for one thread at a time; others may read guarded mappings meanwhile.
void guard_map(const FileMap& map);
// To be called before the file is unmapped. Does nothing for a mapping without a guard.
void release_guard(const FileMap& map);
