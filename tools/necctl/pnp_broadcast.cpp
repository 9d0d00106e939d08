#include "pnp_broadcast.h"

#include <chrono>
#include <future>
#include <iomanip>
#include <iostream>
#include <optional>
#include <sstream>

#include "failure.h"
#include "fields.h"
#include "nec/pnp.h"
#include "pnp/file.h"
#include "pnp_files.h"
#include "pnp_package.h"
#include "process.h"
#include "progress.h"

namespace necctl {
namespace {

using Kind = frame::LogRecord::Kind;

// Shows how far the library is, by what it logs.
frame::LogCapture::Watcher showing(Progress& progress) {
    return [&progress, done = std::size_t{0}](const frame::LogRecord& record) mutable {
        if (record.kind == Kind::debug && record.text.starts_with(NEC::readingFileText)) progress.reach(done++);
    };
}

// The library would read them all into memory before the bus refuses them. Files that are too large it does not read.
void requireRoom(const std::vector<std::string>& files) {
    std::uint64_t octets = 0;
    for (const std::string& file : files) {
        const std::uint64_t size = sizeOfFile(file).value_or(0);
        if (size < NEC::PnpFileBuffer::size) octets += size;
    }
    if (octets > frame::mostBroadcastOctets)
        throw Failure(wrongData, "nothing is sent: the files hold " + std::to_string(octets) +
                                     " octets; expected at most " + std::to_string(frame::mostBroadcastOctets));
}

// Returns what was logged.
LogRecords send(const std::vector<std::string>& files, const Options& options) {
    AsnPnpFileList list;
    for (const std::string& file : files) list.Append()->fileName = file;
    Progress progress(files.size(), options, Progress::Elsewhere::nothing);
    const frame::LogCapture log(showing(progress));
    const std::uint32_t code = NEC::BoardcastPnpData({}, list);
    if (code != 0) throw Failure(wrongData, abortText(code, log.records()));
    progress.reach(files.size());
    return log.records();
}

// The paths of the files that could not be opened. Throws Failure for any other error: the bus did not take it.
std::vector<std::string> missingIn(const LogRecords& records) {
    std::vector<std::string> missing;
    for (const frame::LogRecord& record : records) {
        if (record.kind != Kind::error) continue;
        if (!record.text.starts_with(NEC::openFailedText)) throw Failure(wrongData, record.text);
        missing.push_back(record.text.substr(NEC::openFailedText.size()));
    }
    return missing;
}

// What the hosted client made of it. Each file is forced to disk by itself.
peers::PnpPackage packageOf(std::future<peers::PnpPackage> package, std::size_t files) {
    const auto patience = std::chrono::seconds(60) + std::chrono::milliseconds(100) * files;
    if (package.wait_for(patience) != std::future_status::ready)
        throw Failure(unusable, "the hosted client has not written the files in time");
    return package.get();
}

using Client = std::optional<peers::PnpPackage>;

void writeJson(std::size_t files, const std::vector<std::string>& missing, const Client& client) {
    Json::Value json;
    json["files"] = Json::UInt64{files};
    json["placeholders"] = Json::arrayValue;
    for (const std::string& path : missing) json["placeholders"].append(jsonOf(path));
    if (client) json["client"] = jsonOf(*client);
    std::cout << json << '\n';
}

void writeText(std::size_t files, const std::vector<std::string>& missing, const Client& client) {
    Fields fields{{"files sent", std::to_string(files)}, {"placeholders", std::to_string(missing.size())}};
    if (client) fields.emplace_back("written", std::to_string(client->written.size()));
    std::cout << linesOf(fields);
}

void tellRefused(const peers::PnpPackage& package) {
    if (package.refused.empty()) return;
    for (const peers::PnpRefusal& refusal : package.refused) sayError("refused by the client: " + textOf(refusal));
    throw Failure(wrongData, "the client has not written all files");
}

}  // namespace

void broadcastPnp(const std::vector<std::string>& files, const Options& options) {
    requireRoom(files);
    std::promise<peers::PnpPackage> done;
    const OwnProcess process(options, [&done](const peers::PnpPackage& package) { done.set_value(package); });
    const auto missing = missingIn(send(files, options));
    for (const std::string& path : missing)
        sayError(std::string(NEC::openFailedText) + path + "; clients get a placeholder");
    Client client;
    if (!options.withPeers.empty())
        client = packageOf(done.get_future(), files.size());
    else if (process.alone())
        options.say("the embedded bus stays inside this program: nobody hears the broadcast but for --with-peers");
    options.json ? writeJson(files.size(), missing, client) : writeText(files.size(), missing, client);
    if (client) tellRefused(*client);
}

std::string codeText(std::uint32_t code) {
    std::ostringstream text;
    text << "0x" << std::hex << std::uppercase << std::setfill('0') << std::setw(8) << code;
    return text.str();
}

std::string abortText(std::uint32_t code, const LogRecords& records) {
    const std::string text = "nothing is sent, code " + codeText(code) + errorsIn(records, code);
    const std::string last = lastRecord(records, NEC::readingFileText);
    return last.empty() ? text : last.substr(NEC::readingFileText.size()) + ": " + text;
}

}  // namespace necctl
