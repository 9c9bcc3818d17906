#include "control/help_url.h"

#include "control/languages.h"
#include "platform/text.h"

namespace kvmon {

std::string MakeHelpURL(std::string path, const std::string& server, std::uint32_t port,
                        std::uint16_t langid) {
    if (path.empty()) {
        return {};
    }
    if (path.back() != '/') {
        path += '/';
    }
    if (path.find("http://") != std::string::npos && path.find("file:") != std::string::npos) {
        return FormatText("%s%s/help.html", path.c_str(), HelpSuffix(langid));
    }
    if (path.front() != '/') {
        path.insert(0, "/");
    }
    return FormatText("http://%s:%u%s%s/help.html", server.c_str(), port, path.c_str(), HelpSuffix(langid));
}

}  // namespace kvmon
