// What stands on both sides where the distributed engine is measured: engines, and the bare NATS client, whose
// connections, subscriptions and messages end with their owners, and whose failures break a row off.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/log.h"
#include "platform/nats.h"
#include "support/nats_handles.h"

namespace bench {

// An engine that logs nothing.
inline std::unique_ptr<frame::NatsEngine> connectEngine(const std::string& url, CProcID address) {
    frame::LogOptions none;
    none.level = frame::LogLevel::off;
    none.trace = false;
    frame::openLog(none, address.procType, address.procHandle);
    frame::NatsOptions options;
    options.servers = {url};
    return frame::connectNats(address, options);
}

namespace bare {

using support::nats::Connection;
using support::nats::JetStream;
using support::nats::Message;
using support::nats::Options;
using support::nats::StreamInfo;
using support::nats::Subscription;

inline void check(natsStatus status) {
    support::nats::check(status, "the bare client");
}

// together: what is published waits up to a millisecond for more, as the client does unless told otherwise, and many
// messages leave in one go. atOnce: each message leaves when it is published; for those whose answer is waited for.
enum class Sends { together, atOnce };

inline Connection connect(const std::string& url, Sends sends = Sends::together) {
    natsOptions* options = nullptr;
    check(natsOptions_Create(&options));
    const Options owner(options);
    check(natsOptions_SetURL(options, url.c_str()));
    check(natsOptions_SetSendAsap(options, sends == Sends::atOnce));
    natsConnection* made = nullptr;
    check(natsConnection_Connect(&made, options));
    return Connection(made);
}

// Nothing that comes is dropped, however much waits. When it returns, the server knows.
inline Subscription subscribe(natsConnection* connection, const char* subject, natsMsgHandler handler, void* closure) {
    natsSubscription* made = nullptr;
    check(natsConnection_Subscribe(&made, connection, subject, handler, closure));
    Subscription subscription(made);
    check(natsSubscription_SetPendingLimits(made, -1, -1));
    check(natsConnection_Flush(connection));
    return subscription;
}

inline Message message(const char* subject, const char* reply, std::string_view octets) {
    natsMsg* made = nullptr;
    check(natsMsg_Create(&made, subject, reply, octets.data(), static_cast<int>(octets.size())));
    return Message(made);
}

}  // namespace bare

}  // namespace bench
