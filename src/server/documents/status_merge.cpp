#include "server/documents/status_merge.h"

#include <algorithm>
#include <tuple>

namespace kvmon {

namespace {

auto Identity(auto& status) {
    return std::tie(status.m_strServerName, status.strServerVersion, status.strServerBuild,
                    status.bOwnRecorder);
}

auto Disk(auto& status) {
    return std::tie(status.m_strDiskSize, status.m_strDiskUnit, status.m_nDiskStatus, status.m_nDiskUsed);
}

auto Audio(auto& setting) {
    return std::tie(setting.m_nAudioOut, setting.m_nAudioOutType);
}

auto Channel(auto& s) {
    return std::tie(s.m_StreamInfo, s.m_NetworkSetting[0], s.m_NetworkSetting[1], s.m_lpszCamPasswd,
                    s.m_lpszCamUserName, s.m_nCh, s.m_szCameraId, s.m_dwVendorId, s.m_dwModelId,
                    s.m_lpszGuestPasswd, s.m_lpszAdminPasswd, s.m_lpszVideoURL, s.m_nSvrPort, s.m_lpszSvrIP,
                    s.m_lpszSvrBase64Auth, s.m_lpszSvrUserName, s.m_lpszSvrPasswd, s.m_strChannelName);
}

// Any of the first `limit` channels that both have.
template <typename Differs>
bool AnyChannel(const CNvrStatus& a, const CNvrStatus& b, std::size_t limit, Differs differs) {
    const auto& left = a.m_VideoSettingList;
    const auto& right = b.m_VideoSettingList;
    const std::size_t count = std::min({left.size(), right.size(), limit});
    for (std::size_t i = 0; i < count; ++i) {
        if (differs(left[i], right[i])) {
            return true;
        }
    }
    return false;
}

template <typename Copy>
void ForBoth(const CNvrStatus& from, CNvrStatus& to, Copy copy) {
    const std::size_t count = std::min(from.m_VideoSettingList.size(), to.m_VideoSettingList.size());
    for (std::size_t i = 0; i < count; ++i) {
        copy(from.m_VideoSettingList[i], to.m_VideoSettingList[i]);
    }
}

}  // namespace

bool IdentityDiffers(const CNvrStatus& a, const CNvrStatus& b) {
    return Identity(a) != Identity(b);
}

bool ChannelListDiffers(const CNvrStatus& a, const CNvrStatus& b) {
    const auto& left = a.m_VideoSettingList;
    const auto& right = b.m_VideoSettingList;
    return !std::equal(left.begin(), left.end(), right.begin(), right.end(),
                       [](const auto& one, const auto& other) { return Channel(one) == Channel(other); });
}

bool DiskDiffers(const CNvrStatus& a, const CNvrStatus& b) {
    return Disk(a) != Disk(b);
}

bool StatusDiffers(const CNvrStatus& a, const CNvrStatus& b, std::uint32_t masks) {
    return AnyChannel(a, b, kComparedChannels, [masks](const auto& one, const auto& other) {
        for (int bit = 0; bit < kStatusWordCount; ++bit) {
            const std::uint32_t mask = masks & 1u << bit;
            if (mask != 0 && one.Status(mask) != other.Status(mask)) {
                return true;
            }
        }
        return false;
    });
}

bool AudioDiffers(const CNvrStatus& a, const CNvrStatus& b) {
    return AnyChannel(a, b, kComparedChannels,
                      [](const auto& one, const auto& other) { return Audio(one) != Audio(other); });
}

void CopyIdentity(const CNvrStatus& from, CNvrStatus& to) {
    Identity(to) = Identity(from);
}

void CopyChannelList(const CNvrStatus& from, CNvrStatus& to) {
    to.m_VideoSettingList.resize(from.m_VideoSettingList.size());
    ForBoth(from, to, [](const auto& source, auto& target) { Channel(target) = Channel(source); });
    to.m_nChannelCount = from.m_nChannelCount;
}

void CopyDisk(const CNvrStatus& from, CNvrStatus& to) {
    Disk(to) = Disk(from);
}

void CopyStatus(const CNvrStatus& from, CNvrStatus& to, std::uint32_t masks) {
    ForBoth(from, to, [masks](const auto& source, auto& target) {
        for (int bit = 0; bit < kStatusWordCount; ++bit) {
            if (const std::uint32_t mask = masks & 1u << bit) {
                target.SetStatus(mask, source.Status(mask));
            }
        }
    });
}

void CopyAudio(const CNvrStatus& from, CNvrStatus& to) {
    ForBoth(from, to, [](const auto& source, auto& target) { Audio(target) = Audio(source); });
}

}  // namespace kvmon
