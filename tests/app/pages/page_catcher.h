// Stands for the system's browser: gets the files that the program has it open.
#pragma once

#include <QtCore/QObject>
#include <QtCore/QUrl>
#include <QtGui/QDesktopServices>
#include <string>
#include <vector>

namespace kvtest {

class PageCatcher final : public QObject {
    Q_OBJECT

public:
    PageCatcher() { QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "Open"); }
    ~PageCatcher() override { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }
    std::vector<std::string> urls;

public Q_SLOTS:
    void Open(const QUrl& url) { urls.push_back(url.toEncoded().toStdString()); }
};

}  // namespace kvtest
