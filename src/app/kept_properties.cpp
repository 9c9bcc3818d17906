#include "app/kept_properties.h"

#include "control/auth_text.h"
#include "control/languages.h"
#include "persist/credential_store.h"
#include "persist/orvo_registry.h"
#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr const char* kDesktopSection = "Desktop";
constexpr const char* kAuthKey = "AuthData";
constexpr const char* kPortKey = "ServerPort";
constexpr const char* kAutoStartKey = "AutoStart";
constexpr const char* kLanguageKey = "Language";
constexpr const char* kUser = "Username";
constexpr const char* kPassword = "Passwd";
constexpr const char* kAddressKey = "ServerIP";
constexpr const char* kTexts[] = {kAddressKey, "DefServerName", "HelpPath"};
constexpr std::uint32_t kMissing = 0xFFFFFFFF;

std::optional<std::string> LoadAuth(const COrvoRegistry& registry) {
    const std::string user = registry.GetProfileString(kDesktopSection, kUser, {});
    const auto password =
        user.empty() ? std::nullopt : GetEncryptPasswd(registry, kDesktopSection, kPassword, user);
    const std::string auth = password ? MakeBasicAuth(user, *password) : std::string();
    return auth.empty() ? std::nullopt : std::optional(auth);
}

void KeepAuth(COrvoRegistry& registry, const std::string& auth) {
    const auto credential = DecodeAuthText(auth);
    const bool bKept = credential && SaveEncryptPasswd(registry, kDesktopSection, kPassword,
                                                       credential->first, credential->second);
    if (!bKept) {
        registry.WriteProfileBinary(kDesktopSection, kPassword, {});
    }
    registry.WriteProfileString(kDesktopSection, kUser, bKept ? credential->first : std::string());
}

}  // namespace

PropertyBag LoadKeptProperties(const COrvoRegistry& registry) {
    PropertyBag bag;
    for (const char* const name : kTexts) {
        if (const std::string text = registry.GetProfileString(kDesktopSection, name, {}); !text.empty()) {
            bag[name] = text;
        }
    }
    if (const auto port = registry.GetProfileInt(kDesktopSection, kPortKey, 0); port > 0 && port < 65536) {
        bag[kPortKey] = static_cast<std::int32_t>(port);
    }
    if (const auto start = registry.GetProfileInt(kDesktopSection, kAutoStartKey, kMissing); start <= 1) {
        bag[kAutoStartKey] = static_cast<std::int32_t>(start);
    }
    if (const auto number = registry.GetProfileInt(kDesktopSection, kLanguageKey, kMissing);
        number < kLanguageCount) {
        bag[kLanguageKey] = std::to_string(number);
    }
    if (const auto auth = LoadAuth(registry)) {
        bag[kAuthKey] = *auth;
    }
    return bag;
}

PropertyBag PropertiesOf(const AppOptions& options) {
    PropertyBag bag;
    const auto take = [&](const char* name, Variant value) {
        if (options.given.contains(name)) {
            bag[name] = std::move(value);
        }
    };
    take(kAddressKey, options.server);
    take(kPortKey, options.port);
    take(kAutoStartKey, options.autoStart ? 1 : 0);
    take("DefServerName", options.serverName);
    take("HelpPath", options.helpPath);
    take(kAuthKey, options.auth);
    if (options.language) {
        bag[kLanguageKey] = std::to_string(*options.language);
    }
    return bag;
}

bool NamesAnotherRecorder(const PropertyBag& kept, const PropertyBag& told) {
    const auto differs = [&](const char* name) {
        const auto now = told.find(name);
        const auto before = kept.find(name);
        return now != told.end() && (before == kept.end() || before->second != now->second);
    };
    return differs(kAddressKey) || differs(kPortKey);
}

PropertyBag PropertiesOf(CTR450Client& client) {
    PropertyBag bag = client.Save();
    bag["DefServerName"] = client.Impl().GetDefServerName();  // which its member does not tell
    return bag;
}

void KeepChangedProperties(COrvoRegistry& registry, const PropertyBag& before, const PropertyBag& now) {
    const COrvoRegistry::Batch together(registry);
    const auto changed = [&](const char* name) -> const Variant* {
        const auto old = before.find(name);
        const auto found = now.find(name);
        const bool bSame = found == now.end() || (old != before.end() && old->second == found->second);
        return bSame ? nullptr : &found->second;
    };
    for (const char* const name : kTexts) {
        if (const Variant* const value = changed(name)) {
            registry.WriteProfileString(kDesktopSection, name, ToText(*value).value_or(std::string()));
        }
    }
    for (const char* const name : {kPortKey, kAutoStartKey, kLanguageKey}) {
        const Variant* const value = changed(name);
        if (const auto number = value != nullptr ? ToLong(*value) : std::nullopt) {
            registry.WriteProfileInt(kDesktopSection, name, static_cast<std::uint32_t>(*number));
        }
    }
    if (const Variant* const value = changed(kAuthKey)) {
        KeepAuth(registry, ToText(*value).value_or(std::string()));
    }
}

}  // namespace kvmon
