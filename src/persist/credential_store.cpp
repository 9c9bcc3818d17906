#include "persist/credential_store.h"

#include <nettle/arcfour.h>
#include <nettle/md5.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "persist/log_file.h"
#include "persist/orvo_registry.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxCharacters = 100;
constexpr std::size_t kMaxCipher = 1000;
constexpr char kPlain = 'p';
// In front of a masked text: one of them, then the mask, then each byte of the text changed by it.
constexpr char kMasked[] = {'m', 'n'};

// Stored values were made with a key of 40 bits that a salt of zeros fills up to 128.
constexpr std::size_t kKeyBytes = 5;

const std::uint8_t* Bytes(std::string_view text) {
    return static_cast<const std::uint8_t*>(static_cast<const void*>(text.data()));
}

// RC4 works the same in both directions.
void Crypt(std::vector<std::uint8_t>& data, std::string_view keyText) {
    std::array<std::uint8_t, MD5_DIGEST_SIZE> hash{};
    md5_ctx md5;
    md5_init(&md5);
    md5_update(&md5, keyText.size(), Bytes(keyText));
    md5_digest(&md5, hash.size(), hash.data());

    std::fill(hash.begin() + kKeyBytes, hash.end(), std::uint8_t{0});
    arcfour_ctx rc4;
    arcfour_set_key(&rc4, hash.size(), hash.data());
    arcfour_crypt(&rc4, data.size(), data.data(), data.data());
    ::explicit_bzero(hash.data(), hash.size());
    ::explicit_bzero(&rc4, sizeof rc4);
}

bool HasZero(const std::vector<std::uint8_t>& cipher) {
    return std::find(cipher.begin(), cipher.end(), std::uint8_t{0}) != cipher.end();
}

void ZeroBehindFirstZero(std::vector<std::uint8_t>& cipher) {
    std::fill(std::find(cipher.begin(), cipher.end(), std::uint8_t{0}), cipher.end(), std::uint8_t{0});
}

}  // namespace

std::vector<std::uint8_t> EncryptString(std::string_view plain, std::string_view keyText) {
    plain = plain.substr(0, std::min(plain.find('\0'), kMaxCipher - 2));
    std::vector<std::uint8_t> cipher;
    cipher.reserve(plain.size() + 1);  // no copy is left behind
    cipher.push_back(static_cast<std::uint8_t>(kPlain));
    cipher.insert(cipher.end(), plain.begin(), plain.end());
    Crypt(cipher, keyText);
    if (!HasZero(cipher)) {
        return cipher;
    }
    // Each byte spoils one mask at most, so that a text of the length that is stored has a good one.
    for (const char marker : kMasked) {
        for (unsigned mask = 1; mask < 256; ++mask) {
            std::vector<std::uint8_t> masked{static_cast<std::uint8_t>(marker),
                                             static_cast<std::uint8_t>(mask)};
            for (const char c : plain) {
                masked.push_back(static_cast<std::uint8_t>(static_cast<std::uint8_t>(c) ^ mask));
            }
            Crypt(masked, keyText);
            if (!HasZero(masked)) {
                return masked;
            }
        }
    }
    ZeroBehindFirstZero(cipher);
    return cipher;
}

std::string DecryptString(std::vector<std::uint8_t> cipher, std::string_view keyText) {
    cipher.resize(std::min(cipher.size(), kMaxCipher));
    if (cipher.empty()) {
        return {};
    }
    const bool bWhole = !HasZero(cipher);
    ZeroBehindFirstZero(cipher);
    Crypt(cipher, keyText);
    if (bWhole && cipher.size() >= 2 &&
        std::find(std::begin(kMasked), std::end(kMasked), cipher[0]) != std::end(kMasked)) {
        for (std::size_t i = 2; i < cipher.size(); ++i) {
            cipher[i] = static_cast<std::uint8_t>(cipher[i] ^ cipher[1]);
        }
        cipher.erase(cipher.begin());
    }
    std::string text(cipher.begin() + 1, std::find(cipher.begin() + 1, cipher.end(), std::uint8_t{0}));
    ::explicit_bzero(cipher.data(), cipher.size());
    return text;
}

bool CanEncryptPasswd(std::string_view keyText, std::string_view password) {
    return Utf16Length(keyText) < kMaxCharacters && Utf16Length(password) < kMaxCharacters &&
           DecryptString(EncryptString(password, keyText), keyText) == password;
}

bool SaveEncryptPasswd(COrvoRegistry& registry, std::string_view section, std::string_view entry,
                       std::string_view keyText, std::string_view password) {
    if (!CanEncryptPasswd(keyText, password)) {
        Trace("SaveEncryptPasswd: EncryptString failure...\n");
        return false;
    }
    return registry.WriteProfileBinary(section, entry, EncryptString(password, keyText));
}

std::optional<std::string> GetEncryptPasswd(const COrvoRegistry& registry, std::string_view section,
                                            std::string_view entry, std::string_view keyText) {
    std::vector<std::uint8_t> cipher(kMaxCipher);
    cipher.resize(registry.GetProfileBinary(section, entry, cipher));
    if (cipher.empty()) {
        return std::nullopt;
    }
    // Whoever changed the key text by hand gets some bytes; they must still be text.
    return FromUtf16(ToUtf16(DecryptString(std::move(cipher), keyText)));
}

}  // namespace kvmon
