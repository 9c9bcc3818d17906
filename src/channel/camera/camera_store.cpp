// What is kept of a channel between two runs.
#include <algorithm>
#include <array>
#include <cstring>

#include "channel/camera/base_camera.h"
#include "channel/camera/channel_core.h"
#include "persist/orvo_registry.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kRegVersion = 1;
constexpr std::size_t kZoomRectSize = 16;
// Codes beyond this are no display mode.
constexpr std::uint32_t kLastDisplayMode = 4;
constexpr std::uint32_t kNotStored = 0xFFFFFFFF;

template <std::size_t count>
std::array<std::uint8_t, 4 * count> ToBytes(const std::array<std::int32_t, count>& values) {
    std::array<std::uint8_t, 4 * count> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(static_cast<std::uint32_t>(values[i / 4]) >> (8 * (i % 4)));
    }
    return bytes;
}

// Little-endian values; false unless all of them are there.
template <std::size_t count>
bool ReadNumbers(std::string_view section, const char* entry, std::array<std::int32_t, count>& values) {
    std::array<std::uint8_t, 4 * count> bytes{};
    if (Registry().GetProfileBinarySize(section, entry) != bytes.size() ||
        Registry().GetProfileBinary(section, entry, bytes) != bytes.size()) {
        return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t value = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            value |= std::uint32_t{bytes[4 * i + k]} << (8 * k);
        }
        values[i] = static_cast<std::int32_t>(value);
    }
    return true;
}

std::string SectionOf(const std::string& folder, std::uint32_t nCh) {
    return FormatText("%s\\Ch%02u", folder.c_str(), nCh);
}

// An address as far as its own end; the present one where none is stored.
std::string ReadAddress(std::string_view section, const char* entry, std::string_view present) {
    if (Registry().GetProfileBinarySize(section, entry) == 0) {
        return std::string(present);
    }
    std::array<std::uint8_t, 64> bytes{};
    const std::size_t length = Registry().GetProfileBinary(section, entry, bytes);
    const auto* const begin = reinterpret_cast<const char*>(bytes.data());
    return {begin, std::find(begin, begin + std::min(length, bytes.size()), '\0')};
}

void WriteAddress(std::string_view section, const char* entry, std::string_view text, std::size_t length) {
    std::array<std::uint8_t, 64> bytes{};
    std::copy_n(text.begin(), std::min(text.size(), bytes.size() - 1), bytes.begin());
    Registry().WriteProfileBinary(section, entry, std::span(bytes).first(std::min(length, bytes.size())));
}

// The second address is written with the first one's length, as it always was; so it is read.
std::string AsWritten(std::string_view address, std::string_view first) {
    return std::string(address.substr(0, first.size()));
}

void WriteAddresses(std::string_view section, std::string_view lan, std::string_view wan) {
    WriteAddress(section, "CameraIp1", lan, lan.size());
    WriteAddress(section, "CameraIp2", wan, lan.size());
}

void WriteRect(std::string_view section, const char* entry, const PixelRect& rect) {
    Registry().WriteProfileBinary(section, entry, ToBytes<4>({rect.left, rect.top, rect.right, rect.bottom}));
}

bool ReadBool(std::string_view section, const char* entry, bool bPresent) {
    return Registry().GetProfileInt(section, entry, bPresent ? 1 : 0) != 0;
}

FixedSize ReadSize(std::string_view section, const char* entry, const FixedSize& present) {
    std::array<std::int32_t, 2> values{};
    return ReadNumbers(section, entry, values) ? FixedSize{values[0], values[1]} : present;
}

void WriteSize(std::string_view section, const char* entry, const FixedSize& size) {
    Registry().WriteProfileBinary(section, entry, ToBytes<2>({size.cx, size.cy}));
}

