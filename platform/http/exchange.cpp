#include "http/exchange.h"

#include <algorithm>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace frame {

namespace {

constexpr std::size_t mostBodyOctets = std::size_t{64} * 1024 * 1024;
constexpr std::size_t mostHeaderOctets = std::size_t{256} * 1024;

// Waiting ends earlier whenever something happens. This is for the case that libcurl got no descriptor to be woken by.
constexpr int longestWaitMilliseconds = 1000;

CurlList headers(std::initializer_list<const char*> lines) {
    CurlList list;
    for (const char* line : lines) {
        auto longer = owned<CurlList>(curl_slist_append(list.get(), line));
        (void)list.release();  // it is the beginning of the longer one
        list = std::move(longer);
    }
    return list;
}

// A transfer under way. Taking it away breaks it off unless it is at its end.
class Transfer {
public:
    Transfer(CURLM* multi, CURL* easy) : multi_(multi), easy_(easy) { check(curl_multi_add_handle(multi_, easy_)); }
    ~Transfer() { curl_multi_remove_handle(multi_, easy_); }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // Goes as far as it can without waiting. Whether there is more to come.
    bool advance() {
        int running = 0;
        check(curl_multi_perform(multi_, &running));
        return running != 0;
    }
    void wait() { check(curl_multi_poll(multi_, nullptr, 0, longestWaitMilliseconds, nullptr)); }
    CURLcode code() const {
        int left = 0;
        const CURLMsg* message = curl_multi_info_read(multi_, &left);
        return message == nullptr ? CURLE_RECV_ERROR : message->data.result;
    }

private:
    // With arguments that are right, they fail only for want of memory.
    static void check(CURLMcode code) {
        if (code != CURLM_OK) throw std::bad_alloc();
    }

    CURLM* multi_;
    CURL* easy_;
};

NETP::HttpResult resultOfFailure(CURLcode code) {
    switch (code) {
        case CURLE_OK:
            return NETP::httpOk;
        case CURLE_ABORTED_BY_CALLBACK:
            return NETP::httpClosed;
        case CURLE_URL_MALFORMAT:
            return NETP::httpBadUrl;
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
            return NETP::httpUnreachable;
        case CURLE_OPERATION_TIMEDOUT:
            return NETP::httpTimedOut;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CLIENTCERT:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_ENGINE_INITFAILED:
            return NETP::httpTls;
        default:
            return NETP::httpBroken;
    }
}

}  // namespace

// What has come of an answer. The functions are libcurl's way to hand it over: no exception may pass through it.
struct HttpExchange::Answer {
    std::string body;
    std::size_t headerOctets = 0;
    bool headerEnded = false;
    bool tooLarge = false;
    bool outOfMemory = false;

    static std::size_t takeHeader(const char* line, std::size_t, std::size_t octets, void* answer) {
        return static_cast<Answer*>(answer)->addHeader({line, octets}) ? octets : 0;
    }
    static std::size_t takeBody(const char* data, std::size_t, std::size_t octets, void* answer) {
        return static_cast<Answer*>(answer)->addBody(data, octets) ? octets : CURL_WRITEFUNC_ERROR;
    }

private:
    // A line of the header, of those of interim answers before it, or of what follows the body.
    bool addHeader(std::string_view line) {
        if (line.starts_with("HTTP/")) headerEnded = false;
        if (line == "\r\n" || line == "\n") headerEnded = true;
        headerOctets += line.size();
        tooLarge = headerOctets > mostHeaderOctets;
        return !tooLarge;
    }
    bool addBody(const char* data, std::size_t octets) {
        tooLarge = octets > mostBodyOctets - body.size();
        if (tooLarge) return false;
        try {
            body.append(data, octets);
        } catch (const std::bad_alloc&) {
            outOfMemory = true;
        }
        return !outOfMemory;
    }
};

