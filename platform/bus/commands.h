// Command messages inside one program: the place of one process for those to it.
#pragma once

#include <mutex>
#include <stdexcept>

#include "bus/address.h"
#include "bus/sinks.h"

namespace frame {

class CommandReceiver {
public:
    explicit CommandReceiver(CProcID address) : address_(address) {}

    // Throws std::logic_error when there is a sink.
    Sinks<CommandSink>::Ticket set(CommandSink sink) {
        const std::lock_guard lock(mutex_);
        if (!sinks_.empty()) throw std::logic_error("process " + toText(address_) + " receives commands already");
        return sinks_.add(std::make_unique<CommandSink>(std::move(sink)), this);
    }
    // Whether a message to `to` is one for this process.
    bool takes(const CProcID& to) const { return reaches(to, address_) && !sinks_.empty(); }
    // False when the sink is gone.
    bool take(const Payload& message) {
        bool taken = false;
        sinks_.each([&](const CommandSink& sink, const auto&) {
            taken = true;
            sink(message);
        });
        return taken;
    }
    // Ends the sink, and waits for it.
    void end() { sinks_.endOwned(this); }

private:
    const CProcID address_;
    std::mutex mutex_;
    Sinks<CommandSink> sinks_;
};

}  // namespace frame
