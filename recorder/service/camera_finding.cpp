#include "service/camera_finding.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <ostream>
#include <set>

#include "cameras/camera_error.h"
#include "media/private_file.h"
#include "media/utf8.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kColumns = 4;
using Row = std::array<std::string, kColumns>;

std::size_t CharactersOf(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

std::string NameOf(const FoundCamera& camera) {
    std::string name =
        camera.maker + (camera.maker.empty() || camera.model.empty() ? "" : " ") + camera.model;
    return !camera.name.empty() ? camera.name : !name.empty() ? name : camera.host;
}

std::string Quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : PrintableUtf8(text, 1024)) {
        out += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
    return out + "\"";
}

// Throws ConfigError, also when there is such a file: it may hold what nobody wants to lose.
void WriteNew(const std::string& path, const std::string& text) {
    try {
        const Descriptor file = MakePrivateFile(path, {});
        std::string_view rest = text;
        while (!rest.empty()) {
            const ssize_t count = ::write(file.Get(), rest.data(), rest.size());
            if (count <= 0) {
                std::error_code ignored;
                std::filesystem::remove(path, ignored);
                throw ConfigError("--write: " + path + " cannot be written");
            }
            rest.remove_prefix(static_cast<std::size_t>(count));
        }
    } catch (const ConfigError&) {
        throw;
    } catch (const std::runtime_error& failure) {
        throw ConfigError(std::string("--write: ") + failure.what());
    }
}

SearchSetup SetupOf(const Options& options) {
    SearchSetup setup;
    setup.at = options.discoverAt;
    // Of IPv6 an address stands in brackets where a port follows.
    const std::size_t bracket = setup.at.find(']');
    const std::size_t colon = setup.at.rfind(':');
    const bool isPort = colon != std::string::npos &&
                        (bracket != std::string::npos ? colon > bracket : setup.at.find(':') == colon);
    if (isPort) {
        const auto port = ParseNumber<std::uint16_t>(std::string_view(setup.at).substr(colon + 1), 1, 65535);
        if (!port) {
            throw ConfigError("--discover-at: the port is a number from 1 to 65535");
        }
        setup.port = *port;
        setup.at.resize(colon);
    }
    if (setup.at.starts_with('[') && setup.at.ends_with(']')) {
        setup.at = setup.at.substr(1, setup.at.size() - 2);
    }
    setup.user = options.discoverUser;
    return setup;
}

}  // namespace

std::string ListFound(std::span<const FoundCamera> found) {
    std::vector<Row> rows = {{"MAKER", "MODEL", "NAME", "ADDRESS"}};
    for (const FoundCamera& camera : found) {
        rows.push_back({OrDash(camera.maker), OrDash(camera.model), OrDash(camera.name), camera.url});
    }
    std::array<std::size_t, kColumns> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < kColumns; ++i) {
            widths[i] = std::max(widths[i], CharactersOf(row[i]));
        }
    }
    std::string text;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < kColumns; ++i) {
            text += row[i] + std::string(widths[i] - CharactersOf(row[i]) + 2, ' ');
        }
        text += row.back() + "\n";
    }
    for (const FoundCamera& camera : found) {
        text += camera.trouble.Empty() ? "" : camera.url + ": " + camera.trouble.words + "\n";
    }
    return text;
}

std::string MakeFoundConfig(std::span<const FoundCamera> found, const std::string& cameraUser,
                            const Secret& cameraPassword, const std::string& passwordFile,
                            const Secret& password) {
    std::string text =
        "# Cameras that kvrecorder found on the network.\n\n# Who watches them.\n[[users]]\n"
        "name = \"admin\"\npassword = " +
        Quoted(password.View()) + "\nadmin = true\n";
    for (const char* const right : kRightNames) {
        text += std::string(right) + " = \"all\"\n";
    }
    if (cameraUser.empty()) {
        text +=
            "\n# Cameras that want a login need in their source, too: user = \"...\", password = \"...\"\n";
    }
    std::set<std::string> names;
    for (const FoundCamera& camera : found) {
        std::string name = NameOf(camera);
        for (int i = 1; !names.insert(name).second; ++i) {
            name = NameOf(camera) + " / " + camera.host + (i > 1 ? " / " + std::to_string(i) : "");
        }
        text += "\n[[channels]]\nname = " + Quoted(name) + "\n";
        if (const std::string kind = PrintableUtf8(camera.maker + " " + camera.model, 128); kind != " ") {
            text += "# " + kind + "\n";
        }
        if (!camera.trouble.Empty()) {
            text += "# " + PrintableUtf8(camera.trouble.words, 1024) + "\n";
        }
        text += "source = { url = " + Quoted(camera.url);
        if (!cameraUser.empty()) {
            text += ", user = " + Quoted(cameraUser);
            if (!passwordFile.empty()) {
                text += ", password_file = " + Quoted(passwordFile);
            } else if (!cameraPassword.Empty()) {
                text += ", password = " + Quoted(cameraPassword.View());
            }
        }
        text += " }\n";
    }
    return text + "\n" + std::string(kEndMark) + "\n";
}

int FindCameras(const Options& options, std::ostream& out,
                const std::function<Secret(const std::string& prompt)>& ask) {
    std::error_code error;
    if (!options.writeFile.empty() && std::filesystem::exists(options.writeFile, error)) {
        throw ConfigError("--write: there is a " + options.writeFile + " already");
    }
    SearchSetup setup = SetupOf(options);
    if (!setup.user.empty()) {
        setup.password = options.cameraPasswordFile.empty()
                             ? ask("Password of " + setup.user + " at the cameras: ")
                             : ReadPasswordFile(options.cameraPasswordFile);
    }
    std::vector<FoundCamera> found;
    try {
        found = SearchCameras(setup);
    } catch (const CameraError& failure) {
        throw ConfigError(std::string("--discover: ") + failure.what());
    }
    if (found.empty()) {
        out << "no camera answered" << (setup.at.empty() ? " on the networks of this machine" : "")
            << "; it may be off, elsewhere, or have ONVIF switched off\n";
        return 1;
    }
    out << ListFound(found);
    if (options.writeFile.empty()) {
        return 0;
    }
    if (found.size() > static_cast<std::size_t>(kMaxChannels)) {
        found.resize(static_cast<std::size_t>(kMaxChannels));
        out << "only the first " << kMaxChannels << " are written\n";
    }
    const std::string passwordFile = options.cameraPasswordFile.empty()
                                         ? ""
                                         : std::filesystem::absolute(options.cameraPasswordFile).string();
    std::string text = MakeFoundConfig(found, setup.user, setup.password, passwordFile, MakePassword());
    WriteNew(options.writeFile, text);
    Wipe(text);
    out << "written: " << PrintableUtf8(options.writeFile, 1024)
        << "; its user is admin, whose password stands in it\n";
    return 0;
}

}  // namespace kvrecorder
