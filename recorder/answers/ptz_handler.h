// ptz.cgi: what a camera can do, and orders to it.
#pragma once

#include "answers/handler_input.h"
#include "answers/reply.h"

namespace kvrecorder {

Reply Ptz(const HandlerInput& input);

}  // namespace kvrecorder
