// Addresses that a browser may be sent to.
#pragma once

#include <cstdint>
#include <string>

namespace kvmon {

// An address that a browser may be sent to: HTTP or HTTPS, well formed, with a host. Hosts and paths come
// from recorders and pages, which may send anything, so each is checked here before it is opened.
bool IsWebPage(const std::string& url);

// The address with what it has to escape, such as a space or a lone "%", escaped; empty if it is none.
std::string EscapedAddress(const std::string& url);

// The address of a page on a camera; empty without a host or a path. Without a password it names only the
// user.
std::string CameraPageUrl(const std::string& host, std::uint32_t port, const std::string& path,
                          const std::string& user = {}, const std::string& password = {});

}  // namespace kvmon
