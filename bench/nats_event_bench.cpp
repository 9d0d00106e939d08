// Events over a NATS server, from publishing to the subscriber's handler, beside messages of the bare client.
#include <semaphore>
#include <vector>

#include "bench.h"
#include "nats_sides.h"
#include "support/nats_server.h"

namespace bench {

namespace {

constexpr unsigned long neCreated = 0x217006;
constexpr std::size_t recordOctets = 32;  // as NotifyNECreated announces an NE
// Small enough that all of it may wait for the receiver.
constexpr long burst = 20'000;
// With so many servers and pairs of processes, one after the other: how the threads of one fall on the cores is luck.
constexpr int servers = 5;

// Counts what comes, and tells when all of a burst is there.
class Arrivals {
public:
    void count() {
        if (++count_ % burst == 0) all_.release();
    }
    void await() { all_.acquire(); }

private:
    long count_ = 0;
    std::binary_semaphore all_{0};
};

class Engines {
public:
    explicit Engines(const std::string& url)
        : receiver_(connectEngine(url, {3001, 2})), sender_(connectEngine(url, {3001, 1})) {}

    void deliver() {
        for (long i = 0; i < burst; ++i)
            if (sender_->publishEvent(event_) != frame::BusCode::ok)
                throw std::runtime_error("an event is not published");
        arrivals_.await();
    }

private:
    Arrivals arrivals_;
    std::unique_ptr<frame::NatsEngine> receiver_;
    frame::Subscription receiving_ =
        receiver_->subscribeEvent(neCreated, [this](const frame::EventMessage&) { arrivals_.count(); });
    std::unique_ptr<frame::NatsEngine> sender_;
    const frame::EventMessage event_{neCreated, sender_->address(), frame::Payload(std::string(recordOctets, 'x'))};
};

// The same with nothing but the client. `sender`: what each message says of its sender, in place of a subject for
// answers, which the receiver reads; null: nothing.
class Bare {
public:
    Bare(const std::string& url, const char* sender)
        : said_(sender), receiver_(bare::connect(url)), sender_(bare::connect(url)) {}

    void deliver() {
        for (long i = 0; i < burst; ++i) publish();
        arrivals_.await();
    }

private:
    void publish() {
        const auto size = static_cast<int>(record_.size());
        bare::check(said_ == nullptr
                        ? natsConnection_Publish(sender_.get(), subject, record_.data(), size)
                        : natsConnection_PublishRequest(sender_.get(), subject, said_, record_.data(), size));
    }
    static void take(natsConnection*, natsSubscription*, natsMsg* pointer, void* closure) {
        const bare::Message message(pointer);
        auto& bare = *static_cast<Bare*>(closure);
        keep(natsMsg_GetReply(pointer));
        bare.arrivals_.count();
    }

    static constexpr const char* subject = "bare.ev.0x217006";
    const char* const said_;
    const std::string record_ = std::string(recordOctets, 'x');
    Arrivals arrivals_;
    bare::Connection receiver_;
    bare::Subscription receiving_ = bare::subscribe(receiver_.get(), subject, &Bare::take, this);
    bare::Connection sender_;
};

Figures deliveringOnce(const Run& run, const char* sender) {
    const support::NatsServer server;
    Engines engines(server.url());
    Bare bare(server.url(), sender);
    return alternate(
        run, Clock::wall, burst, [&] { engines.deliver(); }, [&] { bare.deliver(); });
}

Figures delivering(const Run& run, const char* sender) {
    std::vector<double> ours;
    std::vector<double> peer;
    for (int i = 0; i < (run.quick ? 1 : servers); ++i) {
        const Figures figures = deliveringOnce(run, sender);
        ours.push_back(figures.ours);
        peer.push_back(figures.peer);
    }
    return {median(ours), median(peer)};
}

const bool registered = add({"event over NATS, publish to receive, ns; peer: the bare client, with sender", atMost(1.3),
                             [](const Run& run) { return delivering(run, "from.3001.1"); }}) &&
                        add({"event over NATS, publish to receive, ns; peer: the bare client, without sender",
                             informsOfTime(), [](const Run& run) { return delivering(run, nullptr); }});

}  // namespace

}  // namespace bench
