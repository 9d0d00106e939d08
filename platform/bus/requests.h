// Requests inside one program: what waits for an answer, and who answers.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "bus/sinks.h"
#include "platform/bus.h"

namespace frame {

// A request as the process that answers it has it.
class ReceivedRequest {
public:
    explicit ReceivedRequest(RequestMessage message) : message_(std::move(message)) {}
    virtual ~ReceivedRequest() = default;
    ReceivedRequest(const ReceivedRequest&) = delete;
    ReceivedRequest& operator=(const ReceivedRequest&) = delete;

    const RequestMessage& message() const { return message_; }
    virtual void finish(RequestCode code, Payload answer = {}) = 0;
    // Nobody waits for the answer any more.
    virtual bool expired() const { return false; }

private:
    const RequestMessage message_;
};

// A request on its way, shared by the thread that waits and the one that answers. The first result counts.
class PendingRequest final : public ReceivedRequest {
public:
    using Clock = std::chrono::steady_clock;

    using ReceivedRequest::ReceivedRequest;

    // When a request's time is up that may take `timeoutSeconds`.
    static Clock::time_point deadlineIn(int timeoutSeconds);

    void finish(RequestCode code, Payload answer = {}) override;
    // Blocks until it is finished or the time is up. `answer` is set when the result is ok.
    RequestCode wait(Clock::time_point deadline, Payload& answer);

private:
    std::mutex mutex_;
    std::condition_variable finished_;
    std::optional<RequestCode> code_;
    Payload answer_;
};

// The requests of one process that wait.
class WaitingRequests {
public:
    // Calls `action` with a request for `message`, which stop() finishes, and gives what that returns; `down` once
    // stopped.
    template <class Action>
    RequestCode with(const RequestMessage& message, const Action& action) {
        const auto request = std::make_shared<PendingRequest>(message);
        if (!add(request)) return RequestCode::down;
        const Entry entry(*this, request);
        return action(request);
    }
    // All that wait are `down`.
    void fail();
    // All later ones too.
    void stop();

private:
    // Takes a request off the list again, however the work with it ends.
    class Entry {
    public:
        Entry(WaitingRequests& list, const std::shared_ptr<PendingRequest>& request) : list_(list), request_(request) {}
        ~Entry() { list_.remove(request_); }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        WaitingRequests& list_;
        const std::shared_ptr<PendingRequest>& request_;
    };

    bool add(const std::shared_ptr<PendingRequest>& request);
    void remove(const std::shared_ptr<PendingRequest>& request);

    std::mutex mutex_;
    std::vector<std::shared_ptr<PendingRequest>> requests_;
    bool stopped_ = false;
};

// Answers the requests to one process, one at a time, on a thread that starts with the first sink.
class RequestServer {
public:
    using Table = SinkTable<RequestSink>;

    // `done` is called, on that thread, whenever all that waited is answered.
    explicit RequestServer(
        CProcID address, std::function<void()> done = [] {})
        : address_(address), done_(std::move(done)) {}
    ~RequestServer() { stop(); }
    RequestServer(const RequestServer&) = delete;
    RequestServer& operator=(const RequestServer&) = delete;

    // Throws std::logic_error when `id` has a sink.
    Sinks<RequestSink>::Ticket add(unsigned long id, RequestSink sink);
    // Whether a request with `id` to `to` is one for this process.
    bool takes(const CProcID& to, unsigned long id);

    void push(const std::shared_ptr<ReceivedRequest>& request);
    // The requester does not wait any more.
    void forget(const std::shared_ptr<ReceivedRequest>& request);
    // Waits for a sink that is running; what is not answered by then has no process.
    void stop();

private:
    void answerAll();
    void answer(ReceivedRequest& request);
    static void answerBy(const RequestSink& sink, ReceivedRequest& request);
    bool isDone();
    std::shared_ptr<ReceivedRequest> next();

    const CProcID address_;
    const std::function<void()> done_;
    Table sinks_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::shared_ptr<ReceivedRequest>> waiting_;
    bool stopped_ = false;
    std::thread thread_;
};

}  // namespace frame
