#include "http/url.h"

#include <string_view>

#include "http/curl.h"

namespace frame {

namespace {

std::string schemeOf(CURLU* url) {
    char* scheme = nullptr;
    if (curl_url_get(url, CURLUPART_SCHEME, &scheme, 0) != CURLUE_OK) throw std::bad_alloc();
    return CurlText(scheme).get();
}

}  // namespace

std::string faultOf(const std::string& url) {
    if (url.find('\0') != std::string::npos) return "it holds a NUL";
    const auto parsed = owned<CurlUrl>(curl_url());
    const CURLUcode code = curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), CURLU_DISALLOW_USER);
    if (code == CURLUE_OUT_OF_MEMORY) throw std::bad_alloc();
    if (code != CURLUE_OK) return curl_url_strerror(code);
    const std::string scheme = schemeOf(parsed.get());
    if (scheme != "http" && scheme != "https") return "its scheme is neither http nor https";
    // libcurl takes any number of slashes, and what follows them for the host.
    const std::string_view rest = std::string_view(url).substr(scheme.size());
    return rest.starts_with("://") && !rest.starts_with(":///") ? "" : "it has no host";
}

std::string shownInLog(const std::string& url) {
    if (url.find('@') != std::string::npos) return "(a URL with @, not shown)";
    return url.substr(0, url.find_first_of("?#"));
}

}  // namespace frame
