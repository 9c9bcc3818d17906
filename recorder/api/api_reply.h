// The interface's replies. Inside this folder only.
#pragma once

#include "answers/reply.h"
#include "api/api_error.h"
#include "api/json_fields.h"

namespace kvrecorder {

Reply MakeJson(int status, const Json& body);
Json ValuesOf(const Fault& fault);
// The words as `name`, code and values beside them: "trouble_code", but those of "error" without its name.
void Tell(Json& body, const std::string& name, const Fault& fault);
// {"error": words, "code": name, "values": {}, "field": name}, the last only where one is wrong.
Reply MakeError(const ApiError& error);

}  // namespace kvrecorder
