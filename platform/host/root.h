// Where the stand-in's files are, and the right to use them.
#pragma once

#include <string>
#include <string_view>

namespace pm::host {

// The path below PM_HOST_ROOT, or below "/" without it: "run/pm", "/etc/pm.conf".
std::string hostPath(std::string_view relative);

// Creates a folder and those above it up to the root (0700 for the last).
// False: errno tells why.
bool makeHostFolder(std::string_view relative);

// Makes this process the one pm of its root and of its /tmp, for as long as it
// lives. To be called before anything is written or bound; any thread, any
// number of times. False: another process holds one of them, or a lock file
// cannot be had; the first refusal logs one line that says which and why.
bool claimHost();

} // namespace pm::host
