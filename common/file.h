// Files that are written a line at a time.
#pragma once

#include <string_view>

#include "common/owner.h"

namespace pm {

// Opens path with a mode of fopen, without a buffer: on a full disk the write that no
// longer fits fails. Null with errno set if the file cannot be opened, ENXIO for a FIFO.
FileOwner openUnbuffered(const char* path, const char* mode);

// Writes all of text; false if only a part of it could be written.
bool writeAll(std::FILE* file, std::string_view text);

} // namespace pm
