// What the web host is started with, and what it hands to a page's session.
#pragma once

#include <QtCore/QByteArray>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kvmon {

// The control's properties before a page sets its own.
struct SessionDefaults {
    std::string server = "127.0.0.1";
    std::int32_t port = 80;
    std::string auth;  // base64 of user, colon, password; never given to a page
    bool autoStart = false;
    std::string serverName;
    std::optional<int> language;
    std::string helpPath;
    std::string dataDir;
    std::string hardware = "off";  // what its channels decode on
};

struct WebHostSettings {
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;            // 0: the system chooses
    std::vector<std::string> origins;  // of pages elsewhere that may embed the control
    std::string token;                 // empty: a new one at each start
    std::optional<int> listener;       // a socket that listens already, in place of address and port
    std::size_t fileLimit = 1024;      // how many files the process may have open
    std::string helpFolder;            // of the pages below /help/; empty: there are none
    SessionDefaults session;
};

// "ADDRESS:PORT", ":PORT" or "PORT", with an IPv6 address in brackets. False for anything else.
bool ParseServeAddress(const std::string& text, std::string& address, std::uint16_t& port);

// How the host starts a session's process: this program without an argument, the page's socket and the socket
// that the order comes from in these places. The order's socket stays open; when the host closes it the
// session ends.
inline constexpr const char* kSessionProgram = "kvmon-session";
inline constexpr int kSessionPageFd = 3;
inline constexpr int kSessionOrderFd = 4;

// What the host sends its session process: the defaults, the key of the page's handshake, and where the page
// has the host's help ("http://HOST:PORT/help", empty for none).
struct SessionOrder {
    SessionDefaults defaults;
    std::string key;
    std::string help;
};
inline constexpr std::size_t kMaxSessionOrder = 64 * 1024;
QByteArray WriteSessionOrder(const SessionOrder& order);
std::optional<SessionOrder> ReadSessionOrder(const QByteArray& bytes);

}  // namespace kvmon
