// The handles of the library of transfers, with their ends.
#pragma once

#include <curl/curl.h>

#include <memory>

namespace kvrecorder {

struct FreeEasy {
    void operator()(CURL* p) const { curl_easy_cleanup(p); }
};
struct FreeMulti {
    void operator()(CURLM* p) const { curl_multi_cleanup(p); }
};
using EasyHandle = std::unique_ptr<CURL, FreeEasy>;
using MultiHandle = std::unique_ptr<CURLM, FreeMulti>;

}  // namespace kvrecorder
