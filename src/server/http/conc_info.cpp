#include "server/http/conc_info.h"

#include <algorithm>

#include "persist/log_file.h"
#include "platform/outside_text.h"
#include "platform/text.h"
#include "server/documents/document_errors.h"
#include "server/documents/wire_number.h"
#include "server/http/document_reader.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kConcLineMs = 30000;
constexpr int kPauseRounds = 10;
constexpr Milliseconds kPauseRound{100};

std::optional<std::string> DisplayValue(std::string_view line, std::string_view key) {
    auto value = ValueOfLine(line, key);
    return value ? std::optional(OutsideLine(*value)) : std::nullopt;
}

ConcInfoError ReadStatusLine(QueryContext& query, DocumentReader& reader) {
    int status = 0;
    reader.budget = kConcLineMs;
    if (!reader.ReadStatus(&status)) {
        query.NoteFailure(LinkFault::TimedOut);
        return ConcInfoError::StatusLine;
    }
    switch (status) {
        case 200:
            return ConcInfoError::None;
        case 404:
            query.NoteNotFound();
            return ConcInfoError::NotFound;
        case 401:
            query.NoteFailure(LinkFault::Credentials);
            return ConcInfoError::Unauthorized;
        default:
            if (status >= 100) {
                query.NoteFailure(LinkFault::Status, status);
            } else {
                query.NoteFailure(LinkFault::NotARecorder);
            }
            return ConcInfoError::BadStatus;
    }
}

ConcInfoError OpenConcInfo(QueryContext& query, DocumentReader& reader, const ConnectInfo& connect) {
    const std::string request = FormatText(
        "GET %s/get_init_info.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\n"
        "Connection: Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
        query.CgiRoot().c_str(), connect.szHost.c_str(), connect.szBase64Auth.c_str());
    if (request.size() > kMaxShortRequest) {
        return ConcInfoError::RequestTooLong;
    }
    if (!reader.Create()) {
        return ConcInfoError::Create;
    }
    reader.budget = 3000;
    if (!reader.Connect(connect)) {
        query.NoteFailure(FaultOfConnect(reader.SocketError()));
        return ConcInfoError::Connect;
    }
    reader.budget = 13000;
    if (!reader.Send(request)) {
        query.NoteFailure(LinkFault::TimedOut);
        return ConcInfoError::Send;
    }
    return ReadStatusLine(query, reader);
}

ConcInfoError ReadIdentity(QueryContext& query, DocumentReader& reader, CNvrStatus& status) {
    // Some recorders send header lines before the name, some none.
    constexpr std::string_view kNameKey = "server name=";
    if (!reader.ReadLine(kConcLineMs)) {
        return ConcInfoError::ServerName;
    }
    auto name = DisplayValue(reader.Line(), kNameKey);
    if (!name) {
        const bool found = IsBlankLine(reader.Line()) || reader.SkipHeader();
        if (!found || !reader.ReadLine()) {
            return ConcInfoError::ServerName;
        }
        name = DisplayValue(reader.Line(), kNameKey);
    }
    if (!name) {
        return ConcInfoError::ServerName;
    }
    status.m_strServerName = *name;
    status.bOwnRecorder = reader.IsOwnRecorder();
    const int index = query.GetIdx();
    Trace("CKelvaraInfo::GetNvrVsConcInfo: m_nIdx=%d, m_strServerName=%s\n", index, name->c_str());

    if (!reader.ReadLine(kConcLineMs)) {
        return ConcInfoError::VersionRead;
    }
    const auto version = DisplayValue(reader.Line(), "version=");
    if (!version) {
        return ConcInfoError::VersionKey;
    }
    status.strServerVersion = *version;
    Trace("CKelvaraInfo::GetNvrVsConcInfo: m_nIdx=%d, strServerVersion = %s\n", index, version->c_str());

    if (!reader.ReadLine(kConcLineMs)) {
        return ConcInfoError::BuildRead;
    }
    const auto build = DisplayValue(reader.Line(), "build=");
    if (!build) {
        return ConcInfoError::BuildKey;
    }
    status.strServerBuild = *build;
    Trace("CKelvaraInfo::GetNvrVsConcInfo: m_nIdx=%d, strServerBuild = %s\n", index, build->c_str());
    return ConcInfoError::None;
}

ConcInfoError ReadCount(QueryContext& query, DocumentReader& reader, std::int32_t* pnChannelNumber) {
    if (!reader.ReadLine(kConcLineMs)) {
        return ConcInfoError::ChannelNumberRead;
    }
    const auto number = ValueOfLine(reader.Line(), "channel number=");
    if (!number) {
        return ConcInfoError::ChannelNumberKey;
    }
    *pnChannelNumber = WireInt(*number);
    Trace("CKelvaraInfo::GetNvrVsConcInfo: m_nIdx=%d, nChannelNumber = %d\n", query.GetIdx(),
          *pnChannelNumber);
    if (!reader.ReadLine(kConcLineMs)) {
        return ConcInfoError::StartMarkerRead;
    }
    return reader.Holds(kRecordsBegin) ? ConcInfoError::None : ConcInfoError::StartMarker;
}

