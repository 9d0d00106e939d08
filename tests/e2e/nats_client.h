// A NATS client for tests of what a server permits: nothing but the C client, with owners and a time-out on every wait.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "support/nats_handles.h"

namespace nats_client {

inline constexpr std::int64_t patienceMs = 30000;

using support::nats::check;
using support::nats::Connection;
using support::nats::ConsumerInfo;
using support::nats::JetStream;
using support::nats::Message;
using support::nats::Options;
using support::nats::PublishAcknowledgement;
using support::nats::StreamInfo;
using support::nats::Subscription;

inline std::string textOf(const Message& message) {
    return message ? std::string(natsMsg_GetData(message.get()),
                                 static_cast<std::size_t>(natsMsg_GetDataLength(message.get())))
                   : "no message";
}

// One connection.
class Client {
public:
    explicit Client(const Options& options) {
        natsConnection* made = nullptr;
        status_ = natsConnection_Connect(&made, options.get());
        connection_.reset(made);
    }

    natsStatus status() const { return status_; }
    natsConnection* get() const { return connection_.get(); }

    void publish(const std::string& subject) const {
        check(natsConnection_PublishString(get(), subject.c_str(), "text"), "publish");
    }
    void ask(const std::string& subject, const std::string& reply, const std::string& text = "text") const {
        check(natsConnection_PublishRequestString(get(), subject.c_str(), reply.c_str(), text.c_str()), "publish");
    }
    // As a process of the system does that has this address.
    void publishAs(const std::string& sender, const std::string& subject) const {
        natsMsg* made = nullptr;
        check(natsMsg_Create(&made, subject.c_str(), nullptr, "text", 4), "message");
        const Message message(made);
        check(natsMsgHeader_Set(made, "Nec-Sender", sender.c_str()), "header");
        check(natsConnection_PublishMsg(get(), made), "publish");
    }
    Subscription subscribe(const std::string& subject, const char* group = nullptr) const {
        natsSubscription* made = nullptr;
        check(group == nullptr ? natsConnection_SubscribeSync(&made, get(), subject.c_str())
                               : natsConnection_QueueSubscribeSync(&made, get(), subject.c_str(), group),
              "subscribe");
        return Subscription(made);
    }
    // After a round trip: whether the server's last complaint is that `what`, "Publish" or "Subscription", to `subject`
    // is not permitted. The server complains before it answers, and the client notes it before it reads on.
    bool refused(const std::string& what, const std::string& subject) const {
        check(natsConnection_FlushTimeout(get(), patienceMs), "round trip");
        const char* text = nullptr;
        if (natsConnection_GetLastError(get(), &text) != NATS_NOT_PERMITTED) return false;
        return std::string(text).find("Permissions Violation for " + what + " to \"" + subject + "\"") !=
               std::string::npos;
    }
    bool maySubscribe(const std::string& subject, const char* group = nullptr) const {
        const Subscription subscription = subscribe(subject, group);
        return !refused("Subscription", subject);
    }
    // What becomes of a request; its answer is let go.
    natsStatus request(const std::string& subject) const {
        natsMsg* answer = nullptr;
        const natsStatus status = natsConnection_RequestString(&answer, get(), subject.c_str(), "text", patienceMs);
        const Message owner(answer);
        return status;
    }
    // It must not outlive this.
    JetStream jetStream() const {
        jsCtx* made = nullptr;
        jsOptions options;
        check(jsOptions_Init(&options), "options");
        options.Wait = patienceMs;
        check(natsConnection_JetStream(&made, get(), &options), "JetStream");
        return JetStream(made);
    }

private:
    Connection connection_;
    natsStatus status_ = NATS_OK;
};

inline Message next(const Subscription& subscription) {
    natsMsg* message = nullptr;
    check(natsSubscription_NextMsg(&message, subscription.get(), patienceMs), "next message");
    return Message(message);
}

// How long one attempt may take where a cluster may have no leader just now: then it does not answer.
inline constexpr std::int64_t attemptMs = 1000;

// Attempts until one succeeds.
template <class Attempt>
void persist(const Attempt& attempt, const std::string& what) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patienceMs);
    natsStatus status = attempt();
    while (status != NATS_OK && std::chrono::steady_clock::now() < end) status = attempt();
    check(status, what);
}

