// What each path gives: a table that new CGIs are added to.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "answers/http_request.h"
#include "state/recorder_model.h"

namespace kvrecorder {

enum class ReplyKind {
    Document,  // a body, then the end
    Stream,    // records of a channel's stream
    Notify,    // a line for each change
    Talk,      // takes the client's sound
    Silence,   // nothing, until the client gives up
};

struct Reply {
    ReplyKind kind = ReplyKind::Document;
    int status = 200;
    std::string type = "text/plain";
    std::string body;
    int channel = 0;  // of a stream
    int stream = 0;
    std::string who;     // opened a notification line
    int delayMs = 0;     // before all of it
    bool brief = false;  // a header of two lines: clients count them
};

// A refusal with its standard words as body.
Reply Refuse(int status);
const char* ReasonOf(int status);
// Status line and header of a reply, with the blank line.
std::string MakeReplyHead(const Reply& reply);

struct HandlerInput {
    const HttpRequest& request;
    const Snapshot& state;
    const User& user;
    RecorderModel& model;
    std::string_view peer;  // the client's address
};

enum class Place {
    Folder,    // below /cgi-bin or at the top, as the configuration says
    Anywhere,  // both, always
    Top,       // at the top only
};

struct Route {
    std::string_view name;  // of the CGI, without folder
    Place place;
    bool open;  // asks for no user
    Reply (*handle)(const HandlerInput&);
};

std::span<const Route> Routes();

// Finds the route, checks the user and runs the handler; never throws.
Reply Answer(const HttpRequest& request, const Snapshot& state, RecorderModel& model, std::string_view peer);

}  // namespace kvrecorder
