// A stand-in of the management centre: tells from its address table which NMS and NAT addresses serve an NE, over the
// bus and over HTTP. The table is read for each answer, so a change takes effect at once.
#pragma once

#include <string>

#include "http_server.h"
#include "platform/bus.h"

namespace peers {

class ManagementCentre {
public:
    static constexpr unsigned long addressRequest = 0xB0000F;
    static constexpr const char* natListPath = "/rest/mc/v1/getnatinfolist";

    // What AsnFrameGetNodeIPResponse::result says.
    static constexpr int tableRead = 0;
    static constexpr int tableMissing = 100;
    static constexpr int tableWrong = 101;  // the log says what is wrong

    explicit ManagementCentre(std::string tableFile) : tableFile_(std::move(tableFile)) {}

    // Answers requests on `bus` while the subscription lives. Both must outlive it.
    frame::Subscription serve(frame::BusEngine& bus) const;
    // Answers on `server`, which must not outlive this.
    void serve(HttpServer& server) const;

private:
    frame::Payload answer(const std::string& neAddress) const;
    HttpAnswer natList() const;

    std::string tableFile_;
};

}  // namespace peers
