// Somebody on the server who is none of ours: publishes what it likes, and looks into the store.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "bus/nats/hash.h"
#include "support/nats_handles.h"

namespace natstest {

using support::nats::check;
using support::nats::Connection;
using support::nats::ConsumerInfo;
using support::nats::JetStream;
using support::nats::Message;
using support::nats::StreamInfo;
using support::nats::Subscription;

struct Header {
    std::string name;
    std::string value;
};

// Of the octets of a broadcast.
inline std::string hashOf(std::string_view octets) {
    frame::nats::Hash hash;
    hash.add(octets);
    return hash.text();
}

class Foreigner {
public:
    explicit Foreigner(const std::string& url) {
        natsConnection* made = nullptr;
        check(natsConnection_ConnectTo(&made, url.c_str()), "connect");
        connection_.reset(made);
        jsCtx* context = nullptr;
        check(natsConnection_JetStream(&context, made, nullptr), "JetStream");
        jetStream_.reset(context);
    }

    // When it returns the server has it. `reply`: empty when no answer is wanted.
    void publish(const std::string& subject, const std::vector<Header>& headers, std::string_view octets = {},
                 const std::string& reply = {}) const {
        natsMsg* made = nullptr;
        check(natsMsg_Create(&made, subject.c_str(), reply.empty() ? nullptr : reply.c_str(), octets.data(),
                             static_cast<int>(octets.size())),
              "message");
        const Message message(made);
        for (const Header& header : headers)
            check(natsMsgHeader_Set(made, header.name.c_str(), header.value.c_str()), header.name);
        check(natsConnection_PublishMsg(connection_.get(), made), "publish");
        check(natsConnection_FlushTimeout(connection_.get(), patienceMs), "round trip");
    }

    // Returns when it is stored.
    void store(const std::string& subject, std::string_view octets) const {
        check(js_Publish(nullptr, jetStream_.get(), subject.c_str(), octets.data(), static_cast<int>(octets.size()),
                         nullptr, nullptr),
              subject);
    }

    struct Stream {
        std::int64_t maxBytes = -1;
        bool direct = true;
    };
    void makeStream(const char* name, const char* subject, const Stream& stream) const {
        jsStreamConfig config;
        check(jsStreamConfig_Init(&config), "stream");
        config.Name = name;
        config.Subjects = &subject;
        config.SubjectsLen = 1;
        config.Storage = js_MemoryStorage;
        config.MaxBytes = stream.maxBytes;
        config.AllowDirect = stream.direct;
        check(js_AddStream(nullptr, jetStream_.get(), &config, nullptr, nullptr), name);
    }
    // The first message that the stream holds comes to who listens to `subject`, under its own.
    void deliver(const std::string& stream, const std::string& subject) const {
        jsConsumerConfig config;
        check(jsConsumerConfig_Init(&config), "consumer");
        config.Durable = "delivers";
        config.AckPolicy = js_AckExplicit;
        check(js_AddConsumer(nullptr, jetStream_.get(), stream.c_str(), &config, nullptr, nullptr), stream);
        publish("$JS.API.CONSUMER.MSG.NEXT." + stream + ".delivers", {}, "1", subject);
    }
    StreamInfo streamInfo(const char* name) const {
        jsStreamInfo* info = nullptr;
        check(js_GetStreamInfo(&info, jetStream_.get(), name, nullptr, nullptr), name);
        return StreamInfo(info);
    }
    ConsumerInfo consumerInfo(const char* stream, const char* name) const {
        jsConsumerInfo* info = nullptr;
        check(js_GetConsumerInfo(&info, jetStream_.get(), stream, name, nullptr, nullptr), name);
        return ConsumerInfo(info);
    }

    Subscription listen(const std::string& subject) const {
        natsSubscription* made = nullptr;
        check(natsConnection_SubscribeSync(&made, connection_.get(), subject.c_str()), subject);
        check(natsConnection_FlushTimeout(connection_.get(), patienceMs), "round trip");
        return Subscription(made);
    }
    static Message next(const Subscription& subscription) {
        natsMsg* message = nullptr;
        check(natsSubscription_NextMsg(&message, subscription.get(), patienceMs), "next message");
        return Message(message);
    }

private:
    static constexpr std::int64_t patienceMs = 30000;

    Connection connection_;
    JetStream jetStream_;
};

}  // namespace natstest
