// Reliable messages over a NATS server, from Send to the broker's stream, beside messages of the bare client that are
// in no outbox first.
#include <chrono>
#include <filesystem>
#include <latch>
#include <thread>
#include <vector>

#include "bench.h"
#include "nats_sides.h"
#include "platform/asn1.h"
#include "platform/reliable.h"
#include "support/folder.h"
#include "support/nats_server.h"

namespace bench {

namespace {

constexpr unsigned long messageId = 0xB0762A;
constexpr int senders = 8;
const std::string octets(100, 'x');

void inAllThreads(const std::function<void()>& work) {
    std::latch start(senders);
    std::vector<std::thread> threads;
    threads.reserve(senders);
    for (int i = 0; i < senders; ++i)
        threads.emplace_back([&] {
            start.arrive_and_wait();
            work();
        });
    for (auto& thread : threads) thread.join();
}

// The broker's side of both: streams, and how much is in them.
class Broker {
public:
    explicit Broker(const std::string& url) : connection_(bare::connect(url)) {
        jsCtx* made = nullptr;
        bare::check(natsConnection_JetStream(&made, connection_.get(), nullptr));
        context_.reset(made);
    }

    jsCtx* context() const { return context_.get(); }
    void makeStream(const char* name) const {
        jsStreamConfig config;
        jsStreamConfig_Init(&config);
        config.Name = name;
        config.Subjects = &name;
        config.SubjectsLen = 1;
        bare::check(js_AddStream(nullptr, context_.get(), &config, nullptr, nullptr));
    }
    std::uint64_t messagesIn(const char* stream) const {
        jsStreamInfo* made = nullptr;
        const natsStatus status = js_GetStreamInfo(&made, context_.get(), stream, nullptr, nullptr);
        const bare::StreamInfo info(made);
        if (status == NATS_NOT_FOUND) return 0;
        bare::check(status);
        return info->State.Msgs;
    }

private:
    bare::Connection connection_;
    bare::JetStream context_;
};

class Channel {
public:
    Channel(const std::string& url, const std::string& outbox, const Broker& broker)
        : broker_(broker), engine_(connectEngine(url, {3001, 1})), channel_(*engine_, {outbox}) {}

    void deliver(int messagesEach) {
        inAllThreads([&] {
            for (int i = 0; i < messagesEach; ++i)
                if (NSTE_util::ReliableEventProxy::Instance()->Send(messageId, record_) != 0)
                    throw std::runtime_error("a message was not accepted");
        });
        sent_ += static_cast<std::uint64_t>(senders * messagesEach);
        while (broker_.messagesIn("nec-rm") < sent_) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

private:
    const AsnOcts record_{octets};
    const Broker& broker_;
    std::uint64_t sent_ = 0;
    std::unique_ptr<frame::NatsEngine> engine_;
    frame::ReliableChannel channel_;
};

void deliverBare(const Broker& broker, int messagesEach) {
    inAllThreads([&] {
        for (int i = 0; i < messagesEach; ++i)
            bare::check(js_Publish(nullptr, broker.context(), "bare", octets.data(), static_cast<int>(octets.size()),
                                   nullptr, nullptr));
    });
}

Figures storing(const Run& run) {
    // Where the program runs: /tmp may be memory, which syncs for nothing.
    const support::Folder folder(std::filesystem::current_path());
    const support::NatsServer server("", true);
    const Broker broker(server.url());
    broker.makeStream("bare");
    Channel channel(server.url(), folder.file("outbox.db"), broker);
    const int messagesEach = run.quick ? 5 : 200;
    std::vector<double> ours;
    std::vector<double> peer;
    const auto rate = [messagesEach](const Work& work) {
        const double begin = now(Clock::wall);
        work();
        return senders * messagesEach / (now(Clock::wall) - begin);
    };
    channel.deliver(1);  // it makes its stream first
    for (int turn = 0; turn < (run.quick ? 1 : 9); ++turn) {
        ours.push_back(rate([&] { channel.deliver(messagesEach); }));
        peer.push_back(rate([&] { deliverBare(broker, messagesEach); }));
    }
    return {median(ours), median(peer)};
}

const bool registered =
    add({"reliable messages over NATS, 8 threads, stored by the broker, messages a second; peer: the bare client",
         informsOfTime(), storing});

}  // namespace

}  // namespace bench
