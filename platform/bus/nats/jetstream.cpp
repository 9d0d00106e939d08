#include "bus/nats/jetstream.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "bus/received.h"

namespace frame::nats {

namespace {

constexpr std::int64_t waitMilliseconds = 5000;
constexpr std::int64_t makeMilliseconds = 2000;
constexpr std::chrono::seconds makeAgain{30};
// A server deletes a stream's files after it has said that the stream is gone, and those of a new one of that name too.
constexpr std::chrono::seconds deletedWithin{2};

constexpr std::int64_t second = 1'000'000'000;  // nanoseconds
// How long a message that everybody has may stay, or nobody may fetch one.
constexpr std::int64_t longestStay = std::int64_t{7} * 24 * 3600 * second;
// Where the server belongs to a cluster, which then must have as many.
constexpr int clusterReplicas = 3;
// Senders publish again what may be lost, a few minutes later at most.
constexpr std::int64_t repeatsKnown = 300 * second;

std::string withoutDots(std::string text) {
    std::replace(text.begin(), text.end(), '.', '_');
    return text;
}

jsCtx* contextOf(natsConnection* connection) {
    jsOptions options;
    jsOptions_Init(&options);
    options.Wait = waitMilliseconds;
    jsCtx* made = nullptr;
    if (natsConnection_JetStream(&made, connection, &options) != NATS_OK) throw std::bad_alloc();
    return made;
}

jsOptions quickly() {
    jsOptions options;
    jsOptions_Init(&options);
    options.Wait = makeMilliseconds;
    return options;
}

// As the server said it, without where the client noted it, or else as the client does.
std::string errorText(natsStatus status, jsErrCode code) {
    const char* text = code != 0 ? nats_GetLastError(nullptr) : nullptr;
    const std::string said = text != nullptr ? text : "";
    const std::size_t place = said.find("): ");
    return said.empty() ? natsStatus_GetText(status) : said.substr(place == std::string::npos ? 0 : place + 3);
}

}  // namespace

StreamNames::StreamNames(const std::string& system)
    : stream_(withoutDots(system) + "-rm"), messages_(system + ".rm.*"), pieces_(messages_ + ".data.>") {}

std::string StreamNames::consumer(std::uint16_t type, unsigned long id) {
    return 't' + std::to_string(type) + '-' + idText(id);
}

JetStream::JetStream(Connection connection, const StreamNames& names)
    : names_(names), connection_(std::move(connection)), context_(contextOf(connection_.get()), &jsCtx_Destroy) {}

std::uint64_t JetStream::reconnects() const {
    natsStatistics* made = nullptr;
    if (natsStatistics_Create(&made) != NATS_OK) throw std::bad_alloc();
    const std::unique_ptr<natsStatistics, void (*)(natsStatistics*)> statistics(made, &natsStatistics_Destroy);
    std::uint64_t reconnects = 0;
    natsConnection_GetStats(connection_.get(), made);
    natsStatistics_GetCounts(made, nullptr, nullptr, nullptr, nullptr, &reconnects);
    return reconnects;
}

JetStream::Stored JetStream::store(natsMsg* message, const std::string& identifier) const {
    jsPubOptions options;
    jsPubOptions_Init(&options);
    options.MaxWait = waitMilliseconds;
    options.MsgId = identifier.c_str();
    options.ExpectStream = names_.stream().c_str();
    jsPubAck* made = nullptr;
    jsErrCode code{};
    Stored stored;
    stored.status = js_PublishMsg(&made, context_.get(), message, &options, &code);
    const std::unique_ptr<jsPubAck, void (*)(jsPubAck*)> acknowledged(made, &jsPubAck_Destroy);
    if (stored.status != NATS_OK) {
        stored.error = errorText(stored.status, code);
        stored.refused = code == JSStreamStoreFailedErr || code == JSInsufficientResourcesErr ||
                         code == JSStorageResourcesExceededErr;
        return stored;
    }
    stored.repeated = made->Duplicate;
    stored.sequence = made->Sequence;
    return stored;
}

std::optional<JetStream::State> JetStream::look(std::string& error) {
    for (int tries = 0;; ++tries) {
        jsOptions options = quickly();
        jsStreamInfo* made = nullptr;
        jsErrCode code{};
        const natsStatus status = js_GetStreamInfo(&made, context_.get(), names_.stream().c_str(), &options, &code);
        const std::unique_ptr<jsStreamInfo, void (*)(jsStreamInfo*)> info(made, &jsStreamInfo_Destroy);
        if (status == NATS_OK) {
            isThere();
            return State{made->Created, made->State.LastSeq};
        }
        error = errorText(status, code);
        if (tries != 0 || status != NATS_NOT_FOUND || !isGone() || makeStream(error) != NATS_OK) return std::nullopt;
    }
}

Message JetStream::find(const std::string& subject) const {
    jsOptions options = quickly();
    jsDirectGetMsgOptions which;
    jsDirectGetMsgOptions_Init(&which);
    which.LastBySubject = subject.c_str();
    natsMsg* found = nullptr;
    js_DirectGetMsg(&found, context_.get(), names_.stream().c_str(), &options, &which);
    return Message(found);
}

SubscriptionHandle JetStream::consume(const std::string& consumer, const std::string& subject, std::string& error) {
    SubscriptionHandle made;
    jsErrCode code{};
    natsStatus status = bind(made, consumer, code);
    if (status == NATS_OK) return made;
    error = errorText(status, code);
    if (status == NATS_NOT_FOUND && makeConsumer(consumer, subject, error) == NATS_OK) {
        status = bind(made, consumer, code);
        error = errorText(status, code);
    }
    return made;
}

// Bound to what is there: the client would delete a durable consumer that it had made itself.
natsStatus JetStream::bind(SubscriptionHandle& made, const std::string& consumer, jsErrCode& code) const {
    jsSubOptions options;
    jsSubOptions_Init(&options);
    options.Stream = names_.stream().c_str();
    options.Consumer = consumer.c_str();
    natsSubscription* subscription = nullptr;
    const natsStatus status =
        js_PullSubscribe(&subscription, context_.get(), nullptr, consumer.c_str(), nullptr, &options, &code);
    made.reset(subscription);
    return status;
}

bool JetStream::lacks(const std::string& consumer) const {
    jsOptions options = quickly();
    jsConsumerInfo* found = nullptr;
    const natsStatus status =
        js_GetConsumerInfo(&found, context_.get(), names_.stream().c_str(), consumer.c_str(), &options, nullptr);
    jsConsumerInfo_Destroy(found);
    return status == NATS_NOT_FOUND;
}

bool JetStream::mayMake() const {
    const std::lock_guard lock(mutex_);
    return Clock::now() >= nextMaking_;
}

void JetStream::isThere() {
    const std::lock_guard lock(mutex_);
    seen_ = true;
    missingSince_.reset();
}

bool JetStream::isGone() {
    const std::lock_guard lock(mutex_);
    if (!seen_) return true;
    if (!missingSince_) missingSince_ = Clock::now();
    return Clock::now() - *missingSince_ >= deletedWithin;
}

natsStatus JetStream::tried(natsStatus status, jsErrCode code, std::string& error) {
    if (status == NATS_OK) return status;
    error = "it is missing and cannot be made: " + errorText(status, code);
    const std::lock_guard lock(mutex_);
    if (status == NATS_TIMEOUT) nextMaking_ = Clock::now() + makeAgain;
    return status;
}

natsStatus JetStream::makeStream(std::string& error) {
    if (!mayMake()) return NATS_NOT_PERMITTED;
    const std::array<const char*, 2> subjects{names_.messages().c_str(), names_.pieces().c_str()};
    jsStreamConfig config;
    jsStreamConfig_Init(&config);
    config.Name = names_.stream().c_str();
    config.Subjects = const_cast<const char**>(subjects.data());
    config.SubjectsLen = static_cast<int>(subjects.size());
    config.Discard = js_DiscardNew;  // or else what nobody has fetched yet would go
    config.MaxAge = longestStay;
    config.Duplicates = repeatsKnown;
    config.AllowDirect = true;  // for pieces
    jsOptions options = quickly();
    natsStatus status = NATS_OK;
    jsErrCode code{};
    for (const int replicas : {clusterReplicas, 1}) {
        config.Replicas = replicas;
        status = js_AddStream(nullptr, context_.get(), &config, &options, &code);
        if (code != JSStreamReplicasNotSupportedErr) break;  // said by a server that is no cluster's
    }
    return tried(status, code, error);
}

// One message at a time: what is behind one that was refused waits, and so it does when a process ends with it.
natsStatus JetStream::makeConsumer(const std::string& consumer, const std::string& subject, std::string& error) {
    if (!look(error) || !mayMake()) return NATS_NOT_PERMITTED;
    jsConsumerConfig config;
    jsConsumerConfig_Init(&config);
    config.Durable = consumer.c_str();
    config.FilterSubject = subject.c_str();
    config.DeliverPolicy = js_DeliverAll;
    config.AckPolicy = js_AckExplicit;
    config.AckWait = std::chrono::nanoseconds(takenForDead).count();
    config.MaxDeliver = -1;
    config.MaxAckPending = 1;
    jsOptions options = quickly();
    jsErrCode code{};
    const char* stream = names_.stream().c_str();
    return tried(js_AddConsumer(nullptr, context_.get(), stream, &config, &options, &code), code, error);
}

}  // namespace frame::nats
