// Passwords of the server list, enciphered with a key made of the entry's user name.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

class COrvoRegistry;

// The cipher bytes of the text: one more than it has, or two where one of them would be zero. A zero would
// end the cipher for whoever reads it: values of old are cut there and do not come back whole.
std::vector<std::uint8_t> EncryptString(std::string_view plain, std::string_view keyText);
// The text without its marker. A wrong key gives other bytes and no error.
std::string DecryptString(std::vector<std::uint8_t> cipher, std::string_view keyText);

// False if key text or password have 100 characters or more, or the password would not come back.
bool CanEncryptPasswd(std::string_view keyText, std::string_view password);
// False if it cannot be enciphered.
bool SaveEncryptPasswd(COrvoRegistry& registry, std::string_view section, std::string_view entry,
                       std::string_view keyText, std::string_view password);
// Nothing if there is no value.
std::optional<std::string> GetEncryptPasswd(const COrvoRegistry& registry, std::string_view section,
                                            std::string_view entry, std::string_view keyText);

}  // namespace kvmon