inline void makeStream(const JetStream& jetStream, const char* name, const char* subject, int replicas = 1) {
    jsStreamConfig config;
    check(jsStreamConfig_Init(&config), "stream");
    config.Name = name;
    config.Subjects = &subject;
    config.SubjectsLen = 1;
    config.Replicas = replicas;
    config.AllowDirect = true;
    jsOptions options;
    check(jsOptions_Init(&options), "options");
    options.Wait = attemptMs;
    persist([&] { return js_AddStream(nullptr, jetStream.get(), &config, &options, nullptr); }, name);
}

// The name of the server that leads it.
inline std::string leaderOf(const JetStream& jetStream, const char* stream) {
    jsStreamInfo* made = nullptr;
    check(js_GetStreamInfo(&made, jetStream.get(), stream, nullptr, nullptr), stream);
    const StreamInfo info(made);
    return info->Cluster != nullptr && info->Cluster->Leader != nullptr ? info->Cluster->Leader : "";
}

// `subject`: of which messages; null: of all.
// `pending`: how many messages may be on their way at once; those of processes have one, which keeps them in order.
inline void makeConsumer(const JetStream& jetStream, const char* stream, const char* durable,
                         const char* subject = nullptr, std::int64_t pending = 0) {
    jsConsumerConfig config;
    check(jsConsumerConfig_Init(&config), "consumer");
    config.Durable = durable;
    config.FilterSubject = subject;
    config.AckPolicy = js_AckExplicit;
    config.MaxAckPending = pending;
    check(js_AddConsumer(nullptr, jetStream.get(), stream, &config, nullptr, nullptr), durable);
}

// Returns the sequence number that the message has in its stream.
inline std::uint64_t store(const JetStream& jetStream, const char* subject, const std::string& text) {
    jsPubAck* made = nullptr;
    check(js_Publish(&made, jetStream.get(), subject, text.data(), static_cast<int>(text.size()), nullptr, nullptr),
          subject);
    return PublishAcknowledgement(made)->Sequence;
}

inline std::vector<std::string> fetchAndAcknowledge(const JetStream& jetStream, const char* stream, const char* durable,
                                                    int count) {
    jsSubOptions which;
    check(jsSubOptions_Init(&which), "options");
    which.Stream = stream;
    which.Consumer = durable;
    jsOptions options;
    check(jsOptions_Init(&options), "options");
    options.Wait = attemptMs;
    natsSubscription* made = nullptr;
    persist([&] { return js_PullSubscribe(&made, jetStream.get(), nullptr, durable, &options, &which, nullptr); },
            durable);
    const Subscription subscription(made);
    natsMsgList list{};
    persist([&] { return natsSubscription_Fetch(&list, made, count, attemptMs, nullptr); }, "fetch");
    std::vector<std::string> texts;
    for (int i = 0; i < list.Count; ++i) {
        texts.emplace_back(natsMsg_GetData(list.Msgs[i]),
                           static_cast<std::size_t>(natsMsg_GetDataLength(list.Msgs[i])));
        check(natsMsg_AckSync(list.Msgs[i], nullptr, nullptr), "acknowledge");
    }
    natsMsgList_Destroy(&list);
    return texts;
}

// How many messages the consumer has not handed out, or has no acknowledgement for.
inline std::uint64_t unacknowledged(const JetStream& jetStream, const char* stream, const char* durable) {
    jsConsumerInfo* made = nullptr;
    check(js_GetConsumerInfo(&made, jetStream.get(), stream, durable, nullptr, nullptr), durable);
    const ConsumerInfo info(made);
    return info->NumPending + static_cast<std::uint64_t>(info->NumAckPending);
}

}  // namespace nats_client
