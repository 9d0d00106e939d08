// What the bare NATS client gives, with owners, and its failures as errors.
#pragma once

#include <nats/nats.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace support::nats {

struct Destroy {
    void operator()(natsOptions* options) const { natsOptions_Destroy(options); }
    void operator()(natsConnection* connection) const { natsConnection_Destroy(connection); }
    void operator()(natsSubscription* subscription) const { natsSubscription_Destroy(subscription); }
    void operator()(natsMsg* message) const { natsMsg_Destroy(message); }
    void operator()(jsCtx* context) const { jsCtx_Destroy(context); }
    void operator()(jsPubAck* ack) const { jsPubAck_Destroy(ack); }
    void operator()(jsStreamInfo* info) const { jsStreamInfo_Destroy(info); }
    void operator()(jsConsumerInfo* info) const { jsConsumerInfo_Destroy(info); }
    void operator()(jsMsgMetaData* data) const { jsMsgMetaData_Destroy(data); }
};
using Options = std::unique_ptr<natsOptions, Destroy>;
using Connection = std::unique_ptr<natsConnection, Destroy>;
using Subscription = std::unique_ptr<natsSubscription, Destroy>;
using Message = std::unique_ptr<natsMsg, Destroy>;
using JetStream = std::unique_ptr<jsCtx, Destroy>;
using PublishAcknowledgement = std::unique_ptr<jsPubAck, Destroy>;
using StreamInfo = std::unique_ptr<jsStreamInfo, Destroy>;
using ConsumerInfo = std::unique_ptr<jsConsumerInfo, Destroy>;

inline void check(natsStatus status, const std::string& what) {
    if (status == NATS_OK) return;
    const char* text = nats_GetLastError(nullptr);
    throw std::runtime_error(what + ": " + (text != nullptr && *text != '\0' ? text : natsStatus_GetText(status)));
}

}  // namespace support::nats
