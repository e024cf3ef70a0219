// How long pm takes to serve, and to end.
#pragma once

// Starts the program so often, each time until it tells a socket at notifyPath
// that it is ready, and ends it by SIGTERM. Prints two lines of samples in
// microseconds, "start" and "stop". The caller's environment is the program's.
void measureStarts(const char* program, const char* notifyPath, int times);
