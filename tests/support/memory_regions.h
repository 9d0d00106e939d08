// The memory of a process that it can write: what a core image of it would hold.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "support/folder.h"

namespace support {

struct MemoryRegion {
    std::uintptr_t begin;
    std::uintptr_t end;
    std::string name;  // as the system tells of it
};

// Of `process`, a number or "self"; all of it but for the address space that sanitizers reserve for themselves.
inline std::vector<MemoryRegion> writableMemory(const std::string& process) {
    constexpr std::uintptr_t largest = std::uintptr_t{1} << 30U;
    std::istringstream maps(contentOf("/proc/" + process + "/maps"));
    std::vector<MemoryRegion> regions;
    for (std::string line; std::getline(maps, line);) {
        std::uintptr_t begin = 0;
        std::uintptr_t end = 0;
        std::array<char, 5> mode{};
        if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, mode.data()) != 3) continue;
        if (mode[0] != 'r' || mode[1] != 'w' || end - begin > largest) continue;
        regions.push_back({begin, end, line});
    }
    return regions;
}

}  // namespace support
