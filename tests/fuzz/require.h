// How a fuzz target finds fault.
#pragma once

#include <cstdio>
#include <cstdlib>

// Ends the program when `holds` is false.
inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "fuzz: %s\n", what);
    std::abort();
}
