#include "web/web_assets.h"

#include <QtCore/QFile>
#include <algorithm>
#include <iterator>

// Outside of the namespace, as the macro wants it.
static void InitResources() {
    Q_INIT_RESOURCE(assets);
}

namespace kvmon {

namespace {

constexpr std::string_view kTokenPlace = "@TOKEN@";

constexpr WebAsset kAssets[] = {
    {"/", "text/html", ":/web/sample.html", true},
    {"/sample.js", "text/javascript", ":/web/sample.js", false},
    {"/sample.css", "text/css", ":/web/sample.css", false},
    {"/kvmon.js", "text/javascript", ":/web/kvmon.js", false},
    {"/kvmon.d.ts", "application/typescript", ":/web/kvmon.d.ts", false},
};

}  // namespace

const WebAsset* FindWebAsset(std::string_view path) {
    const auto* const asset = std::find_if(std::begin(kAssets), std::end(kAssets),
                                           [path](const WebAsset& a) { return path == a.path; });
    return asset != std::end(kAssets) ? asset : nullptr;
}

std::string ReadWebAsset(const WebAsset& asset) {
    InitResources();
    QFile file(QString::fromLatin1(asset.file));
    return file.open(QIODevice::ReadOnly) ? file.readAll().toStdString() : std::string();
}

std::string WithToken(std::string text, const std::string& token) {
    const std::size_t place = text.find(kTokenPlace);
    return place == std::string::npos ? text : text.replace(place, kTokenPlace.size(), token);
}

}  // namespace kvmon
