// A large broadcast over a NATS server, beside the bare client that publishes as many octets in messages as large as a
// server takes by default.
#include <array>
#include <barrier>
#include <memory>
#include <stdexcept>

#include "bench.h"
#include "nats_sides.h"
#include "support/nats_server.h"

namespace bench {

namespace {

constexpr std::size_t messageOctets = std::size_t{1} << 20U;
constexpr std::uint16_t target = 3003;
constexpr int receivers = 3;

std::size_t messagesOf(const Run& run) {
    return run.quick ? 4 : 64;
}

// A process that sends, and three that receive: engines, each with a connection of its own.
class Engines {
public:
    Engines(const std::string& url, std::size_t octets) : record_(std::string(octets, 'x')) {
        for (std::uint16_t handle = 1; handle <= receivers; ++handle) {
            engines_.push_back(connectEngine(url, {target, handle}));
            receiving_.push_back(engines_.back()->subscribeBroadcast(
                target, [this](const frame::BroadcastMessage&) { all_.arrive_and_wait(); }));
        }
        sender_ = connectEngine(url, {3001, 1});
    }

    void deliver() {
        if (sender_->broadcast({1, target, sender_->address(), record_}) != frame::RequestCode::ok)
            throw std::runtime_error("the broadcast is not sent");
        all_.arrive_and_wait();
    }

private:
    const frame::Payload record_;
    std::barrier<> all_{receivers + 1};
    std::vector<std::unique_ptr<frame::BusEngine>> engines_;
    std::vector<frame::Subscription> receiving_;
    std::unique_ptr<frame::BusEngine> sender_;
};

// The same with nothing but the client: each receiver counts what comes.
class Bare {
public:
    Bare(const std::string& url, std::size_t messages) : messages_(messages), text_(messageOctets, 'x') {
        for (Receiver& receiver : receivers_) {
            receiver.owner = this;
            receiver.connection = bare::connect(url);
            receiver.subscription = bare::subscribe(receiver.connection.get(), "bare", &Bare::take, &receiver);
        }
        sender_ = bare::connect(url);
    }

    void deliver() {
        for (std::size_t i = 0; i < messages_; ++i)
            bare::check(natsConnection_Publish(sender_.get(), "bare", text_.data(), static_cast<int>(text_.size())));
        all_.arrive_and_wait();
    }

private:
    struct Receiver {
        Bare* owner = nullptr;
        std::size_t count = 0;
        bare::Connection connection;
        bare::Subscription subscription;
    };

    static void take(natsConnection*, natsSubscription*, natsMsg* message, void* closure) {
        natsMsg_Destroy(message);
        auto* receiver = static_cast<Receiver*>(closure);
        if (++receiver->count % receiver->owner->messages_ == 0) receiver->owner->all_.arrive_and_wait();
    }

    const std::size_t messages_;
    const std::string text_;
    std::barrier<> all_{receivers + 1};
    std::array<Receiver, receivers> receivers_;
    bare::Connection sender_;
};

Figures broadcasting(const Run& run) {
    const std::size_t messages = messagesOf(run);
    // A receiver that lags does not lose its connection for that.
    const support::NatsServer server("max_pending: 512MB", true);
    Engines engines(server.url(), messages * messageOctets);
    Bare bare(server.url(), messages);
    return alternate(
        run, Clock::wall, 1, [&] { engines.deliver(); }, [&] { bare.deliver(); });
}

const bool registered = add({"broadcast over NATS, 64 MiB to 3 processes, ns; peer: the bare client, messages of 1 MiB",
                             timesFaster(0.5), broadcasting});

}  // namespace

}  // namespace bench
