// A disk that is full, as a program sees it.
#pragma once

#include <sys/resource.h>

#include <csignal>

namespace support {

// While it lives, no file of this program, or of one that it starts, can grow beyond `octets`: as on a full disk, but
// for the error's number.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t octets) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{octets, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_{};
    sighandler_t handler_;
};

}  // namespace support
