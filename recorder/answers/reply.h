// What a client gets for its request.
#pragma once

#include <functional>
#include <string>

namespace kvrecorder {

enum class ReplyKind {
    Document,  // a body, then the end
    Stream,    // records of a channel's stream
    Notify,    // a line for each change
    Talk,      // takes the client's sound
    Silence,   // nothing, until the client gives up
    Later,     // what `find` gets
};

struct Reply {
    ReplyKind kind = ReplyKind::Document;
    int status = 200;
    std::string type = "text/plain";
    std::string body;
    int channel = 0;  // whose stream it is
    int stream = 0;
    std::string user;    // who has signed in; empty where nobody has to
    std::string who;     // who opened a notification connection
    int delayMs = 0;     // to wait before the reply
    bool brief = false;  // a header of two lines: clients count them
    std::string allow;   // the methods that there are instead
    // Has a later reply made elsewhere. `done` may be called on any thread, once or never.
    using Find = std::function<void(std::function<void(Reply)> done)>;
    Find find;
    // The head goes out at once, as clients wait longer for the rest; of what is found the body is sent.
    bool headFirst = false;
};

// A refusal with its standard words as body.
Reply Refuse(int status);
const char* ReasonOf(int status);
// Status line and header of a reply, with the blank line.
std::string MakeReplyHead(const Reply& reply);

}  // namespace kvrecorder
