#include "answers/handlers.h"

#include <array>
#include <ctime>
#include <stdexcept>

#include "answers/documents.h"
#include "answers/handler_tools.h"
#include "answers/logo.h"
#include "answers/map_picture.h"
#include "answers/ptz_handler.h"
#include "answers/sign_in.h"
#include "state/disk_figures.h"

namespace kvrecorder {
namespace {

// The log tells of the same picture that cannot be read no more often than this.
constexpr std::chrono::seconds kQuiet{60};
// How many seconds back a client may ask for events.
constexpr int kLongestAge = 1'000'000;

Reply Xml(std::string body) {
    return MakeDocument("text/xml", std::move(body));
}

std::string Who(const HandlerInput& input) {
    return input.user.name + " from " + std::string(input.peer);
}

// The first question of each round that a client makes.
Reply InitInfo(const HandlerInput& input) {
    if (input.model.Users().Arrive(Who(input))) {
        input.model.Events().Add(EventLevel::Information, "Login of " + Who(input), {},
                                 {"login", -1, input.user.name, std::string(input.peer)});
        TellSignIn(input.model, EventLevel::Information, "accepted", input.peer, input.user.name);
    }
    return Text(MakeInitInfo(input.state, input.user));
}

Reply ExtInfo(const HandlerInput& input) {
    return Text(MakeExtInfo(input.state, input.user));
}

Reply Status(const HandlerInput& input) {
    return Text(MakeStatus(input.state, input.user, ReadDiskFigures(input.state.server)));
}

Reply StreamInfo(const HandlerInput& input) {
    return Xml(MakeStreamInfo(input.state, input.user));
}

Reply Capabilities(const HandlerInput& input) {
    return input.request.Text("group") == "Camera" ? Xml(MakeCapabilities(input.state, input.user))
                                                   : Refuse(404);
}

Reply GetStream(const HandlerInput& input) {
    return ForChannel(input, "ch", Right::Monitor, [&](int number, const Channel& channel) {
        const auto stream = input.request.Number("stream_id", 0, 255);
        Reply reply;
        reply.kind = ReplyKind::Stream;
        reply.type = "application/octet-stream";
        reply.channel = number;
        // Clients that lost track of the streams get the first.
        reply.stream = stream && *stream < static_cast<int>(channel.streams.size()) ? *stream : 0;
        return reply;
    });
}

Reply PutAudioStream(const HandlerInput& input) {
    return ForChannel(input, "ch", Right::Talk, [](int number, const Channel& channel) {
        if (!channel.TakesTalk()) {
            return Refuse(404);
        }
        Reply reply;
        reply.kind = ReplyKind::Talk;
        reply.channel = number;
        return reply;
    });
}

Reply Notify(const HandlerInput& input) {
    Reply reply;
    reply.kind = ReplyKind::Notify;
    reply.who = Who(input);
    return reply;
}

Reply MediaProperty(const HandlerInput& input) {
    return ForChannel(input, "channel_id", Right::Monitor, [&](int number, const Channel& channel) {
        return Text(MakeMediaProperty(channel, channel.HasSound() && input.user.Has(Right::Audio, number)));
    });
}

Reply SystemGroup(const HandlerInput&) {
    return Text(MakeSystemGroup(std::time(nullptr)));
}

struct Group {
    std::string_view name;
    Reply (*handle)(const HandlerInput&);
};
constexpr std::array<Group, 2> kGroups = {{
    {"System", SystemGroup},
    {"Recording.MediaProperty", MediaProperty},
}};

Reply Param(const HandlerInput& input) {
    if (input.request.Text("action") != "list") {
        return Refuse(400);
    }
    for (const Group& group : kGroups) {
        if (input.request.Text("group") == group.name) {
            return group.handle(input);
        }
    }
    return Refuse(404);
}

// Clients read the words in the fourth line behind the status.
Reply ManualRecording(const HandlerInput& input) {
    const auto act = input.request.Number("act", 0, 1);
    if (!act) {
        return Refuse(400);
    }
    return ForChannel(input, "ch", Right::Record, [&](int number, const Channel&) {
        const std::string problem = input.model.Record(number, *act == 1);
        Reply reply = Text(problem.empty() ? "OK\n" : "NG " + problem + "\n");
        reply.brief = true;
        return reply;
    });
}

Reply EventsOf(const HandlerInput& input) {
    const auto age = input.request.Number("sec", 0, kLongestAge);
    return age ? Text(MakeEventDocument(input.model.Events().Latest(std::chrono::seconds(*age))))
               : Refuse(400);
}

Reply Logout(const HandlerInput& input) {
    if (input.model.Users().Leave(Who(input))) {
        input.model.Events().Add(EventLevel::Information, "Logout of " + Who(input), {},
                                 {"logout", -1, input.user.name, std::string(input.peer)});
    }
    // Clients wait for bare line feeds.
    return Text("\n\n");
}

Reply MapPage(const HandlerInput& input) {
    return MakeDocument("text/html; charset=utf-8", MakeMapPage(input.state.server));
}

Reply MapPicture(const HandlerInput& input) {
    try {
        std::string picture = ReadMapPicture(input.state);
        return picture.empty() ? Refuse(404) : MakeDocument("image/jpeg", std::move(picture));
    } catch (const std::runtime_error& failure) {
        input.model.Events().Add(EventLevel::Warning,
                                 std::string("The site map's picture cannot be read: ") + failure.what(),
                                 kQuiet);
        return Refuse(404);
    }
}

Reply Logo(const HandlerInput&) {
    return LogoJpeg().empty() ? Refuse(404) : MakeDocument("image/jpeg", LogoJpeg());
}

constexpr std::array<Route, 16> kRoutes = {{
    {"get_init_info.cgi", Place::Folder, false, InitInfo},
    {"get_ext_info.cgi", Place::Folder, false, ExtInfo},
    {"z_status.cgi", Place::Folder, false, Status},
    {"getmultistreaminfo.cgi", Place::Folder, false, StreamInfo},
    {"zcapabilities.cgi", Place::Anywhere, false, Capabilities},
    {"notify.cgi", Place::Anywhere, false, Notify},
    {"getstream.cgi", Place::Anywhere, false, GetStream},
    {"putaudiostream.cgi", Place::Anywhere, false, PutAudioStream},
    {"param.cgi", Place::Anywhere, false, Param},
    {"ptz.cgi", Place::Anywhere, false, Ptz},
    {"mrec.cgi", Place::Anywhere, false, ManualRecording},
    {"get_log_info.cgi", Place::Anywhere, false, EventsOf},
    {"emap_show.cgi", Place::Anywhere, false, MapPage},
    {"data/images/emap.jpg", Place::Anywhere, false, MapPicture},
    {"logout.cgi", Place::Anywhere, false, Logout},
    // Clients fetch it without a name, to make a browser forget the one that it keeps.
    {"logomark.jpg", Place::Top, true, Logo},
}};

constexpr std::string_view kFolder = "/cgi-bin/";

bool Serves(const Route& route, bool inFolder, CgiRoot root) {
    switch (route.place) {
        case Place::Anywhere:
            return true;
        case Place::Top:
            return !inFolder;
        case Place::Folder:
            break;
    }
    return root == CgiRoot::Both || inFolder == (root == CgiRoot::CgiBin);
}

}  // namespace

std::span<const Route> Routes() {
    return kRoutes;
}

Reply Answer(const HttpRequest& request, const Snapshot& state, RecorderModel& model, std::string_view peer) {
    static const User nobody;
    std::string_view name = request.path;
    const bool inFolder = name.starts_with(kFolder);
    name.remove_prefix(inFolder ? kFolder.size() : 1);
    const Route* route = nullptr;
    for (const Route& candidate : Routes()) {
        if (candidate.name == name && Serves(candidate, inFolder, state.server.root)) {
            route = &candidate;
        }
    }
    if (route && route->open) {
        return route->handle({request, state, nobody, model, peer});
    }
    // Who is unknown does not learn either which paths there are.
    const User* user = nullptr;
    if (auto refusal = RefuseLogin(model, state.server.logins, request, peer, [&] {
            user = state.Authorize(request.user, request.password.View());
            return user != nullptr;
        })) {
        return *std::move(refusal);
    }
    Reply reply = route ? route->handle({request, state, *user, model, peer}) : Refuse(404);
    reply.user = user->name;
    return reply;
}

}  // namespace kvrecorder
