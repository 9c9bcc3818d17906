// Where the settings tree keeps its values.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace kvmon {

// A number or a text; bytes are kept as a text of pairs.
using SettingsValue = std::variant<std::uint32_t, std::string>;

class SettingsBackend {
public:
    virtual ~SettingsBackend() = default;
    virtual std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) = 0;
    virtual bool Write(const std::string& path, std::string_view entry, const SettingsValue& value) = 0;
    virtual bool Delete(const std::string& path, std::string_view subSection) = 0;
    virtual void BeginBatch() = 0;
    virtual void EndBatch() = 0;
    // Lets go of the file; reads give nothing afterwards, writes false.
    virtual void Close() = 0;
};

std::unique_ptr<SettingsBackend> OpenSettingsDatabase(const std::string& path);
std::unique_ptr<SettingsBackend> OpenSettingsIni(const std::string& path);

}  // namespace kvmon
