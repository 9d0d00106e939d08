// necctl bus status: this connection, the streams, the outbox, and how every process on the bus is.
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "bus/nats/message.h"
#include "bus/nats/process_status.h"
#include "bus/nats/reporter.h"
#include "bus/nats/store_answers.h"
#include "bus/nats/streams.h"
#include "bus_client.h"
#include "bus_commands.h"
#include "bus_store.h"
#include "fields.h"
#include "platform/reliable.h"
#include "time_text.h"

namespace necctl {
namespace {

using frame::nats::at;
using frame::nats::numberIn;
using frame::nats::ProcessStatus;

constexpr std::size_t mostProcesses = 10000;

struct StreamState {
    std::string name;
    std::string error;  // why nothing is known of it
    std::uint64_t messages = 0;
    std::uint64_t octets = 0;
};

// What is handed out to the processes of one type, of one message identifier.
struct Lag {
    std::string consumer;
    std::uint64_t waiting = 0;         // not handed out yet
    std::uint64_t unacknowledged = 0;  // handed out
};

struct Status {
    std::string engine;
    std::string outbox;  // the file; empty: none is configured
    std::uint64_t depth = 0;
    std::string outboxError;
    std::string server;
    std::string error;  // why there is no connection
    double roundTripMilliseconds = 0;
    std::vector<StreamState> streams;
    std::vector<Lag> lags;
    bool allConsumers = false;
    std::vector<ProcessStatus> processes;
    bool mayAsk = true;  // processes how they are
    std::size_t rubbish = 0;
    bool tooMany = false;  // some who answered are not listed
};

StreamState lookAtStream(const BusClient& client, const std::string& name) {
    const Told told = askStore(client, "STREAM.INFO." + name);
    StreamState state{name, told.missing ? "it is not there" : told.error};
    state.messages = numberIn(at(at(told.root, "state"), "messages"));
    state.octets = numberIn(at(at(told.root, "state"), "bytes"));
    return state;
}

void lookAtStore(const BusClient& client, const frame::Config& config, Status& status) {
    const std::string stream = frame::nats::reliableStream(config.nats.system).name;
    for (const std::string& name : {stream, frame::nats::broadcastStream(config.nats.system).name})
        status.streams.push_back(lookAtStream(client, name));
    std::vector<std::string> own;
    for (const Receiver& each : deliveredReceivers())
        if (each.type == config.process.type) own.push_back(frame::nats::consumerName(each.type, each.id));
    for (const Json::Value& each : consumersOf(client, stream, own, status.allConsumers))
        status.lags.push_back({at(each, "name").isString() ? each["name"].asString() : std::string(),
                               numberIn(at(each, "num_pending")), numberIn(at(each, "num_ack_pending"))});
}

void askProcesses(const BusClient& client, const std::string& system, std::chrono::milliseconds length,
                  Status& status) {
    const std::string subject = frame::nats::Subjects(system).everybody(frame::nats::statusKind);
    bool refused = false;
    auto messages = client.askAll(subject, length, mostProcesses + 1, refused);
    status.tooMany = messages.size() > mostProcesses;
    if (status.tooMany) messages.pop_back();
    for (const auto& message : messages) {
        if (natsMsg_IsNoResponders(message.get())) continue;  // nobody is there
        auto told = frame::nats::readStatus(frame::nats::octetsOf(message.get()));
        told ? status.processes.push_back(std::move(*told)) : static_cast<void>(++status.rubbish);
    }
    status.mayAsk = !refused;
    std::sort(status.processes.begin(), status.processes.end(), [](const ProcessStatus& a, const ProcessStatus& b) {
        return std::pair(a.address.procType, a.address.procHandle) <
               std::pair(b.address.procType, b.address.procHandle);
    });
}

void lookAtOutbox(const std::string& file, Status& status) {
    status.outbox = file;
    if (file.empty()) return;
    try {
        status.depth = frame::readOutbox(file, 0).depth;
    } catch (const std::runtime_error& error) {
        status.outboxError = error.what();
    }
}

void lookAtBus(const frame::Config& config, std::chrono::milliseconds length, Status& status) {
    try {
        const BusClient client(addressOf(config), config.nats);
        status.server = client.server();
        const auto roundTrip = client.roundTrip().value_or(std::chrono::nanoseconds{0});
        status.roundTripMilliseconds = std::chrono::duration<double, std::milli>(roundTrip).count();
        lookAtStore(client, config, status);
        askProcesses(client, config.nats.system, length, status);
    } catch (const Failure& failure) {
        status.error = failure.what();
    }
}

Json::Value jsonOf(const ProcessStatus& process) {
    Json::Value json;
    json["process"] = frame::toText(process.address);
    json["host"] = process.host;
    json["pid"] = process.pid;
    json["started"] = timeText(process.startedUnixMilliseconds);
    json["state"] = frame::toText(process.bus.state);
    json["server"] = process.bus.server;
    json["reconnects"] = process.bus.reconnects;
    json["waiting_messages"] = process.bus.waitingMessages;
    json["waiting_octets"] = process.bus.waitingOctets;
    json["dropped"] = process.bus.dropped;
    json["refused"] = process.bus.refused;
    json["last_error"] = process.bus.lastError;
    for (const auto& [name, number] : process.more) json["more"][name] = number;
    return json;
}

void writeJson(const Status& status) {
    Json::Value json;
    json["engine"] = status.engine;
    json["connected"] = !status.server.empty();
    json["server"] = status.server;
    json["round_trip_ms"] = status.roundTripMilliseconds;
    json["outbox"] = Json::nullValue;
    if (!status.outbox.empty()) {
        json["outbox"]["file"] = status.outbox;
        status.outboxError.empty() ? json["outbox"]["depth"] = status.depth
                                   : json["outbox"]["error"] = status.outboxError;
    }
    json["streams"] = json["consumers"] = json["processes"] = Json::arrayValue;
    for (const StreamState& stream : status.streams) {
        Json::Value& entry = json["streams"].append({});
        entry["name"] = stream.name;
        if (!stream.error.empty()) entry["error"] = stream.error;
        entry["messages"] = stream.messages;
        entry["octets"] = stream.octets;
    }
    for (const Lag& lag : status.lags) {
        Json::Value& entry = json["consumers"].append({});
        entry["name"] = lag.consumer;
        entry["waiting"] = lag.waiting;
        entry["unacknowledged"] = lag.unacknowledged;
    }
    for (const ProcessStatus& process : status.processes) json["processes"].append(jsonOf(process));
    json["rubbish"] = Json::UInt64{status.rubbish};
    std::cout << json << '\n';
}

using Row = std::vector<std::string>;

// Columns of one width each, the last one as it is.
void writeTable(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
    }
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i)
            line += i + 1 == row.size() ? row[i] : row[i] + std::string(widths[i] - row[i].size() + 2, ' ');
        std::cout << line << '\n';
    }
}

