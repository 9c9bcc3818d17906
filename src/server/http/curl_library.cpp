#include "server/http/curl_library.h"

#include <mutex>

#include "platform/loaded_library.h"

namespace kvmon {

namespace {

bool BindCurl(CurlLibrary& calls) {
    const LoadedLibrary library("libcurl.so.4");
    return library && library.Bind("curl_global_init", calls.globalInit) &&
           library.Bind("curl_easy_init", calls.easyInit) &&
           library.Bind("curl_easy_cleanup", calls.easyCleanup) &&
           library.Bind("curl_easy_setopt", calls.easySetopt) &&
           library.Bind("curl_easy_perform", calls.easyPerform) &&
           library.Bind("curl_easy_getinfo", calls.easyGetinfo) &&
           library.Bind("curl_easy_strerror", calls.easyStrerror) &&
           library.Bind("curl_slist_append", calls.slistAppend) &&
           library.Bind("curl_slist_free_all", calls.slistFreeAll) && library.Bind("curl_url", calls.url) &&
           library.Bind("curl_url_cleanup", calls.urlCleanup) && library.Bind("curl_url_set", calls.urlSet) &&
           library.Bind("curl_url_get", calls.urlGet) && library.Bind("curl_free", calls.free) &&
           calls.globalInit(CURL_GLOBAL_DEFAULT) == CURLE_OK;
}

}  // namespace

const CurlLibrary* LoadCurl() {
    static std::mutex mutex;
    static CurlLibrary calls{};
    static bool loaded = false;
    const std::lock_guard lock(mutex);
    loaded = loaded || BindCurl(calls);
    return loaded ? &calls : nullptr;
}

}  // namespace kvmon
