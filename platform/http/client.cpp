#include "http/client.h"

#include <iterator>

namespace frame {

namespace {

// More are made when more are needed at once. Those that would lie idle beyond this are closed.
constexpr std::size_t mostIdle = 16;

}  // namespace

// An exchange taken from the client until this is destroyed.
class HttpClient::Lease {
public:
    explicit Lease(HttpClient& client) : client_(client), exchange_(client.take()) {}
    ~Lease() {
        if (*this) client_.giveBack(exchange_);
    }
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    explicit operator bool() const { return exchange_ != client_.busy_.end(); }
    HttpExchange& operator*() const { return *exchange_; }

private:
    HttpClient& client_;
    const Exchanges::iterator exchange_;
};

HttpClient::Exchanges::iterator HttpClient::take() {
    const std::lock_guard lock(mutex_);
    if (stopped_) return busy_.end();
    if (idle_.empty()) idle_.emplace_front(caFile_);
    busy_.splice(busy_.begin(), idle_, idle_.begin());
    return busy_.begin();
}

void HttpClient::giveBack(Exchanges::iterator exchange) noexcept {
    Exchanges surplus;  // closes its connections when nobody waits for the mutex
    const std::lock_guard lock(mutex_);
    idle_.splice(idle_.begin(), busy_, exchange);
    if (idle_.size() > mostIdle) surplus.splice(surplus.begin(), idle_, std::prev(idle_.end()));
}

HttpOutcome HttpClient::send(const NETP::SendHttpMsgReqStruct& request, NETP::SendHttpMsgRspStruct& response) {
    const Lease exchange(*this);
    if (!exchange) return {NETP::httpClosed, "the process is going down"};
    return (*exchange).run(request, response);
}

void HttpClient::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    for (HttpExchange& exchange : busy_) exchange.breakOff();
}

}  // namespace frame
