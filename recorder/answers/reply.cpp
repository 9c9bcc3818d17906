#include "answers/reply.h"

#include <array>
#include <utility>

#include "wire/own_recorder.h"

namespace kvrecorder {

Reply Refuse(int status) {
    Reply reply;
    reply.status = status;
    reply.body = std::string(ReasonOf(status)) + "\n";
    return reply;
}

const char* ReasonOf(int status) {
    static constexpr std::array<std::pair<int, const char*>, 16> kReasons = {{
        {200, "OK"},
        {201, "Created"},
        {202, "Accepted"},
        {204, "No Content"},
        {400, "Bad Request"},
        {401, "Unauthorized"},
        {403, "Forbidden"},
        {404, "Not Found"},
        {405, "Method Not Allowed"},
        {409, "Conflict"},
        {413, "Content Too Large"},
        {415, "Unsupported Media Type"},
        {501, "Not Implemented"},
        {503, "Service Unavailable"},
        {504, "Gateway Timeout"},
        {507, "Insufficient Storage"},
    }};
    for (const auto& [number, text] : kReasons) {
        if (number == status) {
            return text;
        }
    }
    return "Error";
}

std::string MakeReplyHead(const Reply& reply) {
    std::string head = "HTTP/1.0 " + std::to_string(reply.status) + " " + ReasonOf(reply.status) + "\r\n";
    if (reply.kind == ReplyKind::Notify) {
        // Each further line would count as a notification, for which clients pause a second.
        return head + "\r\n";
    }
    if (reply.status == 401) {
        head += "WWW-Authenticate: Basic realm=\"kvrecorder\"\r\n";
    }
    if (!reply.allow.empty()) {
        head += "Allow: " + reply.allow + "\r\n";
    }
    head += "Content-Type: " + reply.type + "\r\n";
    if (!reply.brief) {
        head += std::string(wire::kOwnRecorder) + "\r\nCache-Control: no-store\r\n";
    }
    if (reply.kind == ReplyKind::Document) {
        // Clients look for this spelling.
        head += "Content-length: " + std::to_string(reply.body.size()) + "\r\n";
    }
    return head + (reply.brief ? "\r\n" : "Connection: close\r\n\r\n");
}

}  // namespace kvrecorder
