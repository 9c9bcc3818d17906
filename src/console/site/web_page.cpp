#include "console/site/web_page.h"

#include <QtCore/QUrl>

#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxAddress = 4096;

// Escapes what would end this part of the address.
std::string AddressPart(const std::string& text) {
    return QUrl::toPercentEncoding(QString::fromStdString(text)).toStdString();
}

}  // namespace

bool IsWebPage(const std::string& url) {
    if (url.size() > kMaxAddress) {
        return false;
    }
    const QUrl page(QString::fromStdString(url), QUrl::StrictMode);
    const QString scheme = page.scheme();
    return page.isValid() && !page.host().isEmpty() &&
           (scheme == QLatin1String("http") || scheme == QLatin1String("https"));
}

std::string EscapedAddress(const std::string& url) {
    const QUrl page(QString::fromStdString(url), QUrl::TolerantMode);
    return page.isValid() ? page.toString(QUrl::FullyEncoded).toStdString() : std::string();
}

std::string CameraPageUrl(const std::string& host, std::uint32_t port, const std::string& path,
                          const std::string& user, const std::string& password) {
    if (host.empty() || path.empty()) {
        return {};
    }
    std::string prefix;
    if (!user.empty()) {
        prefix = AddressPart(user) + (password.empty() ? "" : ":" + AddressPart(password)) + "@";
    }
    return FormatText("http://%s%s:%u%s%s", prefix.c_str(), host.c_str(), port,
                      path.front() == '/' ? "" : "/", path.c_str());
}

}  // namespace kvmon
