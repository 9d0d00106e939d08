#include "line_output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

namespace necctl {
namespace {

// How often one that waits looks whether it is to.
constexpr int glanceMilliseconds = 50;

}  // namespace

LineOutput::int_type LineOutput::overflow(int_type character) {
    if (!writeOut()) return traits_type::eof();
    if (!traits_type::eq_int_type(character, traits_type::eof())) sputc(traits_type::to_char_type(character));
    return traits_type::not_eof(character);
}

int LineOutput::sync() {
    return writeOut() ? 0 : -1;
}

bool LineOutput::await() const {
    pollfd waiting{file_, POLLOUT, 0};
    for (;;) {
        const bool last = hurried_;
        const int ready = poll(&waiting, 1, last ? 0 : glanceMilliseconds);
        if (ready > 0 || (ready < 0 && errno != EINTR)) return true;  // with an error, writing tells it
        if (last) return false;
    }
}

bool LineOutput::writeOut() {
    const char* next = pbase();
    while (next != pptr()) {
        if (!await()) return false;
        const ssize_t written = write(file_, next, static_cast<std::size_t>(pptr() - next));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) refused_ = true;
        if (written < 0) return false;
        next += written;
    }
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return true;
}

}  // namespace necctl
