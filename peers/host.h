// All stand-ins together, on one folder of data.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "http_server.h"
#include "management_centre.h"
#include "platform/bus.h"
#include "platform/process.h"
#include "pnp_client.h"
#include "trap_dispatcher.h"
#include "trap_service.h"

namespace peers {

// The management centre and the trap-server service answer over HTTP from the start; on a bus stand the management
// centre, the trap dispatcher and a PnP client. In the folder: iptable_ne2nms.cfg, the address table, if there is one;
// trap_service.db and trap_dispatcher.db, made when missing: what the two were told; the folder pnp_client, made when
// missing: what the client was sent.
class Host {
public:
    static constexpr CProcID managementCentreAddress{3001, 1};

    // Throws std::runtime_error, which names the file or address that cannot be used.
    Host(const std::string& folder, const HttpServerOptions& http);

    // Joins `bus`, once; it must outlive this. `pnpDone`: see PnpClient. Throws as the constructor, and
    // std::invalid_argument when an address of a stand-in is taken there.
    void join(frame::LocalBus& bus, PnpClient::Done pnpDone = {});
    // Joins the bus that `process` is on, once: its embedded one, as above; or else the same servers, where each
    // stand-in has a connection of its own, made as the process's configuration says.
    void join(frame::Process& process, PnpClient::Done pnpDone = {});

    const HttpServer& http() const { return http_; }

private:
    // A place on a bus.
    using Connect = std::function<std::unique_ptr<frame::BusEngine>(CProcID)>;
    void joinWith(const Connect& connect, PnpClient::Done pnpDone);

    std::string folder_;
    ManagementCentre centre_;
    TrapService trapService_;
    HttpServer http_;
    std::unique_ptr<frame::BusEngine> centreEngine_;
    frame::Subscription centreRequests_;
    std::unique_ptr<frame::BusEngine> dispatcherEngine_;
    std::unique_ptr<TrapDispatcher> dispatcher_;
    std::unique_ptr<frame::BusEngine> pnpEngine_;
    std::unique_ptr<PnpClient> pnpClient_;
};

}  // namespace peers
