// Passwords of the server list, enciphered with a key made of the entry's user name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

class COrvoRegistry;

// The cipher bytes of the text, one more than it has. A zero among them ends the cipher: what stands
// behind it is zero too and does not come back whole. Stored values rely on that.
std::vector<std::uint8_t> EncryptString(std::string_view plain, std::string_view keyText);
// The text without its marker byte. A wrong key gives other bytes and no error.
std::string DecryptString(std::vector<std::uint8_t> cipher, std::string_view keyText);

// False if key text or password have 100 characters or more, or cannot be stored.
bool SaveEncryptPasswd(COrvoRegistry& registry, std::string_view section, std::string_view entry,
                       std::string_view keyText, std::string_view password);
// Nothing if there is no value.
std::optional<std::string> GetEncryptPasswd(const COrvoRegistry& registry, std::string_view section,
                                            std::string_view entry, std::string_view keyText);

}  // namespace kvmon
