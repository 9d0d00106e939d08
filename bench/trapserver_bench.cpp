// Telling both trap services of many assignments, beside the same work done with bare library calls: jsoncpp writes the
// same body, libcurl posts it, and one command goes to the dispatcher.
#include <curl/curl.h>
#include <json/json.h>

#include <memory>
#include <stdexcept>

#include "bench.h"
#include "host.h"
#include "nec/trapserver.h"
#include "platform/process.h"
#include "support/folder.h"
#include "trapserver/dispatcher.h"

namespace {

constexpr int pairCount = 100'000;

std::string addressOf(int i) {
    return "10." + std::to_string(i / 65536) + "." + std::to_string(i / 256 % 256) + "." + std::to_string(i % 256);
}

std::list<NEC::_NEIP2SERVERID> pairs() {
    std::list<NEC::_NEIP2SERVERID> list;
    for (int i = 0; i < pairCount; ++i) list.push_back({addressOf(i), static_cast<short>(i % 1000)});
    return list;
}

// A server process and the stand-ins, with their data in a folder of their own.
class Services {
public:
    Services() {
        host_ = std::make_unique<peers::Host>(folder_.file("."), peers::HttpServerOptions{});
        frame::Config config;
        config.process = {3005, 7, 0};
        config.log.level = frame::LogLevel::off;
        config.log.trace = false;
        config.http.services = url();
        process_ = std::make_unique<frame::Process>(config);
        host_->join(*process_->localBus());
    }
    std::string url() const { return host_->http().url(); }

private:
    support::Folder folder_;
    std::unique_ptr<frame::Process> process_;
    std::unique_ptr<peers::Host> host_;  // goes first: it stands on the process's bus
};

std::string writtenByJsoncpp(const std::list<NEC::_NEIP2SERVERID>& list) {
    Json::Value root;
    Json::Value element;
    for (const NEC::_NEIP2SERVERID& pair : list) {
        element["neIP"] = pair.neIP.c_str();
        element["trapServerID"] = pair.trapServerID;
        root.append(element);
    }
    return Json::writeString(Json::StreamWriterBuilder(), root);
}

class BarePost {
public:
    explicit BarePost(const std::string& url) {
        headers_.reset(curl_slist_append(nullptr, "Content-Type: application/json"));
        curl_easy_setopt(curl_.get(), CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_HTTPHEADER, headers_.get());
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, &BarePost::ignore);
    }
    void post(const std::string& body) {
        curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(curl_.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
        if (curl_easy_perform(curl_.get()) != CURLE_OK) throw std::runtime_error("the bare client cannot post");
    }

private:
    static std::size_t ignore(const char*, std::size_t size, std::size_t count, void*) { return size * count; }

    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_{curl_easy_init(), &curl_easy_cleanup};
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{nullptr, &curl_slist_free_all};
};

// One round trip with all assignments in one text.
void dispatch(const std::string& text) {
    CmdMSG* rsp = nullptr;
    if (NEC::SendSyncStringMsgTask(text, NEC::neAssignedCommand, rsp, 200, 60) != 0)
        throw std::runtime_error("the dispatcher does not answer");
    delete rsp;
}

std::string commaText(const std::list<NEC::_NEIP2SERVERID>& list) {
    std::string text;
    for (const NEC::_NEIP2SERVERID& pair : list)
        text.append(text.empty() ? "" : ",")
            .append(pair.neIP.c_str())
            .append(",")
            .append(std::to_string(pair.trapServerID));
    return text;
}

bench::Figures assigning(const bench::Run& run) {
    const Services services;
    BarePost bare(services.url() + peers::TrapService::registPath);
    auto list = pairs();
    const std::string text = commaText(list);
    return bench::alternate(
        run, bench::Clock::wall, pairCount, [&] { NEC::CTrapServer::NotifyNECreated(list); },
        [&] {
            bare.post(writtenByJsoncpp(list));
            dispatch(text);
        });
}

const bool registered = bench::add(
    {"trap servers of 100,000 NEs, ns an NE; peer: jsoncpp, libcurl and one command", bench::atMost(1.3), assigning});

}  // namespace
