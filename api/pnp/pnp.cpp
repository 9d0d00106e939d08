#include "nec/pnp.h"

#include <memory>

#include "platform/broadcast.h"
#include "pnp/file.h"
#include "support/location.h"

namespace NEC {

namespace {

constexpr std::uint32_t pnpCommand = 4193191;
constexpr std::uint16_t clients = 3003;
constexpr const char* operation = "BoardcastPnpData";

struct Destroy {
    void operator()(CAsnCmd* command) const { command->Destroy(); }
};

// Up to the first file that ends the broadcast, whose code it gives.
std::uint32_t readFiles(const AsnPnpFileList& files) {
    PnpFileBuffer buffer;
    for (const auto* node = files.first; node != nullptr; node = node->next) {
        const std::uint32_t code = GetPNPFileContent(*node->element, buffer);
        if (code == 0) continue;
        LogProcess::Error(code,
                          "Call Function return Error:"
                          "GetPNPFileContent(*pnpFile, strFtpRoot, ipacketsize)",
                          here(operation));
        return code;
    }
    return 0;
}

void broadcast(const AsnClientGetPnpRsp& package) {
    const std::unique_ptr<CAsnCmd, Destroy> command(new CAsnBcastCmd(pnpCommand, package, clients));
    command->Send(nullptr);
    LogProcess::Info("Send boardcast message to all Clients", here(operation));
}

}  // namespace

bool ResourceID::operator==(const ResourceID& other) const {
    return strPart1 == other.strPart1 && strPart2 == other.strPart2 && iPart3 == other.iPart3 &&
           strPart4 == other.strPart4 && strPart5 == other.strPart5;
}

std::uint32_t BoardcastPnpData(const ResourceID&, AsnPnpFileList& files) {
    const OrigFuncTraceGuard guard("api", __LINE__, operation, "", "");
    AsnClientGetPnpRsp package;
    package.pnpFileList = files;
    if (const std::uint32_t code = readFiles(package.pnpFileList); code != 0) return code;
    package.iResult = 0;
    package.packageSum = 1;  // the whole list at once, however large
    broadcast(package);
    return 0;
}

}  // namespace NEC
