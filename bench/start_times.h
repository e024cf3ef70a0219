// Measures how long pm takes to start and to stop.
#pragma once

// Starts the program that many times, waits until it reports READY=1 to a socket at
// notifyPath, and ends it with SIGTERM. Prints two lines of samples in microseconds,
// "start" and "stop". The program inherits the environment.
void measureStarts(const char* program, const char* notifyPath, int times);
