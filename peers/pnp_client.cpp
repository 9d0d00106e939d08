#include "pnp_client.h"

#include <algorithm>

#include "log/escape.h"
#include "nec/records.h"
#include "platform/log.h"

namespace peers {
namespace {

constexpr std::uint32_t notWritten = 0xFFFFFFFF;
// Of one package: others are only counted.
constexpr std::size_t mostLogged = 100;

void logError(const std::string& text) {
    LogProcess::Error(notWritten, text, {__FILE__, __func__, __LINE__});
}

// Names of files that are not written can be of any length.
std::string shown(const std::string& name) {
    std::string text = "\"";
    frame::appendEscaped(text, std::string_view(name).substr(0, PnpFolder::mostNameOctets));
    return text + (name.size() > PnpFolder::mostNameOctets ? "...\"" : "\"");
}

void logPackage(const PnpPackage& package) {
    const std::string sender = frame::toText(package.sender);
    for (std::size_t i = 0; i < std::min(package.refused.size(), mostLogged); ++i)
        logError("PnP file " + shown(package.refused[i].name) + " from " + sender +
                 " is not written: " + package.refused[i].reason);
    LogProcess::Info("PnP package of " + std::to_string(package.written.size() + package.refused.size()) +
                         " files from " + sender + ": " + std::to_string(package.written.size()) + " written, " +
                         std::to_string(package.refused.size()) + " refused",
                     {__FILE__, __func__, __LINE__});
}

}  // namespace

PnpClient::PnpClient(frame::BusEngine& bus, const std::string& folder, Done done, std::size_t most)
    : folder_(folder),
      done_(std::move(done)),
      left_(most),
      subscription_(bus.subscribeBroadcast(target, [this](const frame::BroadcastMessage& message) { take(message); })) {
}

void PnpClient::take(const frame::BroadcastMessage& message) {
    if (message.command != command || left_ == 0) return;
    AsnClientGetPnpRsp response;
    if (!message.decode(response)) return;
    if (response.iResult != 0)
        return logError("PnP package from " + frame::toText(message.sender) + " is not written: its result is " +
                        std::to_string(response.iResult) + "; expected 0");
    --left_;
    PnpPackage package{message.sender, {}, {}};
    for (const auto* node = response.pnpFileList.first; node != nullptr; node = node->next) {
        std::string name = node->element->fileName.str();
        if (auto reason = folder_.write(*node->element))
            package.refused.push_back({std::move(name), std::move(*reason)});
        else
            package.written.push_back(std::move(name));
    }
    logPackage(package);
    if (done_) done_(package);
}

}  // namespace peers