void StoreRecord(const ChannelAddressLine& address, const ChannelAccountLine& account,
                 const ConnectInfo& connect, CVideoSetting& setting) {
    setting.m_nCh = address.nIndex;
    setting.m_szCameraId = address.szCameraId;
    setting.m_dwVendorId = address.VendorId();
    setting.m_dwModelId = address.ModelId();
    setting.m_NetworkSetting[0].szAddress = address.szLanAddress;
    setting.m_NetworkSetting[1].szAddress = address.szWanAddress;
    setting.m_NetworkSetting[0].nPort = account.nLanPort;
    setting.m_NetworkSetting[1].nPort = account.nWanPort;
    setting.m_lpszCamUserName = account.szUser;
    setting.m_lpszCamPasswd = account.szPassword;
    setting.m_nSvrPort = connect.nPort;
    setting.m_lpszSvrIP = connect.szHost;
    setting.m_lpszSvrBase64Auth = connect.szBase64Auth;
    setting.m_lpszSvrUserName = connect.szUser;
    setting.m_lpszSvrPasswd = connect.szPassword;
    const bool configured = !address.szLanAddress.IsEmpty() || !address.szWanAddress.IsEmpty();
    setting.SetStatus(kStatusConfigured, configured ? 1 : 0);
}

bool ReadScrambled(DocumentReader& reader, std::span<char> decoded) {
    return reader.ReadLine(kConcLineMs) && !reader.Holds(kRecordsEnd) &&
           DecodeHexLine(reader.Line(), decoded) == 0;
}

// False at the first record that is missing or no record.
bool ReadRecord(DocumentReader& reader, const ConnectInfo& connect, std::vector<CVideoSetting>& list) {
    std::array<char, kDocumentLine> decoded;
    if (!ReadScrambled(reader, decoded)) {
        return false;
    }
    const auto address = ParseChannelAddressLine({decoded.data(), decoded.size()});
    if (!ReadScrambled(reader, decoded) || address.nIndex < 0 || address.nIndex >= kMaxChannels) {
        return false;
    }
    // The index, not the order, decides where a record goes.
    const auto index = static_cast<std::size_t>(address.nIndex);
    if (index >= list.size()) {
        list.resize(index + 1);
    }
    StoreRecord(address, ParseChannelAccountLine(decoded), connect, list[index]);
    return true;
}

ConcInfoError ReadConcInfo(QueryContext& query, CNvrStatus& status) {
    const ConnectInfo connect = query.GetConnectInfo();
    DocumentReader reader(query);
    std::int32_t channelNumber = 0;
    ConcInfoError error = OpenConcInfo(query, reader, connect);
    if (error != ConcInfoError::None) {
        return error;
    }
    error = ReadIdentity(query, reader, status);
    if (error == ConcInfoError::None) {
        error = ReadCount(query, reader, &channelNumber);
    }
    if (error != ConcInfoError::None) {
        query.NoteFailure(LinkFault::NotARecorder);
        return error;
    }
    for (int i = 0; i < kPauseRounds && !query.IsStopped(); ++i) {
        query.GetClock().Sleep(kPauseRound);
    }
    auto& list = status.m_VideoSettingList;
    // No more records than there are indexes, whatever number was told.
    const std::int32_t records = std::min(channelNumber, kMaxChannels);
    for (std::int32_t i = 0; i < records && !query.IsStopped(); ++i) {
        if (!ReadRecord(reader, connect, list)) {
            break;
        }
    }
    if (static_cast<std::int64_t>(list.size()) == channelNumber) {
        query.NoteFailure(LinkFault::None);
        return ConcInfoError::None;
    }
    query.NoteFailure(LinkFault::NotARecorder);
    Trace(
        "CKelvaraInfo::GetNvrVsConcInfo: m_nIdx=%d, m_dwErrorCount=%d, nChannelNumber=%d, "
        "m_VideoSettingList.GetSize()=%d...\n",
        query.GetIdx(), static_cast<int>(query.ErrorCount()), channelNumber, static_cast<int>(list.size()));
    list.clear();
    return ConcInfoError::RecordCount;
}

}  // namespace

bool GetNvrVsConcInfo(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode) {
    const ConcInfoError error = ReadConcInfo(query, status);
    *pdwErrorCode = static_cast<std::uint32_t>(error);
    if (error != ConcInfoError::None) {
        Trace("CKelvaraInfo::GetNvrVsConcInfo: m_nIdx=%d, %s...\n", query.GetIdx(), ErrorText(error));
    }
    return error == ConcInfoError::None;
}

}  // namespace kvmon
