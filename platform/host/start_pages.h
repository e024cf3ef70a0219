// Frees memory that only the start needed.
#pragma once

namespace pm::host {

// Releases the read-only pages of the program and its libraries, most of which only the
// dynamic linker read. The kernel loads a page again when it is used.
void giveBackStartPages();

} // namespace pm::host
