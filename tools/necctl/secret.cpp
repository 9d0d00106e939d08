#include "secret.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "config/ftp_store.h"
#include "failure.h"

namespace necctl {
namespace {

class Descriptor {
public:
    explicit Descriptor(const std::string& file)
        : own_(file != "-"), number_(own_ ? open(file.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {}
    ~Descriptor() {
        if (own_ && number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return number_; }

private:
    const bool own_;
    const int number_;
};

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
    const Descriptor descriptor(file);
    if (descriptor.number() < 0 || !fill(password, descriptor.number()))
        throw Failure(unusable, name + ": " + std::strerror(errno));
    dropLineEnd(password);
    if (password.size() > frame::longestFtpText)
        throw Failure(wrongData, name + ": longer than " + std::to_string(frame::longestFtpText) + " octets");
}

}  // namespace necctl