// The state belongs to this camera and no other one.
bool IsStoredFor(std::string_view section, const CameraSettings& settings) {
    const COrvoRegistry& registry = Registry();
    const NetworkSetting& lan = settings.m_NetworkSetting[0];
    const NetworkSetting& wan = settings.m_NetworkSetting[1];
    const std::string first(lan.szAddress.View());
    const std::string second = AsWritten(wan.szAddress.View(), first);
    return registry.GetProfileInt(section, "VenderId", settings.m_dwVendorId) == settings.m_dwVendorId &&
           registry.GetProfileInt(section, "ModelId", settings.m_dwModelId) == settings.m_dwModelId &&
           ReadAddress(section, "CameraIp1", first) == first &&
           ReadAddress(section, "CameraIp2", second) == second &&
           registry.GetProfileInt(section, "CameraPort1", lan.nPort) == lan.nPort &&
           registry.GetProfileInt(section, "CameraPort2", wan.nPort) == wan.nPort;
}

DisplayMode ReadDisplayMode(std::string_view section, DisplayMode present) {
    const COrvoRegistry& registry = Registry();
    if (registry.GetProfileInt(section, "RegVersion", 0) == 0) {
        // Before there were modes there was one switch.
        const std::uint32_t keep = registry.GetProfileInt(section, "KeepAspectRatio", kNotStored);
        return keep == kNotStored ? DisplayMode::Natural
               : keep != 0        ? DisplayMode::KeepAspect
                                  : DisplayMode::Fill;
    }
    const std::uint32_t mode =
        registry.GetProfileInt(section, "DisplayMode", static_cast<std::uint32_t>(present));
    return mode <= kLastDisplayMode ? static_cast<DisplayMode>(mode) : present;
}

void LoadLook(std::string_view section, ChannelPicture& picture) {
    const COrvoRegistry& registry = Registry();
    picture.SetDisplayMode(ReadDisplayMode(section, picture.GetDisplayMode()));
    picture.SetShowSubStringMask(
        registry.GetProfileInt(section, "ShowSubStringMask", picture.GetShowSubStringMask()));
    picture.SetMainOsdColor(registry.GetProfileInt(section, "MainOsdColor", picture.GetMainOsdColor()));
    picture.SetDeinterlace(ReadBool(section, "Deinterlace", picture.IsDeinterlace()));
}

DigitalZoom::State ReadZoom(std::string_view section, DigitalZoom::State state) {
    state.bOn = ReadBool(section, "DigitalZoom", state.bOn);
    state.nLevel = static_cast<std::int32_t>(
        Registry().GetProfileInt(section, "DigitalZoomInMultiple", static_cast<std::uint32_t>(state.nLevel)));
    std::array<std::int32_t, kZoomRectSize / 4> sides{};
    if (ReadNumbers(section, "DigitalZoomRect", sides)) {
        state.rect = {sides[0], sides[1], sides[2], sides[3]};
    }
    return state;
}

CameraInfo ReadAbilities(std::string_view section, CameraInfo info) {
    const bool bMoves = ReadBool(section, "PanAndTiltable", info.IsPanAndTiltable());
    if (bMoves != info.IsPanAndTiltable()) {
        info.bPan = info.bTilt = bMoves;
    }
    info.bZoomable = ReadBool(section, "Zoomable", info.bZoomable);
    info.bFocusable = ReadBool(section, "Focusable", info.bFocusable);
    return info;
}

}  // namespace

void CBaseCamera::SetRegFolder(const std::string& folder) {
    const std::lock_guard lock(m_core->m_cs);
    m_core->m_strRegFolder = folder;
}

