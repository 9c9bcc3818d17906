// What each path gives: a table that new CGIs are added to.
#pragma once

#include <span>
#include <string_view>

#include "answers/handler_input.h"
#include "answers/reply.h"

namespace kvrecorder {

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
