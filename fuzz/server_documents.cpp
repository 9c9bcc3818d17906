// The lines of a recorder's documents, as a hostile recorder may send them.
#include <array>
#include <cstdint>
#include <cstdlib>

#include "server/documents/server_documents.h"

using namespace kvmon;

namespace {

void Check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void ReadDecoded(std::string_view line) {
    std::array<char, kDocumentLine> decoded;
    if (DecodeHexLine(line, decoded) != 0) {
        return;
    }
    CVideoSetting setting;
    ApplyExtLine({decoded.data(), decoded.size()}, setting);
    Check(setting.m_lpszVideoURL.Length() < 256);
    Check(ParseChannelAccountLine(decoded).szUser.Length() <= 32);
    Check(ParseChannelAddressLine({decoded.data(), decoded.size()}).nIndex < kMaxChannels);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line(data, data + size);
    ReadDecoded(line);
    ParseChannelAddressLine(line);
    ParseChannelAccountLine(line);
    ParseDateTime(line);
    ValueOfLine(line, "server name=");

    CNvrStatus status;
    status.m_VideoSettingList.resize(size % 50);
    ParseDiskLine(line, status);
    ParseRecordingLine(line, status);
    Check(status.m_nChannelCount >= 0 && status.m_nChannelCount < kMaxChannels);
    Check(status.m_VideoSettingList.size() == size % 50);
    return 0;
}
