// Memory that only the start needed.
#pragma once

namespace pm::host {

// Gives back the pages of program and libraries that nothing has written to:
// most were touched only while the process was put together. What is used again
// comes back from the page cache by itself.
void giveBackStartPages();

} // namespace pm::host
