#include "bus/requests.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "bus/address.h"
#include "bus/received.h"
#include "bus/thrown.h"
#include "platform/log.h"

namespace frame {

namespace {

constexpr std::uint32_t unanswered = 0xFFFFFFFF;

}  // namespace

void PendingRequest::finish(RequestCode code, Payload answer) {
    std::unique_lock lock(mutex_);
    if (code_) return;
    code_ = code;
    answer_ = std::move(answer);
    lock.unlock();
    finished_.notify_all();
}

PendingRequest::Clock::time_point PendingRequest::deadlineIn(int timeoutSeconds) {
    return Clock::now() + std::chrono::seconds(std::max(timeoutSeconds, 1));
}

RequestCode PendingRequest::wait(Clock::time_point deadline, Payload& answer) {
    std::unique_lock lock(mutex_);
    if (!finished_.wait_until(lock, deadline, [this] { return code_.has_value(); })) code_ = RequestCode::timedOut;
    if (code_ == RequestCode::ok) answer = std::move(answer_);
    return *code_;
}

bool WaitingRequests::add(const std::shared_ptr<PendingRequest>& request) {
    const std::lock_guard lock(mutex_);
    if (!stopped_) requests_.push_back(request);
    return !stopped_;
}

void WaitingRequests::remove(const std::shared_ptr<PendingRequest>& request) {
    const std::lock_guard lock(mutex_);
    requests_.erase(std::find(requests_.begin(), requests_.end(), request));
}

void WaitingRequests::fail() {
    const std::lock_guard lock(mutex_);
    for (const auto& request : requests_) request->finish(RequestCode::down);
}

void WaitingRequests::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
    }
    fail();
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

void RequestServer::push(const std::shared_ptr<ReceivedRequest>& request) {
    std::unique_lock lock(mutex_);
    if (stopped_) return request->finish(RequestCode::noProcess);
    waiting_.push_back(request);
    lock.unlock();
    changed_.notify_one();
}

void RequestServer::forget(const std::shared_ptr<ReceivedRequest>& request) {
    const std::lock_guard lock(mutex_);
    std::erase(waiting_, request);
}

void RequestServer::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopped_ = true;
        for (const auto& request : waiting_) request->finish(RequestCode::noProcess);
        waiting_.clear();
        changed_.notify_one();
    }
    if (thread_.joinable()) thread_.join();
}

void RequestServer::answerAll() {
    while (const auto request = next()) {
        answer(*request);
        if (isDone()) done_();
    }
}

bool RequestServer::isDone() {
    const std::lock_guard lock(mutex_);
    return waiting_.empty();
}

std::shared_ptr<ReceivedRequest> RequestServer::next() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return stopped_ || !waiting_.empty(); });
    if (stopped_) return nullptr;
    auto request = std::move(waiting_.front());
    waiting_.pop_front();
    return request;
}

void RequestServer::answer(ReceivedRequest& request) {
    if (request.expired()) return;
    bool taken = false;
    sinks_.at(request.message().id).each([&](const RequestSink& sink, const auto&) {
        taken = true;
        answerBy(sink, request);
    });
    if (!taken) request.finish(RequestCode::noProcess);
}

void RequestServer::answerBy(const RequestSink& sink, ReceivedRequest& request) {
    const RequestMessage& message = request.message();
    try {
        if (auto answer = sink(message); answer && answer->size() <= mostRequestOctets)
            request.finish(RequestCode::ok, std::move(*answer));
    } catch (...) {
        LogProcess::Error(unanswered,
                          "request " + idText(message.id) + " from " + toText(message.sender) +
                              " is not answered, its sink threw " + thrownText(),
                          {__FILE__, __func__, __LINE__});
    }
}

}  // namespace frame
