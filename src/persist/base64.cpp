#include <algorithm>
#include <array>

#include "persist/utilities.h"
#include "platform/secret_memory.h"

namespace kvmon {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineLength = 76;
constexpr std::size_t kMaxCredential = 64;

// Foreign characters count as 0.
std::uint32_t ValueOf(char c) {
    const std::size_t place = std::string_view(kAlphabet).find(c);
    return place == std::string_view::npos ? 0 : static_cast<std::uint32_t>(place);
}

enum class LineBreaks { None, Every76 };

std::string Encode(std::string_view data, LineBreaks breaks) {
    std::string out;
    std::size_t onLine = 0;
    for (std::size_t i = 0; i < data.size(); i += 3) {
        const auto byte = [&](std::size_t k) {
            return i + k < data.size() ? static_cast<std::uint32_t>(static_cast<unsigned char>(data[i + k]))
                                       : 0;
        };
        const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
        const std::size_t have = std::min<std::size_t>(3, data.size() - i);
        for (std::size_t k = 0; k < 4; ++k) {
            out += k <= have ? kAlphabet[group >> (18 - 6 * k) & 63] : '=';
        }
        onLine += 4;
        // Whole groups alone fill a line: 56 bytes give 76 characters and no line end.
        if (breaks == LineBreaks::Every76 && onLine == kLineLength && have == 3) {
            out += '\n';
            onLine = 0;
        }
    }
    return out;
}

}  // namespace

std::size_t Base64Encode(const void* pData, std::size_t nLength, char* pOut, std::size_t nOutSize,
                         bool bLineBreaks) {
    if (bLineBreaks && nOutSize < kLineLength) {
        return 0;
    }
    const std::string text = Encode({static_cast<const char*>(pData), nLength},
                                    bLineBreaks ? LineBreaks::Every76 : LineBreaks::None);
    if (text.size() >= nOutSize) {
        return 0;
    }
    std::copy(text.begin(), text.end(), pOut);
    pOut[text.size()] = '\0';
    return text.size();
}

std::string Base64Decode(std::string_view text) {
    std::string out;
    std::uint32_t group = 0;
    int have = 0;
    for (const char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            continue;
        }
        if (c == '=') {
            if (have == 2) {
                out += static_cast<char>(group >> 4);
            } else if (have == 3) {
                out += static_cast<char>(group >> 10);
                out += static_cast<char>(group >> 2);
            }
            group = 0;
            have = 0;
            continue;
        }
        group = group << 6 | ValueOf(c);
        if (++have == 4) {
            out += static_cast<char>(group >> 16);
            out += static_cast<char>(group >> 8);
            out += static_cast<char>(group);
            group = 0;
            have = 0;
        }
    }
    return out;
}

std::string MakeBasicAuth(std::string_view user, std::string_view password) {
    if (user.size() >= kMaxCredential || password.size() >= kMaxCredential) {
        return {};
    }
    std::string text;
    text.reserve(user.size() + 1 + password.size());
    const WipeAtEnd wipe(text);
    return EncodeBasicAuth(text.append(user).append(":").append(password));
}

std::string EncodeBasicAuth(std::string_view text) {
    return Encode(text, LineBreaks::Every76);
}

std::optional<std::pair<std::string, std::string>> SplitBasicAuth(std::string_view base64,
                                                                  std::size_t nUserSize,
                                                                  std::size_t nPasswordSize) {
    std::string text = Base64Decode(base64);
    const WipeAtEnd wipe(text);
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos || nUserSize == 0 || nPasswordSize == 0) {
        return std::nullopt;
    }
    return std::pair(text.substr(0, std::min(colon, nUserSize - 1)),
                     text.substr(colon + 1, nPasswordSize - 1));
}

}  // namespace kvmon
