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

Json ValuesOf(const Fault& fault) {
    Json values = Json::object();
    for (const auto& [name, value] : fault.values) {
        std::visit([&, key = name](const auto& told) { values[key] = told; }, value);
    }
    return values;
}

void Tell(Json& body, const std::string& name, const Fault& fault) {
    const bool error = name == "error";
    body[name] = fault.words;
    if (!fault.Empty()) {
        body[error ? "code" : name + "_code"] = fault.code;
        body[error ? "values" : name + "_values"] = ValuesOf(fault);
    }
}

Reply MakeError(const ApiError& error) {
    Json body = Json::object();
    Tell(body, "error", error.Told());
    if (!error.Field().empty()) {
        body["field"] = error.Field();
    }
    return MakeJson(error.Status(), body);
}

}  // namespace kvrecorder
