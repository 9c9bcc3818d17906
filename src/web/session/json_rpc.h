// JSON-RPC 2.0: the envelope, and the control's members behind it.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>

#include "control/automation.h"

namespace kvmon {

// Carries a call out. The member comes from the method: "get.NAME", "put.NAME", or a method's name.
using MemberCall =
    std::function<CallResult(const AutomationMember& member, std::span<const Variant> arguments)>;

// The answer to a request, or to a batch of at most 32; empty when none is due. What is no request gets the
// protocol's error. A member that writes nothing answers null.
std::string AnswerJsonRpc(std::string_view text, const MemberCall& call);

// An event as a notification.
std::string JsonRpcEvent(std::string_view name, std::span<const Variant> arguments);

}  // namespace kvmon
