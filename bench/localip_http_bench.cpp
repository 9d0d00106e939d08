// A local address by the management centre's NAT list, beside fetching and parsing that list with bare library calls.
#include <curl/curl.h>
#include <json/json.h>

#include <memory>
#include <stdexcept>

#include "bench.h"
#include "http_server.h"
#include "nec/localip.h"
#include "platform/process.h"

namespace {

constexpr int rowCount = 1000;
const std::string path = "/rest/mc/v1/getnatinfolist";

// The list that the server gives; the NE lies in its last row.
std::string natList() {
    Json::Value body;
    for (int i = 0; i < rowCount; ++i) {
        const std::string net = "10." + std::to_string(i / 250) + "." + std::to_string(i % 250);
        Json::Value row;
        row["beginNEIP"] = net + ".1";
        row["endNEIP"] = net + ".254";
        row["nmsip"] = "192.168.1.5";
        row["natip"] = "1.2.3.4";
        body["NatInfoList"].append(row);
    }
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, body);
}

frame::Config configFor(const std::string& url) {
    frame::Config config;
    config.process = {3005, 7, 0};
    config.log.level = frame::LogLevel::off;
    config.log.trace = false;
    config.sysConfig = {"192.168.1.5", url};
    return config;
}

// A kept connection, and a parser.
class BareClient {
public:
    explicit BareClient(const std::string& url) {
        curl_easy_setopt(curl_.get(), CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEDATA, &body_);
        curl_easy_setopt(curl_.get(), CURLOPT_WRITEFUNCTION, &BareClient::take);
    }
    void fetchAndParse() {
        body_.clear();
        Json::Value root;
        if (curl_easy_perform(curl_.get()) != CURLE_OK ||
            !reader_->parse(body_.data(), body_.data() + body_.size(), &root, nullptr))
            throw std::runtime_error("the bare client cannot read the list");
        bench::keep(root.size());
    }

private:
    static std::size_t take(const char* data, std::size_t size, std::size_t count, std::string* body) {
        body->append(data, size * count);
        return size * count;
    }

    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_{curl_easy_init(), &curl_easy_cleanup};
    const std::unique_ptr<Json::CharReader> reader_{Json::CharReaderBuilder().newCharReader()};
    std::string body_;
};

void resolve() {
    std::string local;
    if (NEC::GetLocalIpByRemoteIp("10.3.249.7", local) != 0 || local != "1.2.3.4")
        throw std::runtime_error("the address was not found");
}

bench::Figures resolving(const bench::Run& run) {
    peers::HttpServer server{{}};
    server.get(path, [body = natList()] { return peers::HttpAnswer{200, body}; });
    server.start();
    const frame::Process process(configFor(server.url()));
    BareClient bare(server.url() + path);
    return bench::alternate(run, bench::Clock::wall, 1, resolve, [&bare] { bare.fetchAndParse(); });
}

const bool registered = bench::add(
    {"local address, NAT list of 1,000 rows over HTTP, ns; peer: bare fetch and parse", bench::atMost(1.2), resolving});

}  // namespace
