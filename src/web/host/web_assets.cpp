#include "web/host/web_assets.h"

#include <QtCore/QFile>
#include <algorithm>

// Outside of the namespace, as the macro wants it.
static void InitResources() {
    Q_INIT_RESOURCE(assets);
}

namespace kvmon {

namespace {

constexpr std::string_view kTokenPlace = "@TOKEN@";

constexpr std::pair<std::string_view, const char*> kHelpKinds[] = {
    {".html", "text/html"}, {".css", "text/css"}, {".webp", "image/webp"}, {".png", "image/png"}};
constexpr qint64 kMaxHelpBytes = 1024 * 1024;

const std::vector<WebAsset>& Assets() {
    static const std::vector<WebAsset> assets = {
        {"/", "text/html", {":/web/sample.html"}, true},
        {"/sample.js", "text/javascript", {":/web/sample.js"}, false},
        {"/sample.css", "text/css", {":/web/sample.css"}, false},
        {"/kvmon.js",
         "text/javascript",
         {":/web/kvmon/head.js", ":/web/kvmon/connection.js", ":/web/kvmon/sound.js",
          ":/web/kvmon/picture.js", ":/web/kvmon/input.js", ":/web/kvmon/surroundings.js",
          ":/web/kvmon/names.js", ":/web/kvmon/element.js", ":/web/kvmon/members.js",
          ":/web/kvmon/old_pages.js"},
         false},
        {"/kvmon.d.ts", "application/typescript", {":/web/kvmon.d.ts"}, false},
    };
    return assets;
}

}  // namespace

const WebAsset* FindWebAsset(std::string_view path) {
    const auto& assets = Assets();
    const auto asset =
        std::find_if(assets.begin(), assets.end(), [path](const WebAsset& a) { return path == a.path; });
    return asset != assets.end() ? &*asset : nullptr;
}

std::string ReadWebAsset(const WebAsset& asset) {
    InitResources();
    std::string text;
    for (const char* const name : asset.files) {
        QFile file(QString::fromLatin1(name));
        text += file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
    }
    return text;
}

std::optional<HelpFile> ReadHelpFile(const std::string& path) {
    const auto kind = std::find_if(std::begin(kHelpKinds), std::end(kHelpKinds),
                                   [&path](const auto& row) { return path.ends_with(row.first); });
    QFile file(QString::fromStdString(path));
    if (kind == std::end(kHelpKinds) || !file.open(QIODevice::ReadOnly) || file.size() > kMaxHelpBytes) {
        return std::nullopt;
    }
    return HelpFile{kind->second, file.read(kMaxHelpBytes).toStdString()};
}

std::string WithToken(std::string text, const std::string& token) {
    const std::size_t place = text.find(kTokenPlace);
    return place == std::string::npos ? text : text.replace(place, kTokenPlace.size(), token);
}

}  // namespace kvmon
