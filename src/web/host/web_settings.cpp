#include "web/host/web_settings.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <charconv>

namespace kvmon {

bool ParseServeAddress(const std::string& text, std::string& address, std::uint16_t& port) {
    const std::size_t colon = text.rfind(':');
    std::string host = colon == std::string::npos ? std::string() : text.substr(0, colon);
    if (host.starts_with('[') && host.ends_with(']')) {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string::npos) {
        return false;  // IPv6 without brackets
    }
    const std::string digits = colon == std::string::npos ? text : text.substr(colon + 1);
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return false;
    }
    address = host.empty() ? "127.0.0.1" : host == "localhost" ? "127.0.0.1" : host;
    port = number;
    return true;
}

QByteArray WriteSessionOrder(const SessionOrder& order) {
    const SessionDefaults& d = order.defaults;
    const auto text = [](const std::string& s) { return QString::fromStdString(s); };
    QJsonObject object{
        {"key", text(order.key)},       {"server", text(d.server)},    {"port", d.port},
        {"auth", text(d.auth)},         {"autoStart", d.autoStart},    {"serverName", text(d.serverName)},
        {"helpPath", text(d.helpPath)}, {"dataDir", text(d.dataDir)},  {"language", d.language.value_or(-1)},
        {"help", text(order.help)},     {"hardware", text(d.hardware)}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

std::optional<SessionOrder> ReadSessionOrder(const QByteArray& bytes) {
    const QJsonObject object = QJsonDocument::fromJson(bytes).object();
    if (!object["key"].isString()) {
        return std::nullopt;
    }
    const auto text = [&](const char* name) { return object[QLatin1String(name)].toString().toStdString(); };
    SessionOrder order;
    order.key = text("key");
    order.help = text("help");
    SessionDefaults& d = order.defaults;
    d.server = text("server");
    d.port = object["port"].toInt();
    d.auth = text("auth");
    d.autoStart = object["autoStart"].toBool();
    d.serverName = text("serverName");
    d.helpPath = text("helpPath");
    d.dataDir = text("dataDir");
    d.hardware = text("hardware");
    if (const int language = object["language"].toInt(-1); language >= 0) {
        d.language = language;
    }
    return order;
}

}  // namespace kvmon