HttpExchange::HttpExchange(const std::string& caFile)
    // libcurl would wait a second for a server's leave to send a large body.
    : headersWithBody_(headers({"Content-Type: application/json", "Expect:"})),
      headersWithoutBody_(headers({"Content-Type:"})),
      multi_(owned<CurlMulti>(curl_multi_init())),
      easy_(owned<CurlEasy>(curl_easy_init())) {
    setSecurity(caFile);
    set(CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);  // does not wait for a name server when its exchange has ended
    set(CURLOPT_ERRORBUFFER, reason_.data());
    set(CURLOPT_HEADERFUNCTION, &Answer::takeHeader);
    set(CURLOPT_WRITEFUNCTION, &Answer::takeBody);
}

// Certificate and host name are verified unless told otherwise.
void HttpExchange::setSecurity(const std::string& caFile) {
    set(CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_PROXY, "");  // else the environment's
    if (caFile.empty()) return;
    set(CURLOPT_CAINFO, caFile.c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));  // else the system's as well
}

// Options and values are right, so it fails only for want of memory.
template <class T>
void HttpExchange::set(CURLoption option, T value) {
    if (curl_easy_setopt(easy_.get(), option, value) != CURLE_OK) throw std::bad_alloc();
}

void HttpExchange::prepare(const NETP::SendHttpMsgReqStruct& request, Answer& answer) {
    set(CURLOPT_HTTPGET, 1L);  // takes back what the last request had set of method and body
    if (request.method == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (!request.body.empty() || request.method == "POST" || request.method == "PUT") {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
        set(CURLOPT_POSTFIELDS, request.body.data());
    }
    set(CURLOPT_CUSTOMREQUEST, request.method.c_str());
    set(CURLOPT_HTTPHEADER, (request.body.empty() ? headersWithoutBody_ : headersWithBody_).get());
    set(CURLOPT_URL, request.url.c_str());
    set(CURLOPT_TIMEOUT_MS, std::max(request.timeoutSeconds, 1) * 1000L);
    set(CURLOPT_HEADERDATA, &answer);
    set(CURLOPT_WRITEDATA, &answer);
    reason_[0] = '\0';
}

CURLcode HttpExchange::transfer() {
    Transfer transfer(multi_.get(), easy_.get());
    while (transfer.advance()) {
        if (brokenOff_) return CURLE_ABORTED_BY_CALLBACK;
        transfer.wait();
    }
    return transfer.code();
}

NETP::HttpResult HttpExchange::resultOf(CURLcode code, const Answer& answer) const {
    if (answer.tooLarge) return NETP::httpTooLarge;
    if (answer.outOfMemory) throw std::bad_alloc();
    // libcurl finds nothing amiss in a header that is broken off.
    if (code == CURLE_OK && !answer.headerEnded) return NETP::httpBroken;
    if (code != CURLE_OUT_OF_MEMORY) return resultOfFailure(code);
    // This is also what libcurl says of a header line that is longer than it takes (100 KiB).
    curl_off_t answerBegan = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_STARTTRANSFER_TIME_T, &answerBegan);
    if (answerBegan == 0) throw std::bad_alloc();
    return NETP::httpTooLarge;
}

std::string HttpExchange::reasonOf(NETP::HttpResult result, CURLcode code) const {
    if (result == NETP::httpTooLarge) return "the answer is too large";
    if (result == NETP::httpClosed) return "the process is going down";
    if (code == CURLE_OK) return "the answer was broken off in its header";
    return reason_[0] != '\0' ? reason_.data() : curl_easy_strerror(code);
}

HttpOutcome HttpExchange::run(const NETP::SendHttpMsgReqStruct& request, NETP::SendHttpMsgRspStruct& response) {
    Answer answer;
    prepare(request, answer);
    const CURLcode code = transfer();
    const NETP::HttpResult result = resultOf(code, answer);
    if (result != NETP::httpOk) return {result, reasonOf(result, code)};
    long status = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &status);
    response.statusCode = static_cast<unsigned int>(status);
    response.body = std::move(answer.body);
    return {};
}

void HttpExchange::breakOff() {
    brokenOff_ = true;
    curl_multi_wakeup(multi_.get());
}

}  // namespace frame
