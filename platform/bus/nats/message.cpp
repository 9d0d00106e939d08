#include "bus/nats/message.h"

#include <array>
#include <new>
#include <stdexcept>

#include "bus/nats/headers.h"

namespace frame::nats {

namespace {

// Whether this thread's list of messages lives.
constinit thread_local bool gathers = true;

// Messages of one thread that are not used any more.
class Spent {
public:
    Spent() = default;
    ~Spent() {
        gathers = false;
        destroyAll();
    }
    Spent(const Spent&) = delete;
    Spent& operator=(const Spent&) = delete;

    void add(natsMsg* message) {
        messages_[count_++] = message;
        if (count_ == messages_.size()) destroyAll();
    }

private:
    void destroyAll() {
        while (count_ != 0) natsMsg_Destroy(messages_[--count_]);
    }

    std::array<natsMsg*, 16> messages_{};
    std::size_t count_ = 0;
};

// What holds more is destroyed at once.
constexpr int mostOctetsSpent = 1024;

}  // namespace

// The client destroys messages on a thread of its own, which it wakes for each that comes while that thread sleeps:
// that takes longer than all else it does with a small message. So small ones go together.
void giveBack(natsMsg* message) {
    if (!gathers || natsMsg_GetDataLength(message) > mostOctetsSpent) return natsMsg_Destroy(message);
    static thread_local Spent spent;
    spent.add(message);
}

Message makeMessage(const std::string& subject, const std::string& reply, std::string_view octets) {
    natsMsg* made = nullptr;
    const char* answer = reply.empty() ? nullptr : reply.c_str();
    const natsStatus status =
        natsMsg_Create(&made, subject.c_str(), answer, octets.data(), static_cast<int>(octets.size()));
    if (status == NATS_NO_MEMORY) throw std::bad_alloc();
    if (status != NATS_OK)
        throw std::runtime_error("no message to \"" + shortened(subject) + "\": " + natsStatus_GetText(status));
    return Message(made);
}

void setHeader(const Message& message, const char* name, const std::string& value) {
    if (natsMsgHeader_Set(message.get(), name, value.c_str()) != NATS_OK) throw std::bad_alloc();
}

std::string_view headerOf(natsMsg* message, const char* name) {
    const char* value = nullptr;
    return natsMsgHeader_Get(message, name, &value) == NATS_OK && value != nullptr ? value : "";
}

std::string_view octetsOf(natsMsg* message) {
    return {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))};
}

bool isLight(natsMsg* message) {
    const char* reply = natsMsg_GetReply(message);
    return reply != nullptr && std::string_view(reply).starts_with(fromMark);
}

std::string_view senderOf(natsMsg* message) {
    return isLight(message) ? std::string_view(natsMsg_GetReply(message)).substr(fromMark.size())
                            : headerOf(message, senderHeader);
}

std::string shortened(std::string_view text) {
    constexpr std::size_t most = 100;
    return std::string(text.substr(0, most)) + (text.size() > most ? "..." : "");
}

}  // namespace frame::nats
