#include "bus/requests.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "bus/address.h"
#include "bus/received.h"

namespace frame {

void Exchange::finish(RequestCode code, Payload answer) {
    const std::lock_guard lock(mutex_);
    if (code_) return;
    code_ = code;
    answer_ = std::move(answer);
    finished_.notify_all();
}

RequestCode Exchange::wait(int timeoutSeconds, Payload& answer) {
    std::unique_lock lock(mutex_);
    const std::chrono::seconds timeout(std::max(timeoutSeconds, 1));
    if (!finished_.wait_for(lock, timeout, [this] { return code_.has_value(); })) code_ = RequestCode::timedOut;
    if (code_ == RequestCode::ok) answer = std::move(answer_);
    return *code_;
}

bool WaitingRequests::add(const std::shared_ptr<Exchange>& exchange) {
    const std::lock_guard lock(mutex_);
    if (!stopped_) exchanges_.push_back(exchange);
    return !stopped_;
}

void WaitingRequests::remove(const std::shared_ptr<Exchange>& exchange) {
    const std::lock_guard lock(mutex_);
    exchanges_.erase(std::find(exchanges_.begin(), exchanges_.end(), exchange));
}

void WaitingRequests::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    for (const auto& exchange : exchanges_) exchange->finish(RequestCode::down);
}

Sinks<RequestSink>::Ticket RequestServer::add(unsigned long id, RequestSink sink) {
    const std::lock_guard lock(mutex_);
    auto& sinks = sinks_.at(id);
    if (!sinks.empty())
        throw std::logic_error("process " + toText(address_) + " answers request " + idText(id) + " already");
    if (!thread_.joinable()) thread_ = std::thread([this] { answerAll(); });
    return sinks.add(std::make_unique<RequestSink>(std::move(sink)), this);
}

bool RequestServer::takes(const CProcID& to, unsigned long id) {
    if (!reaches(to, address_)) return false;
    const auto* sinks = sinks_.find(id);
    return sinks != nullptr && !sinks->empty();
}

void RequestServer::push(const std::shared_ptr<Exchange>& exchange) {
    const std::lock_guard lock(mutex_);
    if (stopped_) return exchange->finish(RequestCode::noProcess);
    waiting_.push_back(exchange);
    changed_.notify_one();
}

void RequestServer::forget(const std::shared_ptr<Exchange>& exchange) {
    const std::lock_guard lock(mutex_);
    std::erase(waiting_, exchange);
}

void RequestServer::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        for (const auto& exchange : waiting_) exchange->finish(RequestCode::noProcess);
        waiting_.clear();
        changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
}

void RequestServer::answerAll() {
    while (const auto exchange = next()) answer(*exchange);
}

std::shared_ptr<Exchange> RequestServer::next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
    if (stopped_) return nullptr;
    auto exchange = std::move(waiting_.front());
    waiting_.pop_front();
    return exchange;
}

void RequestServer::answer(Exchange& exchange) {
    bool taken = false;
    sinks_.at(exchange.message().id).each([&](const RequestSink& sink, const auto&) {
        taken = true;
        if (auto answer = sink(exchange.message()); answer && answer->size() <= mostRequestOctets)
            exchange.finish(RequestCode::ok, std::move(*answer));
    });
    if (!taken) exchange.finish(RequestCode::noProcess);
}

}  // namespace frame
