// A large broadcast over a NATS server, beside the bare client that publishes as many octets in messages as large as a
// server takes by default.
#include <nats/nats.h>

#include <array>
#include <barrier>
#include <memory>
#include <stdexcept>

#include "bench.h"
#include "platform/log.h"
#include "platform/nats.h"
#include "support/nats_server.h"

namespace bench {

namespace {

constexpr std::size_t messageOctets = std::size_t{1} << 20U;
constexpr std::uint16_t target = 3003;
constexpr int receivers = 3;

std::size_t messagesOf(const Run& run) {
    return run.quick ? 4 : 64;
}

void check(natsStatus status) {
    if (status != NATS_OK) throw std::runtime_error(std::string("the bare client: ") + natsStatus_GetText(status));
}

// A process that sends, and three that receive: engines, each with a connection of its own.
class Engines {
public:
    Engines(const std::string& url, std::size_t octets) : record_(std::string(octets, 'x')) {
        frame::NatsOptions options;
        options.servers = {url};
        for (std::uint16_t handle = 1; handle <= receivers; ++handle) {
            engines_.push_back(frame::connectNats({target, handle}, options));
            receiving_.push_back(engines_.back()->subscribeBroadcast(
                target, [this](const frame::BroadcastMessage&) { all_.arrive_and_wait(); }));
        }
        sender_ = frame::connectNats({3001, 1}, options);
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
            receiver.connection = connect(url);
            natsSubscription* made = nullptr;
            check(natsConnection_Subscribe(&made, receiver.connection.get(), "bare", &Bare::take, &receiver));
            receiver.subscription.reset(made);
            check(natsSubscription_SetPendingLimits(made, -1, -1));
            check(natsConnection_Flush(receiver.connection.get()));
        }
        sender_ = connect(url);
    }

    void deliver() {
        for (std::size_t i = 0; i < messages_; ++i)
            check(natsConnection_Publish(sender_.get(), "bare", text_.data(), static_cast<int>(text_.size())));
        all_.arrive_and_wait();
    }

private:
    struct Destroy {
        void operator()(natsConnection* connection) const { natsConnection_Destroy(connection); }
        void operator()(natsSubscription* subscription) const { natsSubscription_Destroy(subscription); }
    };
    using Connection = std::unique_ptr<natsConnection, Destroy>;

    struct Receiver {
        Bare* owner = nullptr;
        std::size_t count = 0;
        Connection connection;
        std::unique_ptr<natsSubscription, Destroy> subscription;
    };

    static Connection connect(const std::string& url) {
        natsConnection* made = nullptr;
        check(natsConnection_ConnectTo(&made, url.c_str()));
        return Connection(made);
    }
    static void take(natsConnection*, natsSubscription*, natsMsg* message, void* closure) {
        natsMsg_Destroy(message);
        auto* receiver = static_cast<Receiver*>(closure);
        if (++receiver->count % receiver->owner->messages_ == 0) receiver->owner->all_.arrive_and_wait();
    }

    const std::size_t messages_;
    const std::string text_;
    std::barrier<> all_{receivers + 1};
    std::array<Receiver, receivers> receivers_;
    Connection sender_;
};

Figures broadcasting(const Run& run) {
    frame::LogOptions none;
    none.level = frame::LogLevel::off;
    none.trace = false;
    frame::openLog(none, 1, 1);
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
