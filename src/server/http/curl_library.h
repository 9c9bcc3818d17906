// The calls of libcurl, which is loaded when one is needed. Inside this folder only.
#pragma once

#include <curl/curl.h>

namespace kvmon {

// Calls without "curl_". The library and those behind it are 7 MB and 12 ms of a program, and most walls
// fetch nothing by it.
struct CurlLibrary {
    decltype(&curl_global_init) globalInit;
    decltype(&curl_easy_init) easyInit;
    decltype(&curl_easy_cleanup) easyCleanup;
    decltype(&curl_easy_setopt) easySetopt;
    decltype(&curl_easy_perform) easyPerform;
    decltype(&curl_easy_getinfo) easyGetinfo;
    decltype(&curl_easy_strerror) easyStrerror;
    decltype(&curl_slist_append) slistAppend;
    decltype(&curl_slist_free_all) slistFreeAll;
    decltype(&curl_url) url;
    decltype(&curl_url_cleanup) urlCleanup;
    decltype(&curl_url_set) urlSet;
    decltype(&curl_url_get) urlGet;
    decltype(&curl_free) free;
};

// Ready for use; null, and asked anew by the next call, where it cannot be loaded. Any thread.
const CurlLibrary* LoadCurl();

}  // namespace kvmon
