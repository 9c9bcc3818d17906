// The interface's replies. Inside this folder only.
#pragma once

#include "answers/reply.h"
#include "api/api_error.h"
#include "api/json_fields.h"

namespace kvrecorder {

Reply MakeJson(int status, const Json& body);
// {"error": words, "field": name}, the latter only where one is wrong.
Reply MakeError(const ApiError& error);

}  // namespace kvrecorder
