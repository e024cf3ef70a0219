// The paths of pm's files, and the locks that allow only one pm to use them.
#pragma once

#include <string>
#include <string_view>

namespace pm::host {

// Returns the path below PM_HOST_ROOT, or below "/" if it is not set. relative: for example
// "run/pm" or "/etc/pm.conf".
std::string hostPath(std::string_view relative);

// Creates a folder (mode 0700) and its parents up to the root (0755). On failure returns
// false with errno set.
bool makeHostFolder(std::string_view relative);

// Locks the root and /tmp for this process until it ends. Call before writing or binding
// anything; any thread, any number of times. Returns false if another process has one of the
// locks or a lock file cannot be used; the first failure is logged.
bool claimHost();

} // namespace pm::host
