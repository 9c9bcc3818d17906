// Names of shared folders as pages write them.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvmon {

struct ShareName {
    std::string host;
    std::string share;
    std::string folder;  // below the share, with "/" between its parts; mostly empty
};

// "\\host\share", with further folders behind, with any number of strokes of either kind in front or none,
// or as an address that begins with "smb:". Nothing for a text that names no share: without both parts, with
// characters that no host or folder has, with "." or "..", or longer than the protocol knows.
std::optional<ShareName> ParseShareName(std::string_view text);

// The address for the SMB library: all that could mean more than itself is escaped.
std::string ShareUrl(const ShareName& name);

// A part of such an address; "/" stands for itself.
void AppendEscaped(std::string& url, std::string_view text);

// One text for all spellings of a share.
std::string ShareKey(const ShareName& name);

}  // namespace kvmon
