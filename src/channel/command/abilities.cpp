#include "channel/command/abilities.h"

#include <utility>

namespace kvmon {

void Abilities::Clear() {
    const std::lock_guard lock(m_cs);
    m_cameraInfo = {};
    m_presetFormat = {};
}

CameraInfo Abilities::GetCameraInfo() const {
    const std::lock_guard lock(m_cs);
    return m_cameraInfo;
}

void Abilities::Restore(const CameraInfo& info) {
    const std::lock_guard lock(m_cs);
    m_cameraInfo = info;
}

bool Abilities::IsKnown(const CameraInfo& info) const {
    const std::lock_guard lock(m_cs);
    return m_cameraInfo == info;
}

void Abilities::Store(const CameraInfo& info) {
    Restore(info);
    m_sound.m_bSupportAudio = info.bAudio;
    m_bCameraInfoLoaded = true;
}

PresetFormat Abilities::GetPresetFormat() const {
    const std::lock_guard lock(m_cs);
    return m_presetFormat;
}

bool Abilities::SetPresetFormat(const PresetFormat& format) {
    const std::lock_guard lock(m_cs);
    return std::exchange(m_presetFormat, format) != format;
}

std::string Abilities::GetPresetName(std::uint32_t nIndex) const {
    const std::lock_guard lock(m_cs);
    return nIndex < m_cameraInfo.presetNames.size() ? m_cameraInfo.presetNames[nIndex] : std::string();
}

std::uint32_t Abilities::AddPresetRecord(std::uint32_t nIndex, const std::string& name, std::size_t nMost) {
    const std::lock_guard lock(m_cs);
    const std::uint32_t nTicket = m_nNextPresetRecord++;
    m_presetRecords[nTicket] = {nIndex, name};
    if (m_presetRecords.size() > nMost) {
        m_presetRecords.erase(m_presetRecords.begin());
    }
    return nTicket;
}

std::optional<PresetRecord> Abilities::TakePresetRecord(std::uint32_t nTicket) {
    const std::lock_guard lock(m_cs);
    auto node = m_presetRecords.extract(nTicket);
    return node ? std::optional(std::move(node.mapped())) : std::nullopt;
}

void Abilities::SetRecordingFault(const std::string& words) {
    const std::lock_guard lock(m_cs);
    m_recordingFault = words;
}

std::string Abilities::GetRecordingFault() const {
    const std::lock_guard lock(m_cs);
    return m_recordingFault;
}

}  // namespace kvmon
