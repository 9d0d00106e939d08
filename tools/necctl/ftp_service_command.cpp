// necctl ftp service: which file transfer service NEs are given, and why.
#include <CLI/CLI.hpp>
#include <map>

#include "answers.h"
#include "commands.h"
#include "database.h"
#include "fields.h"
#include "nec/ftpagent.h"

namespace necctl {
namespace {

using Choose = int (*)(NEC::FTPSvcInfo&, const char*, bool);

const std::map<std::string, Choose>& kinds() {
    static const std::map<std::string, Choose> all{{"custom-sftp", NEC::FTPAgent::GetCustomSFTPSvcByNEIP},
                                                   {"ftp", NEC::FTPAgent::GetFTPSvcByNEIP},
                                                   {"sftp", NEC::FTPAgent::GetSFTPSvcByNEIP}};
    return all;
}

Answer noAnswer(ExitCode code, const std::string& reason) {
    Answer answer;
    answer.error = reason;
    answer.code = code;
    return answer;
}

// What a result other than 0 means, with the errors that were logged.
Answer noService(const LogRecords& records) {
    if (lastRecord(records, "[GetFtpInfoFromFtpWatcher] the size of lstFtpInfo is 0").empty())
        return noAnswer(wrongData,
                        "no service that could be chosen has an address at which the management centre has this NE");
    const std::string errors = errorsIn(records);
    return noAnswer(unusable,
                    "no service is configured" + (errors.empty() ? ": no south address, addresses.south" : errors));
}

Json::Value jsonOf(const NEC::FTPSvcInfo& service) {
    Json::Value json;
    json["address"] = service.strIP;
    json["user"] = service.strUserName;
    json["root"] = service.strFtpRoot;
    json["port"] = service.iPort;
    json["state"] = service.iState;
    return json;
}

Answer answerOf(Choose choose, const std::string& remote, bool multi, const frame::LogCapture& log) {
    NEC::FTPSvcInfo service;
    if (choose(service, remote.c_str(), multi) != 0) return noService(log.records());
    if (service.iPort == NEC::FTPSvcInfo().iPort)  // untouched: no service has this one
        return noAnswer(wrongData, "all that is configured is the address 0.0.0.0, which no NE can reach");
    Answer answer;
    answer.text = linesOf({{"remote", remote},
                           {"address", service.strIP},
                           {"user", service.strUserName},
                           {"root", service.strFtpRoot},
                           {"port", std::to_string(service.iPort)},
                           {"state", std::to_string(service.iState)}});
    answer.json = jsonOf(service);
    return answer;
}

}  // namespace

void addFtpServiceCommand(CLI::App& ftp, const Options& options) {
    CLI::App* asking = ftp.add_subcommand("service", "Tell which service NEs are given, without its password");
    const auto question = addQuestion(*asking);
    const auto kind = std::make_shared<std::string>();
    const auto multi = std::make_shared<bool>(false);
    asking->add_option("--kind", *kind, "What kind of service")->required()->check(CLI::IsMember(kinds()));
    asking->add_flag("--multi", *multi, "Choose no address: tell all NMS addresses that the management centre has");
    asking->callback([=, &options] {
        answerEach(*question, options, [&](const std::string& address, const frame::LogCapture& log) {
            requireDatabase(options);
            return answerOf(kinds().at(*kind), address, *multi, log);
        });
    });
}

}  // namespace necctl
