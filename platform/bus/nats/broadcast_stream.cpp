#include "bus/nats/broadcast_stream.h"

#include <json/writer.h>

#include "bus/nats/logging.h"
#include "bus/nats/store_answers.h"

namespace frame::nats {

namespace {

using std::chrono::milliseconds;

const std::string api = "$JS.API.";
// How long the server may take to tell of a stream,
constexpr milliseconds lookPatience{3000};
// and to store a piece: a replicated stream gets a new leader within this time.
constexpr milliseconds storePatience{10'000};

const std::string noStore = "the server has no JetStream";

// What makes a stream of that configuration unfit; empty when nothing does.
std::string unfit(const Json::Value& configuration, std::size_t octets) {
    const Json::Value& direct = at(configuration, "allow_direct");
    if (!direct.isBool() || !direct.asBool()) return "receivers could not fetch from it: allow_direct is not set";
    const Json::Value& most = at(configuration, "max_bytes");
    if (most.isInt64() && most.asInt64() >= 0 && static_cast<std::uint64_t>(most.asInt64()) < octets)
        return "it holds no more than " + std::to_string(most.asInt64()) + " octets";
    return {};
}

}  // namespace

std::string BroadcastStream::getting(const std::string& piece) const {
    return api + "DIRECT.GET." + settings_.name + '.' + piece;
}

BroadcastStream::State BroadcastStream::look(Exchange& exchange, std::size_t octets) const {
    const auto question = exchange.ask(api + "STREAM.INFO." + settings_.name, {});
    const StoreAnswer answer = readAnswer(exchange.await(*question, lookPatience), noStore);
    if (answer.isNotFound()) return make(exchange, octets);
    if (!answer.error.empty()) return because(answer.error);
    const std::string wrong = unfit(at(answer.root, "config"), octets);
    if (!wrong.empty()) return because(wrong);
    return {numberIn(at(at(answer.root, "state"), "first_seq")), {}};
}

BroadcastStream::State BroadcastStream::make(Exchange& exchange, std::size_t octets) const {
    const Json::Value configuration = configurationOf(settings_, settings_.replicas);
    const auto question = exchange.ask(api + "STREAM.CREATE." + settings_.name,
                                       Json::writeString(Json::StreamWriterBuilder(), configuration));
    const StoreAnswer answer = readAnswer(exchange.await(*question, lookPatience), noStore);
    if (!answer.error.empty()) return because("it is not there, and cannot be made: " + answer.error);
    logInfo("stream " + settings_.name + " is made, for the pieces of broadcasts");
    const std::string wrong = unfit(at(answer.root, "config"), octets);
    return wrong.empty() ? State{} : because(wrong);
}

BroadcastStream::State BroadcastStream::acknowledged(Exchange& exchange, Exchange::Question& question) const {
    const StoreAnswer answer = readAnswer(exchange.await(question, storePatience), "no stream takes it");
    if (!answer.error.empty()) return because("a piece is not stored: " + answer.error);
    const Json::Value& stream = at(answer.root, "stream");
    if (!stream.isString() || stream.asString() != settings_.name) return because("another stream took a piece");
    return {numberIn(at(answer.root, "seq")), {}};
}

}  // namespace frame::nats
