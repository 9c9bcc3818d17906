// Where the settings tree keeps its values.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "persist/settings_tree.h"
#include "platform/clock.h"

namespace kvmon {

class SettingsBackend {
public:
    virtual ~SettingsBackend() = default;
    virtual std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) = 0;
    virtual bool Write(const std::string& path, std::string_view entry, const SettingsValue& value) = 0;
    virtual bool Delete(const std::string& path, std::string_view subSection) = 0;
    virtual std::vector<std::string> Sections(const std::string& path) = 0;
    virtual void BeginBatch() = 0;
    virtual void EndBatch() = 0;
    // Writes what still waits, for this long at most, and lets go of the file; reads give nothing afterwards,
    // writes false. False if something could not be written, which is told.
    virtual bool Close(Milliseconds limit) = 0;
};

std::unique_ptr<SettingsBackend> OpenSettingsDatabase(const std::string& path);
std::unique_ptr<SettingsBackend> OpenSettingsIni(const std::string& path);

}  // namespace kvmon
