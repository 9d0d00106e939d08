// Standard output that may stand still for long: whoever writes waits for it, until told to wait no more.
#pragma once

#include <atomic>
#include <ostream>
#include <streambuf>
#include <vector>

namespace necctl {

class LineOutput : private std::streambuf {
public:
    explicit LineOutput(int file) : file_(file), buffer_(mostAtOnce), stream_(this) {
        setp(buffer_.data(), buffer_.data() + buffer_.size());
    }

    // What is written to it. When something could not be written, it fails, now and for ever.
    std::ostream& stream() { return stream_; }
    // From now on what cannot be written at once is not. From any thread.
    void hurry() { hurried_ = true; }
    // Whether the file refused something.
    bool refused() const { return refused_; }

private:
    // What a pipe takes at once when it takes anything.
    static constexpr std::size_t mostAtOnce = 4096;

    int_type overflow(int_type character) override;
    int sync() override;
    // Waits until the file takes something; false when it need not wait any more.
    bool await() const;
    bool writeOut();

    const int file_;
    std::vector<char> buffer_;
    std::ostream stream_;
    std::atomic<bool> hurried_{false};
    std::atomic<bool> refused_{false};
};

}  // namespace necctl
