#include "persist/orvo_registry.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "persist/log_file.h"
#include "persist/settings_backend.h"
#include "persist/utilities.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxText = 2304;

// As the trace has always told of a deletion: the key it begins at, and how it ended.
constexpr std::uint32_t kCurrentUser = 0x80000001;
constexpr std::uint32_t kGeneralFailure = 31;

// Bytes as text: two digits and a blank for each.
std::string PairsFromBytes(std::span<const std::uint8_t> data) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(data.size() * 3);
    for (const std::uint8_t byte : data) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
        text += ' ';
    }
    return text;
}

// The bytes before the first thing that is no pair.
std::vector<std::uint8_t> BytesFromPairs(std::string_view text, std::size_t most) {
    std::vector<std::uint8_t> bytes;
    for (; text.size() >= 2 && bytes.size() < most; text.remove_prefix(text.size() < 3 ? 2 : 3)) {
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (error != std::errc() || end != text.data() + 2 || (text.size() > 2 && text[2] != ' ')) {
            break;
        }
        bytes.push_back(byte);
    }
    return bytes;
}

std::uint32_t NumberOf(std::string_view text, std::uint32_t nDefault) {
    std::uint32_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() ? number : nDefault;
}

}  // namespace

COrvoRegistry::COrvoRegistry() = default;
COrvoRegistry::~COrvoRegistry() = default;

void COrvoRegistry::InitRegistry(bool bUseIni, const RegistryApp& app) {
    m_bUseIni = bUseIni;
    if (bUseIni) {
        m_strRegRoot = app.iniPath;
        m_backend = OpenSettingsIni(app.iniPath);
    } else {
        m_strRegRoot = app.company.empty() ? app.product : app.company + "\\" + app.product;
        Trace("COrvoRegistry::InitRegistry: m_strRegRoot=%s...\n", m_strRegRoot.c_str());
        m_backend = OpenSettingsDatabase(app.databasePath.empty() ? GetDataFolder() + "/settings.db"
                                                                  : app.databasePath);
        std::string problem;
        m_site = SiteSettings::Load(app.sitePath.empty() ? SiteSettingsPath() : app.sitePath, problem);
        if (!problem.empty()) {
            Trace("COrvoRegistry::InitRegistry: %s\n", problem.c_str());
            std::fprintf(stderr, "kvmon: %s\n", problem.c_str());
        }
    }
}

bool COrvoRegistry::Close(Milliseconds limit) {
    return !m_backend || m_backend->Close(limit);
}

std::string COrvoRegistry::FullPath(std::string_view section) const {
    if (m_bUseIni) {
        return section.empty() ? "main" : std::string(section);
    }
    std::string path = "Software\\" + m_strRegRoot;
    if (!section.empty() && section.front() != '\\') {
        path += '\\';
    }
    return path.append(section);
}

std::optional<SettingsValue> COrvoRegistry::Read(std::string_view section, std::string_view entry) const {
    auto value = m_backend ? m_backend->Read(FullPath(section), entry) : std::nullopt;
    if (!value && m_backend) {
        if (auto text = m_site.Find(section, entry)) {
            value = SettingsValue(std::move(*text));
        }
    }
    return value;
}

std::uint32_t COrvoRegistry::GetProfileInt(std::string_view section, std::string_view entry,
                                           std::uint32_t nDefault) const {
    const auto value = m_backend ? m_backend->Read(FullPath(section), entry) : std::nullopt;
    if (!value) {
        const auto site = m_backend ? m_site.Find(section, entry) : std::nullopt;
        return site ? NumberOf(*site, nDefault) : nDefault;
    }
    if (const auto* number = std::get_if<std::uint32_t>(&*value)) {
        return *number;
    }
    return m_bUseIni ? NumberOf(std::get<std::string>(*value), nDefault) : nDefault;
}

bool COrvoRegistry::WriteProfileInt(std::string_view section, std::string_view entry, std::uint32_t nValue) {
    const SettingsValue value = m_bUseIni ? SettingsValue(FormatText("%u", nValue)) : SettingsValue(nValue);
    return m_backend && m_backend->Write(FullPath(section), entry, value);
}

std::string COrvoRegistry::GetProfileString(std::string_view section, std::string_view entry,
                                            std::string_view defaultText) const {
    const auto value = Read(section, entry);
    const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
    return text != nullptr ? Utf16Left(*text, kMaxText) : std::string(defaultText);
}

bool COrvoRegistry::WriteProfileString(std::string_view section, std::string_view entry,
                                       std::string_view value) {
    return m_backend && m_backend->Write(FullPath(section), entry, SettingsValue(std::string(value)));
}

std::string COrvoRegistry::ReadBinaryText(std::string_view section, std::string_view entry) const {
    const auto value = Read(section, entry);
    const auto* text = value ? std::get_if<std::string>(&*value) : nullptr;
    return text != nullptr ? *text : std::string();
}

std::size_t COrvoRegistry::GetProfileBinarySize(std::string_view section, std::string_view entry) const {
    return BytesFromPairs(ReadBinaryText(section, entry), std::string::npos).size();
}

std::size_t COrvoRegistry::GetProfileBinary(std::string_view section, std::string_view entry,
                                            std::span<std::uint8_t> data) const {
    const auto bytes = BytesFromPairs(ReadBinaryText(section, entry), data.size());
    std::copy(bytes.begin(), bytes.end(), data.begin());
    return bytes.size();
}

bool COrvoRegistry::WriteProfileBinary(std::string_view section, std::string_view entry,
                                       std::span<const std::uint8_t> data) {
    return WriteProfileString(section, entry, PairsFromBytes(data));
}

std::vector<std::string> COrvoRegistry::GetSections(std::string_view section) const {
    return m_backend ? m_backend->Sections(FullPath(section)) : std::vector<std::string>();
}

bool COrvoRegistry::DeleteSection(std::string_view section, std::string_view subSection) {
    const std::string path = FullPath(section);
    if (!m_bUseIni) {
        std::string key = path;
        if (!subSection.empty()) {
            key.append("\\").append(subSection);
        }
        Trace("COrvoRegistry::RegDeleteKeyNT: hStartKey=0x%x, pKeyName=%s...\n", kCurrentUser, key.c_str());
    }
    const bool bDeleted = m_backend && m_backend->Delete(path, subSection);
    if (!m_bUseIni) {
        Trace("COrvoRegistry::RegDeleteKeyNT: dwRtn=0x%x...\n", bDeleted ? 0u : kGeneralFailure);
    }
    return bDeleted;
}

COrvoRegistry::Batch::Batch(COrvoRegistry& registry) : m_registry(registry) {
    if (m_registry.m_backend) {
        m_registry.m_backend->BeginBatch();
    }
}

COrvoRegistry::Batch::~Batch() {
    if (m_registry.m_backend) {
        m_registry.m_backend->EndBatch();
    }
}

COrvoRegistry& Registry() {
    // Never destroyed, since abandoned threads may still ask; closed at the program's end, so that the
    // file stands alone.
    static COrvoRegistry* const registry = [] {
        auto* const made = new COrvoRegistry;
        std::atexit([] { Registry().Close(); });
        return made;
    }();
    return *registry;
}

}  // namespace kvmon
