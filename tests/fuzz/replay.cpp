// Runs a fuzz target over all files of its corpus, and over every prefix of each, without libFuzzer.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<char> contents(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Each prefix stands in memory of just its size, so that AddressSanitizer sees a read beyond it.
void replayPrefixes(const std::vector<char>& octets) {
    for (std::size_t size = 0; size <= octets.size(); ++size) {
        const std::unique_ptr<std::uint8_t[]> prefix(new std::uint8_t[size]);
        std::copy_n(octets.begin(), size, prefix.get());
        LLVMFuzzerTestOneInput(prefix.get(), size);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS-FOLDER\n", argv[0]);
        return 2;
    }
    std::size_t files = 0;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1], error)) {
        std::printf("%s\n", entry.path().filename().c_str());
        std::fflush(stdout);
        replayPrefixes(contents(entry.path()));
        ++files;
    }
    if (files == 0) {
        std::fprintf(stderr, "%s: no file in %s\n", argv[0], argv[1]);
        return 1;
    }
    return 0;
}
