#include "server/http/server_requests.h"

#include <algorithm>

#include "persist/log_file.h"
#include "server/http/document_reader.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kStepMs = 3000;
constexpr std::uint32_t kLineMs = 1000;
constexpr std::string_view kTimeTag = "<date_time>";
constexpr std::size_t kTimeDigits = 14;

// Sends the request and takes the status line, which must say 200.
bool Ask(DocumentReader& reader, const ConnectInfo& connect, const char* target) {
    const std::string request = FormatText(
        "GET /cgi-bin/%s HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\nAuthorization: Basic %s\r\n\r\n",
        target, connect.szHost.c_str(), connect.szBase64Auth.c_str());
    if (!reader.Create()) {
        return false;
    }
    reader.budget = kStepMs;
    if (!reader.Connect(connect)) {
        return false;
    }
    reader.budget = kStepMs;
    if (!reader.Send(request)) {
        return false;
    }
    int status = 0;
    reader.budget = kStepMs;
    return reader.ReadStatus(&status) && status == 200;
}

// A line of one LF alone, of which the answer to a farewell has two.
bool SkipToLfLine(DocumentReader& reader) {
    while (!reader.ReadTooMuch() && reader.ReadLine(kLineMs)) {
        if (reader.Line() == "\n") {
            return true;
        }
    }
    return false;
}

// The end of the head, whichever line end the recorder writes.
bool SkipHead(DocumentReader& reader) {
    while (!reader.ReadTooMuch() && reader.ReadLine(kLineMs)) {
        if (IsBlankLine(reader.Line())) {
            return true;
        }
    }
    return false;
}

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return lowered;
}

// The digits in or below the line with the tag.
std::optional<std::tm> FindTime(DocumentReader& reader) {
    while (!reader.ReadTooMuch() && reader.ReadLine(kLineMs)) {
        const std::string line = Lowered(TrimRight(reader.Line(), "\r\n"));
        const auto tag = line.find(kTimeTag);
        if (tag == std::string::npos) {
            continue;
        }
        if (line.size() == kTimeTag.size()) {
            return reader.ReadLine(kLineMs) ? ParseDateTime(reader.Line()) : std::nullopt;
        }
        return line.size() >= kTimeTag.size() + kTimeDigits
                   ? ParseDateTime(std::string_view(line).substr(tag + kTimeTag.size()))
                   : std::nullopt;
    }
    return std::nullopt;
}

}  // namespace

bool LogoutServer(QueryContext& query) {
    DocumentReader reader(query);
    return Ask(reader, query.GetConnectInfo(), "logout.cgi?logout=yes&display=no") && SkipToLfLine(reader) &&
           SkipToLfLine(reader);
}

std::optional<std::int64_t> ReadServerTimeOffset(QueryContext& query) {
    const std::uint64_t start = query.GetClock().TickMs();
    DocumentReader reader(query);
    if (!Ask(reader, query.GetConnectInfo(), "param.cgi?action=list&group=System") || !SkipHead(reader)) {
        return std::nullopt;
    }
    auto server = FindTime(reader);
    if (!server) {
        return std::nullopt;
    }
    const std::uint64_t took = (query.GetClock().TickMs() - start) / 1000;
    const std::time_t now = std::chrono::system_clock::to_time_t(query.GetClock().Now());
    std::tm local{};
    localtime_r(&now, &local);
    // Both are wall clocks without a zone.
    return static_cast<std::int64_t>(timegm(&*server)) + static_cast<std::int64_t>(took) -
           static_cast<std::int64_t>(timegm(&local));
}

}  // namespace kvmon
