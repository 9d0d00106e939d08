#include "bus/nats/broadcast_stream.h"

#include <json/writer.h>

#include <algorithm>

#include "bus/nats/logging.h"
#include "bus/nats/store_answers.h"

namespace frame::nats {

namespace {

using std::chrono::milliseconds;

const std::string api = "$JS.API.";
// Room for the largest broadcast while another one is being fetched, for ten minutes.
constexpr std::int64_t mostOctets = (std::int64_t{2} * mostBroadcastOctets) + (std::int64_t{64} << 20U);
constexpr std::int64_t mostNanoseconds = std::int64_t{600} * 1'000'000'000;

// How long the server may take to tell of a stream,
constexpr milliseconds lookPatience{3000};
// and to store a piece: a replicated stream gets a new leader within this time.
constexpr milliseconds storePatience{10'000};

const std::string noStore = "the server has no JetStream";

std::string nameIn(const std::string& system) {
    std::string name = system + "-bc";
    std::replace(name.begin(), name.end(), '.', '_');  // no stream has dots in its name
    return name;
}

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

BroadcastStream::BroadcastStream(const Subjects& subjects, const std::string& system)
    : name_(nameIn(system)), pieces_(subjects.pieces()) {}

std::string BroadcastStream::getting(const std::string& piece) const {
    return api + "DIRECT.GET." + name_ + '.' + piece;
}

BroadcastStream::State BroadcastStream::look(Exchange& exchange, std::size_t octets) const {
    const auto question = exchange.ask(api + "STREAM.INFO." + name_, {});
    const StoreAnswer answer = readAnswer(exchange.await(*question, lookPatience), noStore);
    if (answer.isNotFound()) return make(exchange, octets);
    if (!answer.error.empty()) return because(answer.error);
    const std::string wrong = unfit(at(answer.root, "config"), octets);
    if (!wrong.empty()) return because(wrong);
    return {numberIn(at(at(answer.root, "state"), "first_seq")), {}};
}

BroadcastStream::State BroadcastStream::make(Exchange& exchange, std::size_t octets) const {
    Json::Value configuration;
    configuration["name"] = name_;
    configuration["subjects"].append(pieces_);
    configuration["retention"] = "limits";
    configuration["storage"] = "file";
    configuration["discard"] = "old";
    configuration["max_bytes"] = Json::Int64{mostOctets};
    configuration["max_age"] = Json::Int64{mostNanoseconds};
    configuration["allow_direct"] = true;
    configuration["num_replicas"] = 1;
    const auto question =
        exchange.ask(api + "STREAM.CREATE." + name_, Json::writeString(Json::StreamWriterBuilder(), configuration));
    const StoreAnswer answer = readAnswer(exchange.await(*question, lookPatience), noStore);
    if (!answer.error.empty()) return because("it is not there, and cannot be made: " + answer.error);
    logInfo("stream " + name_ + " is made, for the pieces of broadcasts");
    const std::string wrong = unfit(at(answer.root, "config"), octets);
    return wrong.empty() ? State{} : because(wrong);
}

BroadcastStream::State BroadcastStream::acknowledged(Exchange& exchange, Exchange::Question& question) const {
    const StoreAnswer answer = readAnswer(exchange.await(question, storePatience), "no stream takes it");
    if (!answer.error.empty()) return because("a piece is not stored: " + answer.error);
    const Json::Value& stream = at(answer.root, "stream");
    if (!stream.isString() || stream.asString() != name_) return because("another stream took a piece");
    return {numberIn(at(answer.root, "seq")), {}};
}

}  // namespace frame::nats
