#include "control/automation.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "control/client_impl.h"

namespace kvmon {

namespace {

constexpr char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

using Arguments = std::span<const Variant>;
constexpr int kMaxArguments = 5;

CallResult Long(std::int32_t value) {
    return {CallStatus::Ok, value};
}

CallResult Text(const std::string& value) {
    return {CallStatus::Ok, value};
}

const std::string* AsText(const Variant& value) {
    return std::get_if<std::string>(&value);
}

// The text of an optional argument; empty for one that is missing or is no text.
std::string OptionalText(const Variant& value) {
    const std::string* const text = AsText(value);
    return text != nullptr ? *text : std::string();
}

template <typename Put>
CallResult PutText(const Variant& value, Put put) {
    const auto text = ToText(value);
    if (!text) {
        return {CallStatus::BadArguments, {}};
    }
    put(*text);
    return {};
}

template <typename Put>
CallResult PutLong(const Variant& value, Put put) {
    const auto number = ToLong(value);
    if (!number) {
        return {CallStatus::BadArguments, {}};
    }
    put(*number);
    return {};
}

CallResult SetLanguage(CTR450ClientImpl& impl, Arguments arguments) {
    const auto number = ToLong(arguments[0]);
    return number ? Long(impl.SetLanguage(*number) ? 1 : 0) : CallResult{CallStatus::BadArguments, {}};
}

// There is no probe behind it: pages rely on the answer only.
CallResult CheckCamera(CTR450ClientImpl&, Arguments arguments) {
    for (const int i : {0, 1, 3, 4}) {
        if (AsText(arguments[static_cast<std::size_t>(i)]) == nullptr) {
            return {CallStatus::NotDone, {}};
        }
    }
    return Long(0);
}

CallResult Command(CTR450ClientImpl& impl, Arguments arguments) {
    const auto id = ToLong(arguments[0]);
    if (!id) {
        return {CallStatus::BadArguments, {}};
    }
    const auto result = impl.IEHostUIControl(*id, arguments[1]);
    return result ? Long(*result) : CallResult{};
}

template <typename Do>
CallResult WithView(const Variant& value, Do act) {
    const std::string* const name = AsText(value);
    return name != nullptr ? Long(act(*name) ? 1 : 0) : CallResult{CallStatus::BadArguments, {}};
}

CallResult AutoLogin(CTR450ClientImpl& impl, Arguments arguments) {
    const std::string* const auth = AsText(arguments[0]);
    if (auth == nullptr) {
        return {CallStatus::NotDone, {}};
    }
    impl.AutoLogin(*auth);
    return {};
}

CallResult TestEMap(CTR450ClientImpl& impl, Arguments arguments) {
    const std::string* const auth = AsText(arguments[0]);
    if (auth == nullptr) {
        return {CallStatus::NotDone, {}};
    }
    impl.TestEMap(*auth);
    return {};
}

CallResult PreparePlaybackData(CTR450ClientImpl& impl, Arguments arguments) {
    const auto user = ToText(arguments[0]);
    const auto shares = ToText(arguments[1]);
    if (!user || !shares) {
        return {CallStatus::BadArguments, {}};
    }
    return Long(impl.PreparePlaybackData(*user, *shares));
}

using Impl = CTR450ClientImpl;
constexpr auto kGet = MemberKind::Get;
constexpr auto kPut = MemberKind::Put;
constexpr auto kMethod = MemberKind::Method;

constexpr AutomationMember kMembers[] = {
    {1, "ServerIP", kGet, 0, 0, [](Impl& impl, Arguments) { return Text(impl.GetServerIP()); }},
    {1, "ServerIP", kPut, 1, 1,
     [](Impl& impl, Arguments a) {
         return PutText(a[0], [&](const std::string& text) { impl.SetServerIP(text); });
     }},
    {2, "ServerPort", kGet, 0, 0,
     [](Impl& impl, Arguments) { return Long(static_cast<std::int32_t>(impl.GetServerPort())); }},
    {2, "ServerPort", kPut, 1, 1,
     [](Impl& impl, Arguments a) { return PutLong(a[0], [&](std::int32_t n) { impl.PutServerPort(n); }); }},
    {5, "AutoStart", kGet, 0, 0, [](Impl& impl, Arguments) { return Long(impl.GetAutoStart()); }},
    {5, "AutoStart", kPut, 1, 1,
     [](Impl& impl, Arguments a) { return PutLong(a[0], [&](std::int32_t n) { impl.SetAutoStart(n); }); }},
    {6, "Login", kMethod, 0, 2,
     [](Impl& impl, Arguments a) { return Long(impl.Login(OptionalText(a[0]), OptionalText(a[1]))); }},
    {7, "Logout", kMethod, 0, 0,
     [](Impl& impl, Arguments) {
         impl.Logout();
         return CallResult{};
     }},
    {8, "Command", kMethod, 1, 2, Command},
    // The getter writes nothing, and old pages live with it.
    {10, "DefServerName", kGet, 0, 0, [](Impl&, Arguments) { return CallResult{}; }},
    {10, "DefServerName", kPut, 1, 1,
     [](Impl& impl, Arguments a) {
         return PutText(a[0], [&](const std::string& text) { impl.SetDefServerName(text); });
     }},
    {11, "SetLanguage", kMethod, 1, 1, SetLanguage},
    {12, "GetLanguage", kMethod, 0, 0, [](Impl& impl, Arguments) { return Long(impl.GetLanguage()); }},
    {13, "HelpPath", kGet, 0, 0, [](Impl& impl, Arguments) { return Text(impl.GetHelpPath()); }},
    {13, "HelpPath", kPut, 1, 1,
     [](Impl& impl, Arguments a) {
         return PutText(a[0], [&](const std::string& text) { impl.SetHelpPath(text); });
     }},
    {14, "CheckCamera", kMethod, 3, 5, CheckCamera},
    {15, "AutoLogin", kMethod, 1, 1, AutoLogin},
    {16, "PreparePlaybackData", kMethod, 2, 2, PreparePlaybackData},
    {17, "UnpreparePlaybackData", kMethod, 0, 0,
     [](Impl& impl, Arguments) {
         impl.UnpreparePlaybackData();
         return CallResult{};
     }},
    {18, "TestEMap", kMethod, 1, 1, TestEMap},
    {19, "AuthData", kGet, 0, 0, [](Impl& impl, Arguments) { return Text(impl.GetAuthData()); }},
    {19, "AuthData", kPut, 1, 1,
     [](Impl& impl, Arguments a) {
         return PutText(a[0], [&](const std::string& text) { impl.SetAuthData(text); });
     }},
    {20, "IELogout", kMethod, 0, 0, [](Impl&, Arguments) { return CallResult{}; }},
    {21, "Language", kGet, 0, 0,
     [](Impl& impl, Arguments) { return Text(std::to_string(impl.GetLanguage())); }},
    {21, "Language", kPut, 1, 1,
     [](Impl& impl, Arguments a) {
         return PutText(a[0], [&](const std::string& text) { impl.SetLanguage(ParseDecimal(text)); });
     }},
    {22, "ViewNames", kMethod, 0, 0, [](Impl& impl, Arguments) { return Text(impl.ViewNames()); }},
    {23, "OpenView", kMethod, 1, 1,
     [](Impl& impl, Arguments a) { return WithView(a[0], [&](auto& name) { return impl.OpenView(name); }); }},
    {24, "SaveView", kMethod, 1, 1,
     [](Impl& impl, Arguments a) { return WithView(a[0], [&](auto& name) { return impl.SaveView(name); }); }},
};

bool IsMemberName(std::string_view text, std::string_view name) {
    return std::equal(text.begin(), text.end(), name.begin(), name.end(),
                      [](char a, char b) { return Lower(a) == Lower(b); });
}

}  // namespace

std::span<const AutomationMember> AutomationMembers() {
    return kMembers;
}

const AutomationMember* FindMember(std::string_view name, MemberKind kind) {
    const auto* const member =
        std::find_if(std::begin(kMembers), std::end(kMembers), [&](const AutomationMember& candidate) {
            return candidate.kind == kind && IsMemberName(name, candidate.name);
        });
    return member != std::end(kMembers) ? member : nullptr;
}

CallResult InvokeMember(CTR450ClientImpl& impl, std::string_view name, MemberKind kind, Arguments arguments) {
    const AutomationMember* const member = FindMember(name, kind);
    return member != nullptr ? InvokeMember(impl, *member, arguments) : CallResult{CallStatus::NoMember, {}};
}

CallResult InvokeMember(CTR450ClientImpl& impl, const AutomationMember& member, Arguments arguments) {
    const auto count = static_cast<int>(std::min<std::size_t>(arguments.size(), kMaxArguments + 1));
    if (count < member.minArguments || count > member.maxArguments) {
        return {CallStatus::BadArguments, {}};
    }
    std::array<Variant, kMaxArguments> all;
    std::copy(arguments.begin(), arguments.end(), all.begin());
    return member.invoke(impl, std::span(all).first(static_cast<std::size_t>(member.maxArguments)));
}

}  // namespace kvmon
