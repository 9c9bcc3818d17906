// Stored settings of a test's own.
#pragma once

#include "persist/orvo_registry.h"
#include "support/temp_folder.h"

namespace kvtest {

// The process's settings stand in a folder that goes away with it.
class OwnSettings {
public:
    OwnSettings() {
        kvmon::RegistryApp app;
        app.databasePath = m_folder.File("settings.db");
        kvmon::Registry().InitRegistry(false, app);
    }
    ~OwnSettings() { kvmon::Registry().Close(); }
    OwnSettings(const OwnSettings&) = delete;
    OwnSettings& operator=(const OwnSettings&) = delete;

private:
    const TempFolder m_folder;
};

}  // namespace kvtest
