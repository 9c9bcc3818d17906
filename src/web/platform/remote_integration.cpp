#include "web/platform/remote_integration.h"

#include <qpa/qplatformfontdatabase.h>
#include <qpa/qwindowsysteminterface.h>

#include <QtGui/private/qgenericunixeventdispatcher_p.h>
#include <QtGui/private/qgenericunixfontdatabase_p.h>

#include <QtCore/QtPlugin>
#include <mutex>

#include "web/platform/remote_application.h"
#include "web/platform/remote_platform.h"

namespace kvmon {

RemoteIntegration::RemoteIntegration() : m_fonts(std::make_unique<QGenericUnixFontDatabase>()) {}

RemoteIntegration::~RemoteIntegration() = default;

void RemoteIntegration::initialize() {
    m_screen = new RemoteScreen;
    QWindowSystemInterface::handleScreenAdded(m_screen, true);
}

void RemoteIntegration::destroy() {
    if (m_screen != nullptr) {
        QWindowSystemInterface::handleScreenRemoved(m_screen);
        m_screen = nullptr;
    }
}

bool RemoteIntegration::hasCapability(Capability capability) const {
    switch (capability) {
        case ThreadedPixmaps:
        case MultipleWindows:
        case NonFullScreenWindows:
        case WindowManagement:
        case WindowActivation:
            return true;
        default:
            return false;
    }
}

QPlatformWindow* RemoteIntegration::createPlatformWindow(QWindow* window) const {
    return new RemoteWindow(window);
}

QPlatformBackingStore* RemoteIntegration::createPlatformBackingStore(QWindow* window) const {
    return new RemoteBackingStore(window);
}

QAbstractEventDispatcher* RemoteIntegration::createEventDispatcher() const {
    return createUnixEventDispatcher();
}

QPlatformIntegration* RemoteIntegrationPlugin::create(const QString& key, const QStringList&) {
    return key == QLatin1String(kRemotePlatform) ? new RemoteIntegration : nullptr;
}

}  // namespace kvmon

// What the macro in the class makes of it.
const QStaticPlugin qt_static_plugin_RemoteIntegrationPlugin();

void kvmon::RegisterRemotePlatform() {
    static std::once_flag once;
    std::call_once(once, [] { qRegisterStaticPluginFunction(qt_static_plugin_RemoteIntegrationPlugin()); });
}

// The toolkit makes this one.
#include "moc_remote_integration.cpp"  // NOLINT(bugprone-suspicious-include)
