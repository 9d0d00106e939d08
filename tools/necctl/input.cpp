#include "input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "failure.h"

namespace necctl {
namespace {

constexpr std::size_t mostOctets = std::size_t{64} << 20U;

std::string readAll(std::FILE* stream, const std::string& name) {
    std::string content;
    std::size_t got = 0;
    do {
        const std::size_t before = content.size();
        content.resize(before + (std::size_t{1} << 16U));
        got = std::fread(content.data() + before, 1, content.size() - before, stream);
        content.resize(before + got);
        if (content.size() > mostOctets) throw Failure(unusable, name + ": larger than 64 MiB");
    } while (got != 0);
    if (std::ferror(stream) != 0) throw Failure(unusable, name + ": " + std::strerror(errno));
    return content;
}

}  // namespace

std::string readFile(const std::string& file) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "re"), &std::fclose);
    if (!stream) throw Failure(unusable, file + ": " + std::strerror(errno));
    return readAll(stream.get(), file);
}

std::string readInput(const std::string& file) {
    return file == "-" ? readAll(stdin, "standard input") : readFile(file);
}

}  // namespace necctl
