// Any number of exchanges at once.
#pragma once

#include <list>
#include <mutex>
#include <string>
#include <utility>

#include "http/exchange.h"

namespace frame {

// All operations may be called from any thread.
class HttpClient {
public:
    explicit HttpClient(std::string caFile) : caFile_(std::move(caFile)) {}

    // See HttpExchange::run.
    HttpOutcome send(const NETP::SendHttpMsgReqStruct& request, NETP::SendHttpMsgRspStruct& response);
    // Exchanges that are under way, and all later ones, give httpClosed.
    void stop();

private:
    using Exchanges = std::list<HttpExchange>;
    class Lease;

    // One element, now in busy_; empty when the client was stopped.
    Exchanges::iterator take();
    void giveBack(Exchanges::iterator exchange) noexcept;

    const std::string caFile_;
    std::mutex mutex_;
    bool stopped_ = false;
    Exchanges idle_;  // the one used last is first
    Exchanges busy_;
};

}  // namespace frame