void CBaseCamera::LoadCameraSettings() {
    StreamSource& source = m_core->m_source;
    std::string folder;
    {
        const std::lock_guard lock(m_core->m_cs);
        folder = m_core->m_strRegFolder;
    }
    const std::string section = SectionOf(folder, GetCHInKelvara());
    if (folder.empty()) {
        return;
    }
    if (!IsStoredFor(section, source.GetSettings())) {
        m_core->m_picture.SetDisplayMode(DisplayMode::Natural);
        return;
    }
    const COrvoRegistry& registry = Registry();
    source.m_nNetworkSettingIdx =
        registry.GetProfileInt(section, "CameraNetworkSettingIdx", source.m_nNetworkSettingIdx);
    source.m_nStreamFrom = registry.GetProfileInt(section, "StreamFrom", source.m_nStreamFrom);
    source.m_trial.Restore(registry.GetProfileInt(section, "CameraGoneAt", 0), m_core->clock);
    LoadLook(section, m_core->m_picture);
    source.m_bDigitalZoom = m_core->ChangeZoom([&section](DigitalZoom& zoom) {
        zoom.Restore(ReadZoom(section, zoom.Get()));
        return zoom.IsOn();
    });
    SetSupportAudio(ReadBool(section, "SupportAudio", IsSupportAudio()));
    source.SetFixSizeServer(ReadSize(section, "StreamFromServerResolution", source.GetFixSizeServer()));
    source.SetFixSizeCamera(ReadSize(section, "StreamFromCameraResolution", source.GetFixSizeCamera()));
    CameraInfo info = ReadAbilities(section, m_core->m_abilities.GetCameraInfo());
    info.bAudio = IsSupportAudio();
    m_core->m_abilities.Restore(info);
    m_core->RefreshFixSizeLine();
}

void CBaseCamera::SaveCameraSettings() const {
    const StreamSource& source = m_core->m_source;
    std::string folder;
    std::string name;
    {
        const std::lock_guard lock(m_core->m_cs);
        folder = m_core->m_strRegFolder;
        name = m_core->m_strCameraName;
    }
    if (!source.IsSettingsAssigned() || !source.HasAddress() || folder.empty()) {
        return;
    }
    const CameraSettings settings = source.GetSettings();
    const CameraInfo info = m_core->m_abilities.GetCameraInfo();
    DigitalZoom::State zoom;
    {
        const std::lock_guard lock(m_core->m_csZoom);
        zoom = m_core->m_zoom.Get();
    }
    const std::string section = SectionOf(folder, GetCHInKelvara());
    const ChannelPicture& picture = m_core->m_picture;
    const NetworkSetting& lan = settings.m_NetworkSetting[0];
    const NetworkSetting& wan = settings.m_NetworkSetting[1];
    COrvoRegistry& registry = Registry();
    const COrvoRegistry::Batch batch(registry);
    const struct {
        const char* entry;
        std::uint32_t value;
    } numbers[] = {
        {"RegVersion", kRegVersion},
        {"CameraNetworkSettingIdx", source.m_nNetworkSettingIdx & 1},
        {"ShowSubStringMask", picture.GetShowSubStringMask()},
        {"CameraIdx", GetCHInKelvara()},
        {"VenderId", settings.m_dwVendorId},
        {"ModelId", settings.m_dwModelId},
        {"CameraPort1", lan.nPort},
        {"CameraPort2", wan.nPort},
        {"DigitalZoom", zoom.bOn ? 1u : 0u},
        {"DigitalZoomInMultiple", static_cast<std::uint32_t>(zoom.nLevel)},
        {"StreamFrom", source.m_nStreamFrom},
        {"CameraGoneAt", source.m_trial.GetStored()},
        {"MainOsdColor", picture.GetMainOsdColor()},
        {"DisplayMode", static_cast<std::uint32_t>(picture.GetDisplayMode())},
        {"Deinterlace", picture.IsDeinterlace() ? 1u : 0u},
        {"SupportAudio", IsSupportAudio() ? 1u : 0u},
        {"PanAndTiltable", info.IsPanAndTiltable() ? 1u : 0u},
        {"Zoomable", info.bZoomable ? 1u : 0u},
        {"Focusable", info.bFocusable ? 1u : 0u},
    };
    for (const auto& number : numbers) {
        registry.WriteProfileInt(section, number.entry, number.value);
    }
    registry.WriteProfileString(section, "CameraName", name);
    WriteAddresses(section, lan.szAddress.View(), wan.szAddress.View());
    WriteRect(section, "DigitalZoomRect", zoom.rect);
    WriteSize(section, "StreamFromServerResolution", source.GetFixSizeServer());
    WriteSize(section, "StreamFromCameraResolution", source.GetFixSizeCamera());
}

}  // namespace kvmon
