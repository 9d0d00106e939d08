#include "input.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "failure.h"
#include "text/read.h"

namespace necctl {
namespace {

constexpr std::size_t mostOctets = std::size_t{64} << 20U;

std::string readAll(std::FILE* stream, const std::string& name) {
    auto content = frame::readUpTo(stream, mostOctets);
    if (!content) throw Failure(unusable, name + ": " + std::strerror(errno));
    if (content->size() > mostOctets) throw Failure(unusable, name + ": larger than 64 MiB");
    return std::move(*content);
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
