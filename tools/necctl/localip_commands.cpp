// necctl local-ip and necctl lvs: which address of this host an NE must be given, and why.
#include <json/json.h>

#include <iostream>
#include <sstream>

#include "assignments.h"
#include "commands.h"
#include "failure.h"
#include "localip/lvs.h"
#include "nec/localip.h"
#include "platform/log.h"
#include "process.h"

namespace necctl {
namespace {

constexpr long noSouthAddress = -1;
constexpr std::size_t mostShown = 200;  // of an answer that is none

struct Resolution {
    std::string remote;
    std::string local;
    std::string error;               // empty: there is an answer
    std::vector<std::string> trace;  // what the decision logged, line by line
};

// Leveled records hold a line for each thing they tell of; a trace record is one, whatever stands in it.
std::vector<std::string> linesOf(const std::vector<frame::LogRecord>& records) {
    std::vector<std::string> lines;
    for (const frame::LogRecord& record : records) {
        if (record.kind == frame::LogRecord::Kind::trace) {
            lines.push_back(record.text);
            continue;
        }
        std::istringstream text(record.text);
        for (std::string line; std::getline(text, line);) lines.push_back(line);
    }
    return lines;
}

// The last line that begins so; empty when there is none.
std::string lastLine(const std::vector<frame::LogRecord>& records, std::string_view beginning) {
    std::string last;
    for (const frame::LogRecord& record : records)
        if (record.text.compare(0, beginning.size(), beginning) == 0) last = record.text;
    return last;
}

// What a result other than 0 means, with the errors that were logged.
std::string errorText(long code, const std::vector<frame::LogRecord>& records) {
    if (code == 0) return {};
    if (code == noSouthAddress) return "no south address is configured, addresses.south";
    std::ostringstream text;
    text << "the NAT list of the management centre cannot be had, code 0x" << std::hex << std::uppercase << code;
    for (const frame::LogRecord& record : records)
        if (record.kind == frame::LogRecord::Kind::error) text << ": " << record.text;
    const std::string badAnswer = lastLine(records, "[GetLocalIpByRemoteIp]Parse buffer");
    if (!badAnswer.empty()) text << ": " << badAnswer.substr(0, mostShown);
    return text.str();
}

Resolution resolve(const std::string& remote) {
    Resolution result{remote, {}, {}, {}};
    const frame::LogCapture log;
    try {
        const long code = NEC::GetLocalIpByRemoteIp(remote, result.local);
        result.error = errorText(code, log.records());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        result.error = std::string("the load balancer's description is wrong: ") + error.what() +
                       "; read last: " + lastLine(log.records(), "[QueryLvsInfo]");
    }
    result.trace = linesOf(log.records());
    return result;
}

void writeText(const Resolution& resolution, bool explain) {
    if (resolution.error.empty()) std::cout << resolution.remote << "  " << escaped(resolution.local) << '\n';
    if (!explain) return;
    for (const std::string& line : resolution.trace) std::cout << "  " << escaped(line) << '\n';
}

Json::Value jsonOf(const Resolution& resolution, bool explain) {
    Json::Value json;
    json["remote"] = resolution.remote;
    if (resolution.error.empty())
        json["local"] = resolution.local;
    else
        json["error"] = resolution.error;
    if (!explain) return json;
    json["trace"] = Json::arrayValue;
    for (const std::string& line : resolution.trace) json["trace"].append(line);
    return json;
}

void localIp(const std::vector<std::string>& addresses, bool explain, const Options& options) {
    addressesIn(addresses);
    const OwnProcess process(options);
    Json::Value all(Json::arrayValue);
    std::size_t failed = 0;
    for (const std::string& address : addresses) {
        const Resolution resolution = resolve(address);
        if (options.json)
            all.append(jsonOf(resolution, explain));
        else
            writeText(resolution, explain);
        if (resolution.error.empty()) continue;
        sayError(address + ": " + escaped(resolution.error));
        ++failed;
    }
    if (options.json) std::cout << all << '\n';
    if (failed != 0)
        throw Failure(unusable, std::to_string(failed) + " of " + std::to_string(addresses.size()) +
                                    " addresses without an answer");
}

Json::Value jsonOf(bool supported, const NEC::LvsMap& vips) {
    Json::Value json;
    json["supported"] = supported;
    json["vips"] = Json::objectValue;
    for (const auto& [vip, networks] : vips) {
        Json::Value& list = json["vips"][vip] = Json::arrayValue;
        for (const auto& [target, mask] : networks) {
            Json::Value network;
            network["targetnetwork"] = target;
            network["networkmask"] = mask;
            list.append(network);
        }
    }
    return json;
}

void writeText(bool supported, const NEC::LvsMap& vips) {
    std::cout << "lvs  " << (supported ? "yes" : "no") << '\n';
    for (const auto& [vip, networks] : vips) {
        std::cout << "vip  " << escaped(vip) << '\n';
        for (const auto& [target, mask] : networks)
            std::cout << "     " << escaped(target) << "  " << escaped(mask) << '\n';
    }
}

void lvs(const Options& options) {
    silenceLog();
    bool supported = false;
    NEC::LvsMap vips;
    const frame::LogCapture log;
    long code = 0;
    try {
        code = NEC::QueryLvsInfo(supported, vips);
    } catch (const std::exception& error) {
        throw Failure(unusable, std::string("the load balancer's description is wrong: ") + error.what());
    }
    if (code != 0) throw Failure(unusable, log.records().back().text);
    if (options.json)
        std::cout << jsonOf(supported, vips) << '\n';
    else
        writeText(supported, vips);
}

}  // namespace

void addLocalIpCommands(CLI::App& app, const Options& options) {
    const auto addresses = std::make_shared<std::vector<std::string>>();
    const auto explain = std::make_shared<bool>(false);
    CLI::App* resolving = app.add_subcommand("local-ip", "Tell which address of this host NEs must be given");
    resolving->add_option("ADDRESS", *addresses, "IPv4 addresses of NEs")->required();
    resolving->add_flag("--explain", *explain, "Write how each decision was made as well");
    resolving->callback([=, &options] { localIp(*addresses, *explain, options); });
    CLI::App* looking =
        app.add_subcommand("lvs", "Tell which virtual addresses this process has, by PROCESS_NAME and APP_CONF_FILE");
    looking->callback([&options] { lvs(options); });
}

}  // namespace necctl
