// Times in microseconds.
#pragma once

#include <chrono>
#include <cstdio>
#include <vector>

using Samples = std::vector<double>;

template <typename Work>
double timed(const Work& work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin)
        .count();
}

// Prints a line with the name and all samples.
inline void print(const char* name, const Samples& samples) {
    std::printf("%s", name);
    for (const double sample : samples)
        std::printf(" %.1f", sample);
    std::printf("\n");
}
