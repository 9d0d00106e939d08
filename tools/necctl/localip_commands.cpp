// necctl local-ip and necctl lvs: which address of this host an NE must be given, and why.
#include <CLI/CLI.hpp>
#include <iostream>
#include <sstream>

#include "answers.h"
#include "commands.h"
#include "localip/lvs.h"
#include "nec/localip.h"
#include "process.h"

namespace necctl {
namespace {

constexpr long noSouthAddress = -1;
constexpr std::size_t mostShown = 200;  // of an answer that is none

// What a result other than 0 means, with the errors that were logged.
std::string errorText(long code, const LogRecords& records) {
    if (code == 0) return {};
    if (code == noSouthAddress) return "no south address is configured, addresses.south";
    std::ostringstream text;
    text << "the NAT list of the management centre cannot be had, code 0x" << std::hex << std::uppercase << code
         << errorsIn(records);
    const std::string badAnswer = lastRecord(records, "[GetLocalIpByRemoteIp]Parse buffer");
    if (!badAnswer.empty()) text << ": " << badAnswer.substr(0, mostShown);
    return text.str();
}

Answer resolve(const std::string& remote, const frame::LogCapture& log) {
    Answer answer;
    std::string local;
    answer.error = errorText(NEC::GetLocalIpByRemoteIp(remote, local), log.records());
    if (!answer.error.empty()) return answer;
    answer.text = remote + "  " + escaped(local) + '\n';
    answer.json["local"] = local;
    return answer;
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
        throw Failure(unusable, reasonOf(error));
    }
    if (code != 0) throw Failure(unusable, log.records().back().text);
    if (options.json)
        std::cout << jsonOf(supported, vips) << '\n';
    else
        writeText(supported, vips);
}

}  // namespace

void addLocalIpCommands(CLI::App& app, const Options& options) {
    CLI::App* resolving = app.add_subcommand("local-ip", "Tell which address of this host NEs must be given");
    const auto question = addQuestion(*resolving);
    resolving->callback([question, &options] { answerEach(*question, options, resolve); });
    CLI::App* looking =
        app.add_subcommand("lvs", "Tell which virtual addresses this process has, by PROCESS_NAME and APP_CONF_FILE");
    looking->callback([&options] { lvs(options); });
}

}  // namespace necctl
