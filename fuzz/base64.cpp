// Texts of an authorization and of other names, as they come from options, pages and recorders.
#include <cstdlib>

#include "persist/utilities.h"
#include "platform/text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(static_cast<const char*>(static_cast<const void*>(data)), size);
    const auto require = [](bool good) {
        if (!good) {
            std::abort();
        }
    };
    const std::string bytes = kvmon::Base64Decode(text);
    require(bytes.size() <= text.size());
    const auto split = kvmon::SplitBasicAuth(text, 64, 32);
    require(!split || (split->first.size() < 64 && split->second.size() < 32));
    require(kvmon::Base64Decode(kvmon::EncodeBasicAuth(text)) == text);

    std::string out(size + 8, '#');
    const std::size_t room = size;
    const std::size_t length = kvmon::Base64Encode(data, size, out.data(), room, size % 2 == 0);
    require(length <= room && out.find_first_not_of('#', room) == std::string::npos);

    kvmon::EscapeURL(text);
    const std::string valid = kvmon::FromUtf16(kvmon::ToUtf16(text));
    require(kvmon::IsValidUtf8(valid));
    require(kvmon::IsValidUtf8(text) == (valid == text));
    require(kvmon::Utf16Length(kvmon::Utf16Left(text, 7)) <= 7);
    return 0;
}
