// Publishing plug-and-play files: beside bare reads and copies, in memory, and how a package reaches its clients.
#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <barrier>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "bench.h"
#include "nec/pnp.h"
#include "platform/broadcast.h"
#include "platform/bus.h"
#include "platform/log.h"
#include "samples.h"
#include "support/folder.h"

namespace bench {

namespace {

constexpr std::size_t fileOctets = 1U << 20;
constexpr std::uint32_t pnpCommand = 4193191;
constexpr std::uint16_t pnpTarget = 3003;

void silenceLog() {
    frame::LogOptions none;
    none.level = frame::LogLevel::off;
    none.trace = false;
    frame::openLog(none, 1, 1);
}

// Files of 1 MiB in the page cache.
class Files {
public:
    explicit Files(const Run& run) : count_(run.quick ? 5 : 500) {
        silenceLog();
        const std::string content(fileOctets, 'x');
        for (std::size_t i = 0; i < count_; ++i) {
            paths_.push_back(folder_.write("pnp" + std::to_string(i), content));
            list_.Append()->fileName = paths_.back();
        }
    }

    const std::vector<std::string>& paths() const { return paths_; }
    double octets() const { return static_cast<double>(count_ * fileOctets); }
    // Reads, packs and encodes; without a process nothing is sent.
    void publish() {
        if (NEC::BoardcastPnpData({}, list_) != 0) throw std::runtime_error("the files cannot be published");
    }

private:
    const std::size_t count_;
    const support::Folder folder_;
    std::vector<std::string> paths_;
    AsnPnpFileList list_;
};

// Reads a whole file to `memory`.
void readInto(char* memory, const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1 || read(file, memory, fileOctets) != static_cast<ssize_t>(fileOctets))
        throw std::runtime_error("cannot read " + path);
    close(file);
}

// What a program does that wants the same octets twice: as they were read, and in one run.
void readAndCopy(const std::vector<std::string>& paths) {
    const std::size_t octets = paths.size() * fileOctets;
    const std::unique_ptr<char[]> contents(new char[octets]);
    for (std::size_t i = 0; i < paths.size(); ++i) readInto(contents.get() + i * fileOctets, paths[i]);
    const std::unique_ptr<char[]> copy(new char[octets]);
    std::memcpy(copy.get(), contents.get(), octets);
    keep(copy);
}

Figures readPackedEncoded(const Run& run) {
    Files files(run);
    const double mebibytes = files.octets() / fileOctets;
    return alternate(
        run, Clock::wall, mebibytes, [&] { files.publish(); }, [&] { readAndCopy(files.paths()); });
}

// A field of /proc/self/status, in octets.
double memoryOf(const std::string& field) {
    std::ifstream status("/proc/self/status");
    for (std::string name, rest; status >> name && std::getline(status, rest);)
        if (name == field + ":") return std::stod(rest) * 1024;
    throw std::runtime_error("no " + field + " in /proc/self/status");
}

Figures peakMemory(const Run& run) {
    Files files(run);
    malloc_trim(0);
    const double before = memoryOf("VmRSS");
    files.publish();
    return {memoryOf("VmHWM") - before, files.octets()};
}

// Clients of one bus that decode what comes, and keep it until all have.
class Clients {
public:
    static constexpr int count = 3;

    Clients() {
        for (int i = 0; i < count; ++i) {
            engines_.push_back(bus_.connect({pnpTarget, static_cast<std::uint16_t>(i + 1)}));
            receiving_.push_back(engines_.back()->subscribeBroadcast(
                pnpTarget, [this](const frame::BroadcastMessage& message) { take(message); }));
        }
    }

    void deliver(const frame::Payload& record) {
        const frame::BroadcastMessage message{pnpCommand, pnpTarget, engines_.front()->address(), record};
        if (engines_.front()->broadcast(message) != frame::RequestCode::ok)
            throw std::runtime_error("the package cannot be sent");
        all_.arrive_and_wait();
    }

private:
    void take(const frame::BroadcastMessage& message) {
        AsnClientGetPnpRsp package;
        if (!message.decode(package)) std::abort();
        all_.arrive_and_wait();
    }

    std::barrier<> all_{count + 1};
    frame::LocalBus bus_;
    std::vector<std::unique_ptr<frame::BusEngine>> engines_;
    std::vector<frame::Subscription> receiving_;
};

constexpr int deliveredFiles = 200;

frame::Payload packageOf(const Run& run) {
    silenceLog();
    return frame::encode(samples::pnpResponse(run.quick ? 5 : deliveredFiles, fileOctets));
}

// A copy in blocks of a file's size.
void copyInBlocks(std::string_view octets) {
    std::vector<std::unique_ptr<char[]>> blocks;
    for (; !octets.empty(); octets.remove_prefix(std::min(octets.size(), fileOctets))) {
        const std::string_view block = octets.substr(0, fileOctets);
        blocks.emplace_back(new char[block.size()]);
        std::memcpy(blocks.back().get(), block.data(), block.size());
    }
    keep(blocks);
}

Figures delivery(const Run& run) {
    constexpr int copiesAClient = 2;
    const frame::Payload record = packageOf(run);
    Clients clients;
    return alternate(
        run, Clock::wall, 1, [&] { clients.deliver(record); },
        [&] {
            for (int i = 0; i < Clients::count * copiesAClient; ++i) copyInBlocks(record.view());
        });
}

Figures memoryOfDelivery(const Run& run) {
    const frame::Payload record = packageOf(run);
    Clients clients;
    malloc_trim(0);
    const double before = memoryOf("VmRSS");
    std::ofstream("/proc/self/clear_refs") << 5;  // VmHWM begins anew
    clients.deliver(record);
    return {(memoryOf("VmHWM") - before) / Clients::count, static_cast<double>(record.size())};
}

const bool registered =
    add({"PnP, 500 files of 1 MiB: read, packed, encoded, ns a MiB; peer: read and copied once", timesFaster(0.5),
         readPackedEncoded}) &&
    add({"PnP, 500 files of 1 MiB: peak memory, octets; peer: those of the files", atMost(2.2), peakMemory}) &&
    add({"PnP, 200 MiB to 3 clients that decode it, ns; peer: 2 copies a client", atMost(1), delivery}) &&
    add({"PnP, 200 MiB to 3 clients that keep it: memory a client, octets; peer: those of the package", atMost(2),
         memoryOfDelivery});

}  // namespace

}  // namespace bench
