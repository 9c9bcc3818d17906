#include "console/settings/recorder_entry.h"

#include <algorithm>
#include <string_view>

#include "console/settings/fill_pattern.h"
#include "persist/credential_store.h"
#include "persist/plural.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

// What a server's connection data hold, in bytes.
constexpr std::size_t kMaxField = 63;

bool IsAddressCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '.' ||
           c == '-' || c == '_';
}

// A label without its colon, which languages write each in their way, is the name of its field.
std::string TooLong(std::uint32_t label) {
    std::string field = LoadString(label);
    for (const std::string_view end : {"\uff1a", ":", "\u00a0", " "}) {
        if (field.ends_with(end)) {
            field.resize(field.size() - end.size());
        }
    }
    return FillPattern(LoadString(6164), {field});
}

constexpr struct {
    RecorderTestResult result;
    std::uint32_t text;
} kTestTexts[] = {
    {RecorderTestResult::Works, 6151},         {RecorderTestResult::NoSuchHost, 6152},
    {RecorderTestResult::Unreachable, 6153},   {RecorderTestResult::Refused, 6154},
    {RecorderTestResult::WrongPassword, 6155}, {RecorderTestResult::NotARecorder, 6156},
    {RecorderTestResult::TimedOut, 6157},
};

}  // namespace

std::string FindEntryFault(const SavedServer& entry, const std::vector<SavedServer>& others) {
    if (entry.address.empty()) {
        return LoadString(6160);
    }
    if (!std::all_of(entry.address.begin(), entry.address.end(), IsAddressCharacter)) {
        return LoadString(6161);
    }
    if (entry.user.empty()) {
        return LoadString(6162);
    }
    if (entry.user.find(':') != std::string::npos) {
        return LoadString(6163);  // a colon ends the name in a login
    }
    const struct {
        const std::string& text;
        std::uint32_t label;
    } fields[] = {{entry.address, 6141}, {entry.user, 6143}, {entry.password, 6144}};
    for (const auto& field : fields) {
        if (field.text.size() > kMaxField) {
            return TooLong(field.label);
        }
    }
    if (!CanEncryptPasswd(entry.user, entry.password)) {
        return LoadString(6166);
    }
    const bool bListed = std::any_of(others.begin(), others.end(),
                                     [&](const SavedServer& other) { return IsSameLogin(other, entry); });
    return bListed ? LoadString(6165) : std::string();
}

std::string RecorderTestText(const RecorderTestReport& report) {
    for (const auto& row : kTestTexts) {
        if (row.result == report.result) {
            return FillPattern(LoadPlural(row.text, static_cast<std::uint64_t>(std::max(report.channels, 0))),
                               {report.name, std::to_string(report.channels)});
        }
    }
    return {};
}

std::string PlaceText(const SavedServer& server) {
    return server.address + ":" + std::to_string(server.port);
}

}  // namespace kvmon
