// What libcurl hands out, owned.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <new>

namespace frame {

template <auto release>
struct CurlFree {
    template <class T>
    void operator()(T* object) const {
        release(object);
    }
};

using CurlEasy = std::unique_ptr<CURL, CurlFree<curl_easy_cleanup>>;
using CurlMulti = std::unique_ptr<CURLM, CurlFree<curl_multi_cleanup>>;
using CurlList = std::unique_ptr<curl_slist, CurlFree<curl_slist_free_all>>;
using CurlUrl = std::unique_ptr<CURLU, CurlFree<curl_url_cleanup>>;
using CurlText = std::unique_ptr<char, CurlFree<curl_free>>;

// `object`, which libcurl made unless there was no memory.
template <class Owner, class T>
Owner owned(T* object) {
    if (object == nullptr) throw std::bad_alloc();
    return Owner(object);
}

}  // namespace frame
