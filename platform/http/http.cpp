// HTTP as servers see it: requests, answers, the door, and what stands behind it.
#include "platform/http.h"

#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>
#include <utility>

#include "bus/door.h"
#include "http/client.h"
#include "http/url.h"
#include "platform/log.h"

namespace frame {

namespace {

constexpr std::uint32_t logCode = 0xFFFFFFFF;

struct Service {
    std::string services;
    HttpClient client;
};

constinit Door<Service> door;

// Once in the life of the program, however many services come and go.
void initialiseCurl() {
    static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK) throw std::bad_alloc();
}

// The authorities' file, wherever the process goes later. libcurl would find out only when it needs it.
std::string readable(const std::string& caFile) {
    if (caFile.empty()) return caFile;
    std::ifstream stream(caFile);
    if (stream.peek() == std::ifstream::traits_type::eof())
        throw std::runtime_error("http: the file of trusted authorities cannot be read, or is empty: " + caFile);
    return std::filesystem::absolute(caFile).string();
}

HttpOutcome send(const NETP::SendHttpMsgReqStruct& request, NETP::SendHttpMsgRspStruct& response) {
    const auto service = door.pin();
    if (!service) return {NETP::httpClosed, "there is no process, or it is going down"};
    if (std::string fault = faultOf(request.url); !fault.empty()) return {NETP::httpBadUrl, std::move(fault)};
    return service->client.send(request, response);
}

void logFailure(const NETP::SendHttpMsgReqStruct& request, const HttpOutcome& outcome) {
    LogProcess::Error(logCode,
                      "HTTP request " + request.name + ", " + request.method + " " + shownInLog(request.url) +
                          ", failed with " + std::to_string(outcome.result) + ": " + outcome.reason,
                      {__FILE__, __func__, __LINE__});
}

}  // namespace

class HttpService::Impl {
public:
    explicit Impl(const HttpOptions& options) : service_{options.services, HttpClient(readable(options.caFile))} {
        initialiseCurl();
        if (!door.open(service_)) throw std::logic_error("this program has a process with an HTTP service already");
    }
    ~Impl() {
        door.shut();
        breakOff();
        door.wait();
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    void breakOff() { service_.client.stop(); }

private:
    Service service_;
};

HttpService::HttpService(const HttpOptions& options) : impl_(std::make_unique<Impl>(options)) {}

HttpService::~HttpService() = default;

void HttpService::breakOff() {
    impl_->breakOff();
}

}  // namespace frame

namespace NETP {

SendHttpMsgReqStruct::SendHttpMsgReqStruct(std::string methodName, std::string requestName, int seconds)
    : method(std::move(methodName)), name(std::move(requestName)), timeoutSeconds(seconds) {}

bool SendHttpMsgRspStruct::IsSucceedStatusCode() const {
    return statusCode >= 200 && statusCode <= 299;
}

int DirectSendTheHttpMsg(const SendHttpMsgReqStruct& request, SendHttpMsgRspStruct& response) {
    response = {};
    const auto outcome = frame::send(request, response);
    response.result = outcome.result;
    if (outcome.result != httpOk) frame::logFailure(request, outcome);
    return response.result;
}

unsigned long GetRetCodeByHttpRspResult(int result, unsigned long errorCode) {
    return result == httpOk ? 0 : errorCode;
}

std::string GetHttpReqIPAddr() {
    const auto service = frame::door.pin();
    return service ? service->services : std::string();
}

}  // namespace NETP
