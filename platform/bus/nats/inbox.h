// Where answers to this process come: an address for each one that is waited for, which nobody can guess.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>

#include "bus/nats/handles.h"

namespace frame::nats {

class Inbox {
public:
    // Called on a thread of the client, at any time up to the end of the entry, and never after it.
    using Handler = std::function<void(Message)>;

    // `prefix`: what its subjects begin with.
    explicit Inbox(const std::string& prefix);

    // What to listen to.
    std::string everything() const { return prefix_ + '*'; }
    // A message that came there. False when nobody waits for it (any more).
    bool take(Message message);

    // A place that answers come to while it lives.
    class Entry {
    public:
        Entry(Inbox& inbox, Handler handler);
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

        const std::string& subject() const { return subject_; }

    private:
        Inbox& inbox_;
        const std::string subject_;
    };

private:
    const std::string prefix_;
    std::mutex mutex_;
    std::unordered_map<std::string, Handler> handlers_;
};

}  // namespace frame::nats
