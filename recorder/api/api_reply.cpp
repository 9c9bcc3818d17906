#include "api/api_reply.h"

namespace kvrecorder {

Reply MakeJson(int status, const Json& body) {
    Reply reply;
    reply.status = status;
    reply.type = "application/json";
    // What others named need not be well-formed.
    reply.body = body.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    return reply;
}

Reply MakeError(const ApiError& error) {
    Json body = {{"error", error.what()}};
    if (!error.Field().empty()) {
        body["field"] = error.Field();
    }
    return MakeJson(error.Status(), body);
}

}  // namespace kvrecorder
