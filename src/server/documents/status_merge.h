// What differs between two states of a recorder.
#pragma once

#include "server/documents/nvr_status.h"

namespace kvmon {

// Channels from here on are published, but a change in their status words is not seen.
inline constexpr std::size_t kComparedChannels = 40;

bool IdentityDiffers(const CNvrStatus& a, const CNvrStatus& b);
// The lists' lengths, or what one of their channels is; not its status words, nor its audio values.
bool ChannelListDiffers(const CNvrStatus& a, const CNvrStatus& b);
bool DiskDiffers(const CNvrStatus& a, const CNvrStatus& b);
// The words of `masks`, for lists of one length.
bool StatusDiffers(const CNvrStatus& a, const CNvrStatus& b, std::uint32_t masks);
bool AudioDiffers(const CNvrStatus& a, const CNvrStatus& b);

void CopyIdentity(const CNvrStatus& from, CNvrStatus& to);
// What ChannelListDiffers compares.
void CopyChannelList(const CNvrStatus& from, CNvrStatus& to);
void CopyDisk(const CNvrStatus& from, CNvrStatus& to);
void CopyStatus(const CNvrStatus& from, CNvrStatus& to, std::uint32_t masks);
void CopyAudio(const CNvrStatus& from, CNvrStatus& to);

}  // namespace kvmon
