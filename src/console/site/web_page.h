// Addresses that a browser may be sent to.
#pragma once

#include <cstdint>
#include <string>

namespace kvmon {

// An address that a browser may be sent to: HTTP or HTTPS, well formed, with a host. Hosts and paths are a
// recorder's or a page's word, so everything that is opened is asked about here.
bool IsWebPage(const std::string& url);

// The address of a page on a camera; empty without a host or a path. Without a password the user stands
// alone.
std::string CameraPageUrl(const std::string& host, std::uint32_t port, const std::string& path,
                          const std::string& user = {}, const std::string& password = {});

}  // namespace kvmon
