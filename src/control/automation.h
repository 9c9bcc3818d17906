// The control's automation members, by name.
#pragma once

#include <span>
#include <string_view>

#include "control/variant.h"

namespace kvmon {

class CTR450ClientImpl;

enum class MemberKind { Method, Get, Put };

enum class CallStatus {
    Ok,
    NotDone,       // the arguments were not of the kinds that the member wants; it did nothing
    NoMember,      // there is no member of that name and kind
    BadArguments,  // their number, or a type that cannot be converted
};

struct CallResult {
    CallStatus status = CallStatus::Ok;
    Variant value;  // nothing where the member writes no result
};

struct AutomationMember {
    int dispid;
    const char* name;
    MemberKind kind;
    int minArguments;  // what is missing up to maxArguments arrives as nothing
    int maxArguments;
    CallResult (*invoke)(CTR450ClientImpl& impl, std::span<const Variant> arguments);
};

// In the order of the interface.
std::span<const AutomationMember> AutomationMembers();

// The member of this name, in any case, as scripts of old pages write it; null for a name that is not one of
// the kind.
const AutomationMember* FindMember(std::string_view name, MemberKind kind);

CallResult InvokeMember(CTR450ClientImpl& impl, const AutomationMember& member,
                        std::span<const Variant> arguments);
// For callers that have the name alone.
CallResult InvokeMember(CTR450ClientImpl& impl, std::string_view name, MemberKind kind,
                        std::span<const Variant> arguments);

}  // namespace kvmon
