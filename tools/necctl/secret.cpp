#include "secret.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config/ftp_store.h"
#include "descriptor.h"
#include "failure.h"

namespace necctl {
namespace {

peers::Descriptor opened(const std::string& file) {
    return peers::Descriptor(file == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                         : open(file.c_str(), O_RDONLY | O_CLOEXEC));
}

// Reads to the end of the file, or until `text` is full. Unbuffered: nothing else holds what was read.
bool fill(std::string& text, int file) {
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t got = read(file, text.data() + size, text.size() - size);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return false;
        if (got == 0) break;
        size += static_cast<std::size_t>(got);
    }
    text.resize(size);
    return true;
}

void dropLineEnd(std::string& text) {
    if (!text.ends_with('\n')) return;
    text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
}

}  // namespace

void readPassword(const std::string& file, std::string& password) {
    FrameUtil::ClearPasswd(password);
    const std::string name = file == "-" ? "standard input" : file;
    password.resize(frame::longestFtpText + 3);  // the line end, and an octet that is too much
    const peers::Descriptor descriptor = opened(file);
    if (!descriptor || !fill(password, descriptor.number()))
        throw Failure(unusable, name + ": " + std::strerror(errno));
    dropLineEnd(password);
    if (password.size() > frame::longestFtpText)
        throw Failure(wrongData, name + ": longer than " + std::to_string(frame::longestFtpText) + " octets");
}

}  // namespace necctl
