#include "bus/nats/exchange.h"

#include <algorithm>
#include <utility>

namespace frame::nats {

namespace {

// How often one that waits looks whether there is a connection.
constexpr std::chrono::milliseconds glance{50};

}  // namespace

Exchange::Question::Question(Exchange& exchange)
    : entry_(exchange.station_.inbox(), [this, &exchange](Message message) {
          const std::lock_guard lock(exchange.mutex_);
          answer_ = std::move(message);
          exchange.changed_.notify_all();
      }) {}

std::unique_ptr<Exchange::Question> Exchange::ask(const std::string& subject, std::string_view octets) {
    auto question = std::make_unique<Question>(*this);
    const Connection connection = station_.connection();
    question->sent_ = connection && natsConnection_PublishRequest(connection.get(), subject.c_str(),
                                                                  question->entry_.subject().c_str(), octets.data(),
                                                                  static_cast<int>(octets.size())) == NATS_OK;
    return question;
}

Message Exchange::await(Question& question, std::chrono::milliseconds patience) {
    const auto deadline = Clock::now() + patience;
    std::unique_lock lock(mutex_);
    while (question.sent_ && !question.answer_ && !stopped() && Clock::now() < deadline) {
        if (changed_.wait_until(lock, std::min(deadline, Clock::now() + glance)) == std::cv_status::no_timeout)
            continue;
        if (!station_.connected()) break;
    }
    return std::move(question.answer_);
}

bool Exchange::pause(std::chrono::milliseconds length) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, length, [this] { return stopped(); });
    return !stopped();
}

void Exchange::stop() {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
    changed_.notify_all();
}

}  // namespace frame::nats
