#include "host.h"

#include <filesystem>

#include "platform/nats.h"

namespace peers {
namespace {

std::string in(const std::string& folder, const char* name) {
    return (std::filesystem::path(folder) / name).string();
}

std::string existing(const std::string& folder) {
    if (!std::filesystem::is_directory(folder)) throw std::runtime_error(folder + ": no such folder");
    return folder;
}

}  // namespace

Host::Host(const std::string& folder, const HttpServerOptions& http)
    : folder_(existing(folder)),
      centre_(in(folder, "iptable_ne2nms.cfg")),
      trapService_(in(folder, "trap_service.db")),
      http_(http) {
    centre_.serve(http_);
    trapService_.serve(http_);
    http_.start();
}

void Host::join(frame::LocalBus& bus, PnpClient::Done pnpDone) {
    joinWith([&bus](CProcID address) { return bus.connect(address); }, std::move(pnpDone));
}

void Host::join(frame::Process& process, PnpClient::Done pnpDone) {
    if (frame::LocalBus* bus = process.localBus()) return join(*bus, std::move(pnpDone));
    const frame::NatsOptions& options = process.config().nats;
    joinWith([&options](CProcID address) { return frame::connectNats(address, options); }, std::move(pnpDone));
}

void Host::joinWith(const Connect& connect, PnpClient::Done pnpDone) {
    centreEngine_ = connect(managementCentreAddress);
    centreRequests_ = centre_.serve(*centreEngine_);
    dispatcherEngine_ = connect(TrapDispatcher::address);
    dispatcher_ = std::make_unique<TrapDispatcher>(*dispatcherEngine_, in(folder_, "trap_dispatcher.db"));
    pnpEngine_ = connect(PnpClient::address);
    pnpClient_ = std::make_unique<PnpClient>(*pnpEngine_, in(folder_, "pnp_client"), std::move(pnpDone));
}

}  // namespace peers
