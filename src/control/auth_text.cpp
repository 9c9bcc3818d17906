#include "control/auth_text.h"

#include "persist/utilities.h"
#include "platform/secret_memory.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxBytes = 260;
constexpr std::size_t kMaxCharacters = 520;

}  // namespace

std::optional<std::pair<std::string, std::string>> DecodeAuthText(std::string_view text) {
    if (text.size() > kMaxBytes) {
        return std::nullopt;
    }
    std::string decoded = Base64Decode(text);
    const WipeAtEnd wipe(decoded);
    if (decoded.size() > kMaxBytes || Utf16Length(decoded) > kMaxCharacters) {
        return std::nullopt;
    }
    return SplitBasicAuth(text, kMaxBytes + 1, kMaxBytes + 1);
}

}  // namespace kvmon
