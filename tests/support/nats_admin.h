// What an administrator does with a server's stream of reliable messages, by nothing but the C client.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

#include "support/nats_handles.h"

namespace support {

class NatsAdmin {
public:
    explicit NatsAdmin(const std::string& url) {
        natsConnection* connection = nullptr;
        nats::check(natsConnection_ConnectTo(&connection, url.c_str()), "connect");
        connection_.reset(connection);
        jsOptions options;
        nats::check(jsOptions_Init(&options), "options");
        options.Wait = patienceMs;
        jsCtx* context = nullptr;
        nats::check(natsConnection_JetStream(&context, connection, &options), "JetStream");
        context_.reset(context);
    }

    // `mostMessages`, `mostOctets`, `largest` message: negative for no limit.
    void makeStream(std::int64_t mostMessages = -1, std::int64_t mostOctets = -1, std::int32_t largest = -1) {
        std::array<const char*, 2> subjects{"nec.rm.*", "nec.rm.*.data.>"};
        jsStreamConfig config;
        nats::check(jsStreamConfig_Init(&config), "stream");
        config.Name = stream;
        config.Subjects = subjects.data();
        config.SubjectsLen = static_cast<int>(subjects.size());
        config.Discard = js_DiscardNew;
        config.AllowDirect = true;
        config.MaxMsgs = mostMessages;
        config.MaxBytes = mostOctets;
        config.MaxMsgSize = largest;
        nats::check(js_AddStream(nullptr, context_.get(), &config, nullptr, nullptr), "make the stream");
    }
    void deleteStream() { nats::check(js_DeleteStream(context_.get(), stream, nullptr, nullptr), "delete the stream"); }
    void emptyStream() { nats::check(js_PurgeStream(context_.get(), stream, nullptr, nullptr), "empty the stream"); }
    std::uint64_t messages() {
        jsStreamInfo* made = nullptr;
        const natsStatus status = js_GetStreamInfo(&made, context_.get(), stream, nullptr, nullptr);
        if (status == NATS_NOT_FOUND) return 0;  // nobody has made it yet
        nats::check(status, "look at the stream");
        const nats::StreamInfo info(made);
        return info->State.Msgs;
    }

    // Whether each of three brokers is there and has all of the stream; false when nobody tells.
    bool replicasAreCurrent() const {
        const auto info = clustered();
        const jsClusterInfo* cluster = info ? info->Cluster : nullptr;
        if (cluster == nullptr || cluster->Leader == nullptr || cluster->ReplicasLen != 2) return false;
        return std::all_of(cluster->Replicas, cluster->Replicas + cluster->ReplicasLen,
                           [](const jsPeerInfo* peer) { return peer->Current && !peer->Offline; });
    }
    // The name of the broker that leads the stream; empty when there is none or nobody tells.
    std::string leader() const {
        const auto info = clustered();
        const jsClusterInfo* cluster = info ? info->Cluster : nullptr;
        return cluster != nullptr && cluster->Leader != nullptr ? cluster->Leader : "";
    }

    // Up to which number the consumer's messages are acknowledged.
    std::uint64_t acknowledged(const std::string& consumer) const {
        jsConsumerInfo* made = nullptr;
        nats::check(js_GetConsumerInfo(&made, context_.get(), stream, consumer.c_str(), nullptr, nullptr), consumer);
        const nats::ConsumerInfo info(made);
        return info->AckFloor.Stream;
    }

    // One that takes a process for dead soon.
    void makeConsumer(const std::string& name, const std::string& subject, std::int64_t ackWaitMs) {
        jsConsumerConfig config;
        nats::check(jsConsumerConfig_Init(&config), "consumer");
        config.Durable = name.c_str();
        config.FilterSubject = subject.c_str();
        config.AckPolicy = js_AckExplicit;
        config.AckWait = ackWaitMs * 1'000'000;
        config.MaxDeliver = -1;
        config.MaxAckPending = 1;
        nats::check(js_AddConsumer(nullptr, context_.get(), stream, &config, nullptr, nullptr), "make " + name);
    }
    void deleteConsumer(const std::string& name) {
        nats::check(js_DeleteConsumer(context_.get(), stream, name.c_str(), nullptr, nullptr), "delete " + name);
    }
    void deleteMessage(std::uint64_t sequence) {
        nats::check(js_DeleteMsg(context_.get(), stream, sequence, nullptr, nullptr), "delete a message");
    }

    // As no process of the system does: with these headers, where they are not empty.
    void publish(const std::string& subject, const std::string& identifier, const std::string& sender,
                 const std::string& whole = {}, const std::string& text = "text") {
        natsMsg* made = nullptr;
        nats::check(natsMsg_Create(&made, subject.c_str(), nullptr, text.data(), static_cast<int>(text.size())),
                    "message");
        const nats::Message message(made);
        const auto set = [made](const char* name, const std::string& value) {
            if (!value.empty()) nats::check(natsMsgHeader_Set(made, name, value.c_str()), name);
        };
        set("Nats-Msg-Id", identifier);
        set("Nec-Sender", sender);
        set("Nec-Whole", whole);
        nats::check(js_PublishMsg(nullptr, context_.get(), made, nullptr, nullptr), "publish");
    }

private:
    static constexpr const char* stream = "nec-rm";
    static constexpr std::int64_t patienceMs = 30000;
    static constexpr std::int64_t clusterMs = 1000;  // one that has no leader just now does not answer

    nats::StreamInfo clustered() const {
        jsOptions options;
        nats::check(jsOptions_Init(&options), "options");
        options.Wait = clusterMs;
        jsStreamInfo* made = nullptr;
        js_GetStreamInfo(&made, context_.get(), stream, &options, nullptr);
        return nats::StreamInfo(made);
    }

    nats::Connection connection_;
    nats::JetStream context_;
};

}  // namespace support
