// Settings of a test's own, in a folder that goes away.
#pragma once

#include <gtest/gtest.h>

#include "persist/orvo_registry.h"
#include "persist/utilities.h"
#include "support/temp_folder.h"

namespace kvtest {

class SettingsTest : public testing::Test {
protected:
    SettingsTest() {
        kvmon::SetDataFolder(folder.Path());
        kvmon::RegistryApp app;
        app.databasePath = folder.File("settings.db");
        kvmon::Registry().InitRegistry(false, app);
    }
    ~SettingsTest() override { kvmon::Registry().Close(); }  // before its folder goes

    TempFolder folder;
};

}  // namespace kvtest
