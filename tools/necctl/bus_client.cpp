#include "bus_client.h"

#include <array>
#include <future>
#include <thread>

#include "bus/nats/client_error.h"
#include "bus/nats/headers.h"
#include "bus/nats/message.h"
#include "bus/nats/options.h"
#include "options.h"

namespace necctl {
namespace {

using frame::nats::Message;

constexpr std::int64_t flushMilliseconds = 5000;
constexpr std::chrono::seconds answerPatience{5};
// With each of the servers.
constexpr std::chrono::seconds longestConnecting{5};
// Of answers that wait.
constexpr int mostWaiting = 20000;
constexpr int mostWaitingOctets = 32 << 20;

void require(natsStatus status, const std::string& what) {
    if (status != NATS_OK)
        throw Failure(unusable, what + ": " + frame::nats::clientErrorOr(natsStatus_GetText(status)));
}

// A leaf's server complains of what it makes of questions for the cluster's store: "$JS.DOMAIN.API.".
bool namesSubject(const std::string& complaint, const std::string& begin, const std::string& subject) {
    if (complaint.find(begin + subject + '"') != std::string::npos) return true;
    constexpr std::string_view api = "$JS.API.";
    return subject.starts_with(api) && complaint.find(begin + "$JS.") != std::string::npos &&
           complaint.find(".API." + subject.substr(api.size()) + '"') != std::string::npos;
}

std::shared_ptr<natsConnection> connectBy(const frame::nats::Options& options, const std::string& whom) {
    natsConnection* connection = nullptr;
    const natsStatus status = natsConnection_Connect(&connection, options.get());
    if (status == NATS_CONNECTION_AUTH_FAILED)
        throw TurnedAway(unusable, whom + ": " + frame::nats::clientErrorOr(natsStatus_GetText(status)));
    require(status, whom);
    return {connection, &natsConnection_Destroy};
}

std::shared_ptr<natsConnection> connect(const CProcID& address, const frame::NatsOptions& options) {
    frame::nats::check(options);
    frame::nats::Options made = frame::nats::clientOptions(address, options);
    natsOptions_SetAllowReconnect(made.get(), false);
    natsOptions_SetErrorHandler(
        made.get(), [](natsConnection*, natsSubscription*, natsStatus, void*) {}, nullptr);
    const std::string whom =
        options.servers.size() == 1 ? options.servers.front() : "no server of bus.servers takes it";
    // The client waits for ever for a server that says what it is and then hangs: the thread that does is left behind.
    std::packaged_task<std::shared_ptr<natsConnection>()> connecting(
        [made = std::move(made), whom] { return connectBy(made, whom); });
    auto connected = connecting.get_future();
    std::thread(std::move(connecting)).detach();
    if (connected.wait_for(longestConnecting * options.servers.size()) != std::future_status::ready)
        throw Failure(unusable, whom + ": it does not answer");
    return connected.get();
}

}  // namespace

BusClient::BusClient(const CProcID& address, const frame::NatsOptions& options) try
    : sender_(frame::nats::writeAddress(address)),
      connection_(connect(address, options)),
      inbox_(frame::nats::inboxOf(address, options)) {
    natsSubscription* made = nullptr;
    require(natsConnection_SubscribeSync(&made, connection_.get(), inbox_.everything().c_str()), "inbox");
    answers_.reset(made);
    natsSubscription_SetPendingLimits(made, mostWaiting, mostWaitingOctets);
} catch (const Failure&) {
    throw;
} catch (const std::logic_error& error) {
    throw Failure(unusable, error.what());
} catch (const std::runtime_error& error) {
    throw Failure(unusable, error.what());
}

std::string BusClient::server() const {
    std::array<char, 512> url{};
    natsConnection_GetConnectedUrl(connection_.get(), url.data(), url.size());
    return url.data();
}

std::optional<std::chrono::nanoseconds> BusClient::roundTrip() const {
    std::int64_t nanoseconds = 0;
    if (natsConnection_GetRTT(connection_.get(), &nanoseconds) != NATS_OK) return std::nullopt;
    return std::chrono::nanoseconds(nanoseconds);
}

void BusClient::publish(const std::string& subject, const std::string& reply, const std::string& text,
                        const char* header, const std::string& value) const {
    const Message message = frame::nats::makeMessage(subject, reply, text);
    if (header != nullptr) frame::nats::setHeader(message, header, value);
    require(natsConnection_PublishMsg(connection_.get(), message.get()), subject);
}

bool BusClient::refused(const std::string& what, const std::string& subject) const {
    require(natsConnection_FlushTimeout(connection_.get(), flushMilliseconds), "the server does not answer");
    const char* text = nullptr;
    if (natsConnection_GetLastError(connection_.get(), &text) != NATS_NOT_PERMITTED || text == nullptr) return false;
    return namesSubject(text, "Permissions Violation for " + what + " to \"", subject);
}

bool BusClient::mayPublish(const std::string& subject) const {
    publish(subject, "", "", "Nats-Expected-Stream", "none");
    return !refused("Publish", subject);
}

bool BusClient::maySubscribe(const std::string& subject) const {
    natsSubscription* made = nullptr;
    require(natsConnection_SubscribeSync(&made, connection_.get(), subject.c_str()), subject);
    const frame::nats::SubscriptionHandle owned(made);
    return !refused("Subscription", subject);
}

Message BusClient::next(const std::string& subject, Clock::time_point deadline) const {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        natsMsg* message = nullptr;
        if (left <= 0 || natsSubscription_NextMsg(&message, answers_.get(), left) != NATS_OK) return nullptr;
        Message owned(message);
        if (natsMsg_GetSubject(message) == subject) return owned;
    }
}

BusClient::Answer BusClient::ask(const std::string& subject, const std::string& text) const {
    const frame::nats::Inbox::Entry entry(inbox_, {});
    publish(subject, entry.subject(), text, nullptr, "");
    if (refused("Publish", subject)) return {true, nullptr};
    return {false, next(entry.subject(), Clock::now() + answerPatience)};
}

std::vector<Message> BusClient::askAll(const std::string& subject, std::chrono::milliseconds length, std::size_t most,
                                       bool& refused) const {
    const frame::nats::Inbox::Entry entry(inbox_, {});
    publish(subject, entry.subject(), "", frame::nats::senderHeader, sender_);
    const auto deadline = Clock::now() + length;
    refused = this->refused("Publish", subject);
    std::vector<Message> messages;
    while (!refused && messages.size() < most) {
        Message message = next(entry.subject(), deadline);
        if (!message) break;
        messages.push_back(std::move(message));
    }
    return messages;
}

}  // namespace necctl
