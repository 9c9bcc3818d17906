// The platform's entry for Qt.
#pragma once

#include <qpa/qplatformintegration.h>
#include <qpa/qplatformintegrationplugin.h>

#include <memory>

namespace kvmon {

class RemoteScreen;

class RemoteIntegration final : public QPlatformIntegration {
public:
    RemoteIntegration();
    ~RemoteIntegration() override;

    void initialize() override;
    void destroy() override;
    bool hasCapability(Capability capability) const override;
    QPlatformWindow* createPlatformWindow(QWindow* window) const override;
    QPlatformBackingStore* createPlatformBackingStore(QWindow* window) const override;
    QAbstractEventDispatcher* createEventDispatcher() const override;
    QPlatformFontDatabase* fontDatabase() const override { return m_fonts.get(); }

private:
    RemoteScreen* m_screen = nullptr;  // Qt's once it is announced
    std::unique_ptr<QPlatformFontDatabase> m_fonts;
};

class RemoteIntegrationPlugin final : public QPlatformIntegrationPlugin {
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QPlatformIntegrationFactoryInterface_iid FILE "remote_platform.json")
public:
    QPlatformIntegration* create(const QString& key, const QStringList& parameters) override;
};

}  // namespace kvmon
