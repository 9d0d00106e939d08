#include "bus/nats/jetstream.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

#include "bus/nats/client_error.h"

namespace frame::nats {

namespace {

constexpr std::int64_t waitMilliseconds = 5000;
constexpr std::int64_t makeMilliseconds = 2000;
constexpr std::chrono::seconds makeAgain{30};
// A server deletes a stream's files after it has said that the stream is gone, and those of a new one of that name too:
// that one then counts messages which it cannot find.
constexpr std::chrono::seconds deletedWithin{2};

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

// Whether what was asked of a consumer came to nothing because there is none, or no stream for it: to the client the
// latter is an error like any other.
bool isMissing(natsStatus status, jsErrCode code) {
    return status == NATS_NOT_FOUND || code == JSStreamNotFoundErr;
}

// As the server said it, without where the client noted it, or else as the client does.
std::string errorText(natsStatus status, jsErrCode code) {
    const char* text = natsStatus_GetText(status);
    return code != 0 ? clientErrorOr(text) : text;
}

}  // namespace

JetStream::JetStream(Connection connection, const StreamSettings& stream)
    : stream_(stream), connection_(std::move(connection)), context_(contextOf(connection_.get()), &jsCtx_Destroy) {}

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
    options.ExpectStream = stream_.name.c_str();
    jsPubAck* made = nullptr;
    jsErrCode code{};
    Stored stored;
    stored.status = js_PublishMsg(&made, context_.get(), message, &options, &code);
    const std::unique_ptr<jsPubAck, void (*)(jsPubAck*)> acknowledged(made, &jsPubAck_Destroy);
    if (stored.status != NATS_OK) {
        stored.error = errorText(stored.status, code);
        stored.refused = code == JSStreamStoreFailedErr || code == JSInsufficientResourcesErr ||
                         code == JSStorageResourcesExceededErr || code == JSStreamMessageExceedsMaximumErr;
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
        const natsStatus status = js_GetStreamInfo(&made, context_.get(), stream_.name.c_str(), &options, &code);
        const std::unique_ptr<jsStreamInfo, void (*)(jsStreamInfo*)> info(made, &jsStreamInfo_Destroy);
        if (status == NATS_OK) {
            isThere();
            return State{made->Created, made->State.LastSeq, static_cast<int>(made->State.Consumers)};
        }
        error = errorText(status, code);
        if (tries != 0 || status != NATS_NOT_FOUND || !isGone() || makeStream(error) != NATS_OK) return std::nullopt;
    }
}

std::optional<std::uint64_t> JetStream::handedOut(int consumers, std::string& error) const {
    jsConsumerInfoList* made = nullptr;
    jsErrCode code{};
    const natsStatus status = js_Consumers(&made, context_.get(), stream_.name.c_str(), nullptr, &code);
    const std::unique_ptr<jsConsumerInfoList, void (*)(jsConsumerInfoList*)> list(made, &jsConsumerInfoList_Destroy);
    const int told = made != nullptr ? made->Count : 0;
    if (told < consumers) {
        error = "its consumers do not tell what they have handed out";
        if (status != NATS_OK) error += ": " + errorText(status, code);
        return std::nullopt;
    }
    std::uint64_t highest = 0;
    for (int i = 0; i < told; ++i) highest = std::max(highest, made->List[i]->Delivered.Stream);
    return highest;
}

Message JetStream::find(const std::string& subject, bool& missing) const {
    jsOptions options = quickly();
    jsDirectGetMsgOptions which;
    jsDirectGetMsgOptions_Init(&which);
    which.LastBySubject = subject.c_str();
    natsMsg* found = nullptr;
    missing = js_DirectGetMsg(&found, context_.get(), stream_.name.c_str(), &options, &which) == NATS_NOT_FOUND;
    return Message(found);
}

SubscriptionHandle JetStream::consume(const ConsumerSettings& consumer, std::string& error) {
    SubscriptionHandle made;
    jsErrCode code{};
    natsStatus status = bind(made, consumer.name, code);
    if (status == NATS_OK) return made;
    error = errorText(status, code);
    if (isMissing(status, code) && makeConsumer(consumer, error) == NATS_OK) {
        status = bind(made, consumer.name, code);
        error = errorText(status, code);
    }
    return made;
}

// Bound to what is there: the client would delete a durable consumer that it had made itself.
natsStatus JetStream::bind(SubscriptionHandle& made, const std::string& consumer, jsErrCode& code) const {
    jsSubOptions options;
    jsSubOptions_Init(&options);
    options.Stream = stream_.name.c_str();
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
    jsErrCode code{};
    const natsStatus status =
        js_GetConsumerInfo(&found, context_.get(), stream_.name.c_str(), consumer.c_str(), &options, &code);
    jsConsumerInfo_Destroy(found);
    return isMissing(status, code);
}

bool JetStream::mayMake() const {
    const std::lock_guard lock(mutex_);
    return Clock::now() >= nextMaking_;
}

void JetStream::isThere() {
    const std::lock_guard lock(mutex_);
    missingSince_.reset();
}

bool JetStream::isGone() {
    {
        const std::lock_guard lock(mutex_);
        if (!missingSince_) missingSince_ = Clock::now();
        if (Clock::now() - *missingSince_ >= deletedWithin) return true;
    }
    return isUntouched();
}

bool JetStream::isUntouched() const {
    jsOptions options = quickly();
    jsAccountInfo* made = nullptr;
    js_GetAccountInfo(&made, context_.get(), &options, nullptr);
    const std::unique_ptr<jsAccountInfo, void (*)(jsAccountInfo*)> info(made, &jsAccountInfo_Destroy);
    return info && info->API.Total == info->API.Errors;  // before this question
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
    std::vector<const char*> subjects;
    for (const std::string& subject : stream_.subjects) subjects.push_back(subject.c_str());
    jsStreamConfig config;
    jsStreamConfig_Init(&config);
    config.Name = stream_.name.c_str();
    config.Subjects = subjects.data();
    config.SubjectsLen = static_cast<int>(subjects.size());
    config.Discard = stream_.refusesWhenFull ? js_DiscardNew : js_DiscardOld;
    config.MaxBytes = stream_.octets;
    config.MaxAge = stream_.stay.count();
    config.Duplicates = stream_.repeatsKnown.count();
    config.AllowDirect = true;  // for pieces
    jsOptions options = quickly();
    natsStatus status = NATS_OK;
    jsErrCode code{};
    for (const int replicas : {stream_.replicas, alone}) {
        config.Replicas = replicas;
        code = {};
        status = js_AddStream(nullptr, context_.get(), &config, &options, &code);
        if (code != JSStreamReplicasNotSupportedErr) break;  // said by a server that is no cluster's
    }
    return tried(status, code, error);
}

natsStatus JetStream::makeConsumer(const ConsumerSettings& consumer, std::string& error) {
    if (!look(error) || !mayMake()) return NATS_NOT_PERMITTED;
    jsConsumerConfig config;
    jsConsumerConfig_Init(&config);
    config.Durable = consumer.name.c_str();
    config.FilterSubject = consumer.subject.c_str();
    config.DeliverPolicy = js_DeliverAll;
    config.AckPolicy = js_AckExplicit;
    config.AckWait = consumer.patience.count();
    config.MaxDeliver = -1;
    config.MaxAckPending = 1;
    jsOptions options = quickly();
    jsErrCode code{};
    const char* stream = stream_.name.c_str();
    return tried(js_AddConsumer(nullptr, context_.get(), stream, &config, &options, &code), code, error);
}

}  // namespace frame::nats
