// necctl trap: which trap server serves which NE, told to the trap-server service and to the trap dispatcher.
#include <json/json.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <iomanip>
#include <iostream>
#include <list>
#include <map>

#include "assignments.h"
#include "commands.h"
#include "failure.h"
#include "nec/trapserver.h"
#include "platform/http.h"
#include "platform/log.h"
#include "platform/text.h"
#include "process.h"
#include "progress.h"
#include "trap_service.h"
#include "trapserver/dispatcher.h"

namespace necctl {
namespace {

// So many NEs go in one call.
constexpr std::size_t batchSize = 1000;

// What a command was given: on the command line, and perhaps in a file.
struct Given {
    std::vector<std::string> texts;
    std::string file;
};

template <class Item>
std::vector<Item> itemsOf(const Given& given, std::vector<Item> (*fromTexts)(const std::vector<std::string>&),
                          std::vector<Item> (*fromFile)(const std::string&)) {
    std::vector<Item> items = fromTexts(given.texts);
    if (!given.file.empty()) {
        const std::vector<Item> more = fromFile(given.file);
        items.insert(items.end(), more.begin(), more.end());
    }
    if (items.empty()) throw Failure(wrongUsage, "no NE is given; see necctl trap --help");
    return items;
}

// What libnec logs of a failure: error records, and trace lines about answers that are none of success.
bool tellsOfFailure(const frame::LogRecord& record) {
    return record.kind == frame::LogRecord::Kind::error || record.text.find("] response ") != std::string::npos;
}

// Calls `send` with runs of `items`, and throws Failure in the end when anything went wrong.
template <class Item>
void inBatches(const std::vector<Item>& items, const Options& options,
               const std::function<void(std::vector<Item>)>& send) {
    const OwnProcess process(options);
    std::size_t failures = 0;
    {
        Progress progress(items.size(), options);
        for (std::size_t begin = 0; begin < items.size(); begin += batchSize) {
            const std::size_t end = std::min(begin + batchSize, items.size());
            const frame::LogCapture log;
            send(
                {items.begin() + static_cast<std::ptrdiff_t>(begin), items.begin() + static_cast<std::ptrdiff_t>(end)});
            for (const frame::LogRecord& record : log.records()) {
                if (!tellsOfFailure(record)) continue;
                sayError(record.text);
                ++failures;
            }
            progress.reach(end);
        }
    }
    if (failures != 0) throw Failure(unusable, "not all of it arrived everywhere");
}

std::list<NEC::_NEIP2SERVERID> listOf(const std::vector<Assignment>& assignments) {
    std::list<NEC::_NEIP2SERVERID> list;
    for (const Assignment& assignment : assignments) list.push_back({assignment.neIP, assignment.server});
    return list;
}

using NotifyPairs = void (*)(std::list<NEC::_NEIP2SERVERID>&);

void notifyPairs(const Given& given, const Options& options, NotifyPairs notify) {
    inBatches<Assignment>(itemsOf<Assignment>(given, assignmentsIn, assignmentsInFile), options,
                          [notify](const std::vector<Assignment>& batch) {
                              auto list = listOf(batch);
                              notify(list);
                          });
}

void erase(const Given& given, const Options& options) {
    inBatches<std::string>(itemsOf<std::string>(given, addressesIn, addressesInFile), options,
                           [](const std::vector<std::string>& batch) {
                               std::list<light_basic_string> list(batch.begin(), batch.end());
                               NEC::CTrapServer::NotifyNEDelete(list);
                           });
}

using ServerOfNE = std::map<std::string, int>;

ServerOfNE heldByService() {
    NETP::SendHttpMsgReqStruct request("GET", "trapServerList", 60);
    request.url = NETP::GetHttpReqIPAddr() + peers::TrapService::listPath;
    NETP::SendHttpMsgRspStruct response;
    const frame::LogCapture log;
    if (NETP::DirectSendTheHttpMsg(request, response) != NETP::httpOk)
        throw Failure(unusable, log.records().empty() ? "no trap-server service" : log.records().back().text);
    Json::Value list;
    if (!response.IsSucceedStatusCode() || JsonUtils::ParseToJson(list, response.body) != 0 || !list.isArray())
        throw Failure(unusable, "the trap-server service at " + request.url + " does not tell what it holds, status " +
                                    std::to_string(response.statusCode));
    ServerOfNE held;
    for (const Json::Value& entry : list) {
        if (!entry.isObject() || !entry["neIP"].isString() || !entry["trapServerID"].isInt())
            throw Failure(unusable, "the trap-server service at " + request.url + " tells of something else");
        held[entry["neIP"].asString()] = entry["trapServerID"].asInt();
    }
    return held;
}

ServerOfNE heldByDispatcher() {
    CmdMSG* rsp = nullptr;
    const frame::LogCapture log;
    if (NEC::SendSyncStringMsgTask("", peers::TrapDispatcher::listCommand, rsp, peers::TrapDispatcher::manager, 10) !=
        0)
        throw Failure(unusable, log.records().empty() ? "no trap dispatcher" : log.records().back().text);
    const std::unique_ptr<CmdMSG> owned(rsp);
    const auto assignments = peers::assignmentsIn(*rsp);
    return {assignments.begin(), assignments.end()};
}

// One NE: what each of the two holds, if anything.
struct Held {
    std::optional<int> service;
    std::optional<int> dispatcher;
};

std::map<std::string, Held> sideBySide() {
    std::map<std::string, Held> all;
    for (const auto& [ne, server] : heldByService()) all[ne].service = server;
    for (const auto& [ne, server] : heldByDispatcher()) all[ne].dispatcher = server;
    return all;
}

Json::Value jsonOf(const std::map<std::string, Held>& all) {
    const auto number = [](const std::optional<int>& server) { return server ? Json::Value(*server) : Json::Value(); };
    Json::Value list(Json::arrayValue);
    for (const auto& [ne, held] : all) {
        Json::Value entry;
        entry["neIP"] = ne;
        entry["service"] = number(held.service);
        entry["dispatcher"] = number(held.dispatcher);
        entry["same"] = held.service == held.dispatcher;
        list.append(entry);
    }
    return list;
}

void writeText(const std::map<std::string, Held>& all) {
    const auto number = [](const std::optional<int>& server) { return server ? std::to_string(*server) : "-"; };
    std::cout << std::left << std::setw(16) << "NE" << std::setw(9) << "service"
              << "dispatcher\n";
    for (const auto& [ne, held] : all)
        std::cout << std::setw(16) << escaped(ne) << std::setw(9) << number(held.service) << number(held.dispatcher)
                  << (held.service == held.dispatcher ? "" : "  differs") << '\n';
}

void list(const Options& options) {
    const OwnProcess process(options);
    const auto all = sideBySide();
    if (options.json)
        std::cout << jsonOf(all) << '\n';
    else
        writeText(all);
    const auto differ = std::count_if(
        all.begin(), all.end(), [](const auto& entry) { return entry.second.service != entry.second.dispatcher; });
    if (differ != 0) throw Failure(wrongData, std::to_string(differ) + " of " + std::to_string(all.size()) + " differ");
}

CLI::App* addSending(CLI::App& group, const char* name, const char* help, const char* form, const char* lines,
                     const std::shared_ptr<Given>& given) {
    CLI::App* command = group.add_subcommand(name, help);
    command->add_option(form, given->texts, "NEs");
    command->add_option("--from", given->file, std::string("CSV file with lines ") + lines + "; - for standard input")
        ->type_name("FILE");
    return command;
}

}  // namespace

void addTrapCommands(CLI::App& app, const Options& options) {
    CLI::App* group = app.add_subcommand("trap", "Which trap server serves which NE")->require_subcommand(1);
    const auto given = std::make_shared<Given>();
    addSending(*group, "assign", "Assign NEs to trap servers", "ADDRESS=NUMBER", "ADDRESS,NUMBER", given)
        ->callback([=, &options] { notifyPairs(*given, options, &NEC::CTrapServer::NotifyNECreated); });
    addSending(*group, "transfer", "Assign NEs to other trap servers", "ADDRESS=NUMBER", "ADDRESS,NUMBER", given)
        ->callback([=, &options] { notifyPairs(*given, options, &NEC::CTrapServer::NotifyNETransfer); });
    addSending(*group, "delete", "Tell that NEs are gone", "ADDRESS", "ADDRESS", given)->callback([=, &options] {
        erase(*given, options);
    });
    group->add_subcommand("list", "Show what the service and the dispatcher hold, and where they differ")
        ->callback([&options] { list(options); });
}

}  // namespace necctl
