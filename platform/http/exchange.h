// One exchange at a time, over connections of its own that it keeps in between.
#pragma once

#include <array>
#include <atomic>
#include <string>

#include "http/curl.h"
#include "platform/http.h"

namespace frame {

// What became of an exchange; `reason` says why it failed.
struct HttpOutcome {
    NETP::HttpResult result = NETP::httpOk;
    std::string reason;
};

// Used by one thread at a time, but for breakOff.
class HttpExchange {
public:
    // `caFile`: see HttpOptions.
    explicit HttpExchange(const std::string& caFile);
    HttpExchange(const HttpExchange&) = delete;
    HttpExchange& operator=(const HttpExchange&) = delete;

    // Sends `request`, whose URL has no fault. Fills `response` when the result is httpOk, and else leaves it alone.
    HttpOutcome run(const NETP::SendHttpMsgReqStruct& request, NETP::SendHttpMsgRspStruct& response);
    // Ends the exchange that is under way, and every later one: they give httpClosed.
    void breakOff();

private:
    struct Answer;

    template <class T>
    void set(CURLoption option, T value);
    void setSecurity(const std::string& caFile);
    void prepare(const NETP::SendHttpMsgReqStruct& request, Answer& answer);
    CURLcode transfer();
    NETP::HttpResult resultOf(CURLcode code, const Answer& answer) const;
    std::string reasonOf(NETP::HttpResult result, CURLcode code) const;

    const CurlList headersWithBody_;
    const CurlList headersWithoutBody_;
    const CurlMulti multi_;
    const CurlEasy easy_;
    std::array<char, CURL_ERROR_SIZE> reason_{};
    std::atomic<bool> brokenOff_{false};
};

}  // namespace frame