std::string moreOf(const ProcessStatus& process, const std::string& name) {
    for (const auto& [key, number] : process.more)
        if (key == name) return std::to_string(number);
    return "-";
}

void writeProcesses(const std::vector<ProcessStatus>& processes) {
    std::vector<Row> rows{{"PROCESS", "HOST", "PID", "STARTED", "STATE", "SERVER", "RECONNECTS", "WAITING", "DROPPED",
                           "REFUSED", "OUTBOX", "HELD", "LAST ERROR"}};
    for (const ProcessStatus& each : processes)
        rows.push_back({frame::toText(each.address), escaped(each.host), std::to_string(each.pid),
                        timeText(each.startedUnixMilliseconds), frame::toText(each.bus.state), escaped(each.bus.server),
                        std::to_string(each.bus.reconnects), std::to_string(each.bus.waitingMessages),
                        std::to_string(each.bus.dropped), std::to_string(each.bus.refused),
                        moreOf(each, "outbox_depth"), moreOf(each, "outbox_held"),
                        each.bus.lastError.empty() ? "-" : escaped(each.bus.lastError)});
    std::cout << '\n';
    writeTable(rows);
}

void writeStore(const Status& status) {
    std::vector<Row> rows{{"STREAM", "MESSAGES", "OCTETS"}};
    for (const StreamState& each : status.streams)
        rows.push_back(each.error.empty() ? Row{each.name, std::to_string(each.messages), std::to_string(each.octets)}
                                          : Row{each.name, "-", "-", escaped(each.error)});
    std::cout << '\n';
    writeTable(rows);
    if (status.lags.empty()) return;
    rows = {{"CONSUMER", "WAITING", "UNACKNOWLEDGED"}};
    for (const Lag& each : status.lags)
        rows.push_back({escaped(each.consumer), std::to_string(each.waiting), std::to_string(each.unacknowledged)});
    std::cout << '\n';
    writeTable(rows);
}

void writeText(const Status& status) {
    Fields fields{{"engine", status.engine}};
    if (status.engine != "local") {
        fields.emplace_back("state", status.server.empty() ? "not connected" : "connected");
        fields.emplace_back("server", status.server);
        fields.emplace_back("round trip", status.server.empty() ? "" : millisecondsText(status.roundTripMilliseconds));
    }
    if (!status.outbox.empty()) {
        fields.emplace_back("outbox", status.outbox);
        fields.emplace_back("outbox depth",
                            status.outboxError.empty() ? std::to_string(status.depth) : status.outboxError);
    }
    std::cout << linesOf(fields);
    if (status.server.empty()) return;
    writeStore(status);
    if (!status.processes.empty()) writeProcesses(status.processes);
}

void sayWhatIsLeftOut(const Status& status, const Options& options) {
    if (status.server.empty()) return;
    if (!status.mayAsk) options.say("this user may not ask processes how they are");
    if (status.mayAsk && status.processes.empty()) options.say("no process answers");
    if (status.tooMany)
        options.say("more than " + std::to_string(mostProcesses) + " answer; those beyond are left out");
    if (status.rubbish != 0)
        options.say(std::to_string(status.rubbish) + " answers are left out that no process gives");
}

void show(double seconds, const Options& options) {
    const frame::Config config = busConfig(options);
    Status status;
    status.engine = config.busEngine;
    lookAtOutbox(config.reliable.file, status);
    if (status.engine != "local")
        lookAtBus(config, std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000)), status);
    options.json ? writeJson(status) : writeText(status);
    sayWhatIsLeftOut(status, options);
    if (!status.error.empty()) throw Failure(unusable, status.error);
}

}  // namespace

void addBusStatus(CLI::App& group, const Options& options) {
    const auto seconds = std::make_shared<double>(1);
    CLI::App* showing = group.add_subcommand("status", "The connection, the streams, and how every process is");
    showing->add_option("--seconds", *seconds, "How long answers of processes are waited for")
        ->check(CLI::Range(0.01, 60.0))
        ->capture_default_str()
        ->type_name("N");
    showing->callback([seconds, &options] { show(*seconds, options); });
}

}  // namespace necctl
