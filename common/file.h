// Files that are written a line at a time.
#pragma once

#include <string_view>

#include "common/owner.h"

// Opens path for writing and truncates it. Not buffered: each write reaches the
// file at once or fails at once, so that a full disk is seen at the line that
// it cuts. Null with errno set if it can't be opened, ENXIO for a FIFO.
FileOwner openUnbuffered(const char* path, const char* mode);

// False if not all of it could be written.
bool writeAll(std::FILE* file, std::string_view text);
