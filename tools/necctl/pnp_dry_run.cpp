// What would become of each file of a broadcast: by the library's own routine for one file.
#include <iomanip>
#include <iostream>
#include <optional>

#include "failure.h"
#include "platform/asn1.h"
#include "platform/bus.h"
#include "platform/payload.h"
#include "pnp/file.h"
#include "pnp_broadcast.h"
#include "pnp_files.h"
#include "pnp_package.h"
#include "process.h"
#include "progress.h"

namespace necctl {
namespace {

struct Outlook {
    std::string path;
    std::string name;                   // as clients see it
    std::optional<std::uint64_t> size;  // in octets, of what has one
    std::uint32_t code = 0;             // other than 0: the broadcast ends here
    std::string error;                  // with code 0: why a placeholder goes out; empty: the file does
    std::uint64_t encoded = 0;          // octets that it adds to the broadcast
};

struct Outlooks {
    std::vector<Outlook> files;
    std::size_t aborting = 0;
    std::size_t placeholders = 0;
    std::uint64_t octets = 0;
    std::uint64_t encoded = 0;
};

Outlook outlookOf(const std::string& path, NEC::PnpFileBuffer& buffer) {
    AsnPnpFile file;
    file.fileName = path;
    const frame::LogCapture log;
    Outlook outlook{path, {}, {}, NEC::GetPNPFileContent(file, buffer), {}, 0};
    outlook.name = file.fileName.str();
    for (const frame::LogRecord& record : log.records())
        if (record.kind == frame::LogRecord::Kind::error) outlook.error = record.text;
    if (outlook.code != 0) {
        outlook.size = sizeOfFile(path);
        return outlook;
    }
    if (outlook.error.empty()) outlook.size = static_cast<std::uint64_t>(std::int32_t{file.fileLen});
    outlook.encoded = frame::encode(file).size();
    return outlook;
}

Outlooks outlooksOf(const std::vector<std::string>& files, const Options& options) {
    Outlooks all;
    NEC::PnpFileBuffer buffer;
    Progress progress(files.size(), options, Progress::Elsewhere::nothing);
    for (const std::string& path : files) {
        const Outlook& outlook = all.files.emplace_back(outlookOf(path, buffer));
        if (outlook.code != 0)
            ++all.aborting;
        else if (!outlook.error.empty())
            ++all.placeholders;
        else
            all.octets += *outlook.size;
        all.encoded += outlook.encoded;
        progress.reach(all.files.size());
    }
    return all;
}

const char* outcomeOf(const Outlook& outlook) {
    if (outlook.code != 0) return "aborts";
    return outlook.error.empty() ? "sent" : "placeholder";
}

Json::Value jsonOf(const Outlook& outlook) {
    Json::Value json;
    json["path"] = necctl::jsonOf(outlook.path);
    json["name"] = necctl::jsonOf(outlook.name);
    json["size"] = outlook.size ? Json::Value(Json::UInt64{*outlook.size}) : Json::Value();
    json["outcome"] = outcomeOf(outlook);
    if (outlook.code != 0) json["code"] = codeText(outlook.code);
    if (!outlook.error.empty()) json["error"] = necctl::jsonOf(outlook.error);
    return json;
}

void writeJson(const Outlooks& all) {
    Json::Value json;
    json["files"] = Json::arrayValue;
    for (const Outlook& outlook : all.files) json["files"].append(jsonOf(outlook));
    json["octets"] = Json::UInt64{all.octets};
    json["placeholders"] = Json::UInt64{all.placeholders};
    json["aborting"] = Json::UInt64{all.aborting};
    std::cout << json << '\n';
}

void writeText(const Outlooks& all) {
    for (const Outlook& outlook : all.files) {
        std::cout << std::setw(10) << (outlook.size ? std::to_string(*outlook.size) : "-") << "  "
                  << escaped(outlook.name);
        if (outlook.code != 0) std::cout << "  aborts, code " << codeText(outlook.code) << ": ";
        if (outlook.code == 0 && !outlook.error.empty()) std::cout << "  placeholder: ";
        std::cout << escaped(outlook.error) << '\n';
    }
    std::cout << std::setw(10) << all.octets << "  octets in all; files " << all.files.size() << ", placeholders "
              << all.placeholders << ", aborting " << all.aborting << '\n';
}

std::uint64_t lengthOctets(std::uint64_t length) {
    if (length < 0x80) return 1;
    AsnBuf buf;
    return BEncDefLenImpl(buf, length);
}

}  // namespace

// The list of files and the record around it state their lengths, which take the more octets the longer they are: in an
// empty one, one octet each.
std::uint64_t broadcastOctets(std::uint64_t files) {
    const std::uint64_t fields = frame::encode(AsnClientGetPnpRsp()).size() - 2;
    const std::uint64_t contents = fields - 1 + lengthOctets(files) + files;
    return 1 + lengthOctets(contents) + contents;
}

void tryPnp(const std::vector<std::string>& files, const Options& options) {
    silenceLog();
    const Outlooks all = outlooksOf(files, options);
    options.json ? writeJson(all) : writeText(all);
    if (all.aborting != 0)
        throw Failure(wrongData, "the broadcast would abort: " + std::to_string(all.aborting) + " of " +
                                     std::to_string(files.size()) + " files cannot be sent");
    const std::uint64_t octets = broadcastOctets(all.encoded);
    if (octets > frame::mostBroadcastOctets)
        throw Failure(wrongData, "the broadcast would not be sent: it takes " + std::to_string(octets) +
                                     " octets; expected at most " + std::to_string(frame::mostBroadcastOctets));
}

}  // namespace necctl
