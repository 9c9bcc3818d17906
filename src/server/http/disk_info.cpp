#include "server/http/disk_info.h"

#include <algorithm>

#include "persist/log_file.h"
#include "platform/outside_text.h"
#include "platform/text.h"
#include "server/documents/document_errors.h"
#include "server/http/document_reader.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kDiskLineMs = 3000;
constexpr std::uint32_t kNameMs = 1000;
// Then the others are not waited for: with many channels that takes minutes.
constexpr int kMostMissing = 3;
constexpr std::size_t kMaxName = 1024;  // UTF-16 units

// What the list of channels found wrong before stands.
void NoteIfGood(QueryContext& query, LinkFault fault, int nStatus = 0) {
    if (query.GetFailure().fault == LinkFault::None) {
        query.NoteFailure(fault, nStatus);
    }
}

DiskInfoError OpenDiskInfo(QueryContext& query, DocumentReader& reader, int* pnStatus) {
    const ConnectInfo connect = query.GetConnectInfo();
    const std::string request = FormatText(
        "GET %s/z_status.cgi?user=%s HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\n"
        "Connection:Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
        query.CgiRoot().c_str(), connect.szUser.c_str(), connect.szHost.c_str(),
        connect.szBase64Auth.c_str());
    if (request.size() > kMaxRequest) {
        return DiskInfoError::RequestTooLong;
    }
    if (!reader.Create()) {
        return DiskInfoError::Create;
    }
    reader.budget = 13000;
    if (!reader.Connect(connect)) {
        NoteIfGood(query, FaultOfConnect(reader.SocketError()));
        return DiskInfoError::Connect;
    }
    // Whatever the status is, the body is read.
    const bool bSent = reader.Send(request);
    if (!bSent || !reader.ReadStatus(pnStatus)) {
        NoteIfGood(query, LinkFault::TimedOut);
        return bSent ? DiskInfoError::StatusLine : DiskInfoError::Send;
    }
    return DiskInfoError::None;
}

// Goes to the first line behind the blank ones. If the reads end before, Line() is what came last.
void FindDiskLine(DocumentReader& reader) {
    bool blankSeen = false;
    while (!reader.ReadTooMuch() && reader.ReadLine(kDiskLineMs)) {
        const bool blank = IsBlankLine(reader.Line());
        if (blankSeen && !blank) {
            return;
        }
        blankSeen = blankSeen || blank;
    }
}

void TraceLine(const QueryContext& query, const char* name, std::string_view line) {
    Trace("CKelvaraInfo::GetNvrDiskInfo: m_nIdx=%d, lpszRecvBuf(%s)=", query.GetIdx(), name);
    LogFile().TraceRaw(true, line);
}

void ReadNames(const QueryContext& query, DocumentReader& reader, CNvrStatus& status) {
    auto& list = status.m_VideoSettingList;
    const std::size_t count = std::min(list.size(), static_cast<std::size_t>(status.m_nChannelCount));
    int missing = 0;
    for (std::size_t channel = 0; channel < count && !query.IsStopped(); ++channel) {
        // A name that does not come stays empty.
        const bool bCame = missing < kMostMissing && reader.ReadLine(kNameMs);
        missing += bCame ? 0 : 1;
        const std::string name = bCame ? OutsideLine(TrimRight(reader.Line(), "\n")) : std::string();
        list[channel].m_strChannelName = Utf16Left(name, kMaxName);
    }
}

DiskInfoError ReadDiskInfo(QueryContext& query, CNvrStatus& status) {
    DocumentReader reader(query);
    int http = 0;
    if (const DiskInfoError error = OpenDiskInfo(query, reader, &http); error != DiskInfoError::None) {
        return error;
    }
    FindDiskLine(reader);
    TraceLine(query, "Disk", reader.Line());
    ParseDiskLine(reader.Line(), status);
    const auto noteUnreadable = [&] {
        if (http == 404) {
            return;  // the list tells, when neither root has it
        }
        const bool bRefused = http >= 100 && http != 200;
        NoteIfGood(query, bRefused ? LinkFault::Status : LinkFault::NotARecorder, bRefused ? http : 0);
    };
    if (!reader.ReadLine()) {
        noteUnreadable();
        return DiskInfoError::RecordingLine;
    }
    TraceLine(query, "Recording", reader.Line());
    const RecordingLine result = ParseRecordingLine(reader.Line(), status);
    if (result != RecordingLine::Good) {
        noteUnreadable();
        return static_cast<DiskInfoError>(result);
    }
    ReadNames(query, reader, status);
    // Names that a stop cut off must not be published.
    return query.IsStopped() ? DiskInfoError::RecordingLine : DiskInfoError::None;
}

}  // namespace

bool GetNvrDiskInfo(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode) {
    const DiskInfoError error = ReadDiskInfo(query, status);
    *pdwErrorCode = static_cast<std::uint32_t>(error);
    if (error != DiskInfoError::None) {
        Trace("CKelvaraInfo::GetNvrDiskInfo: m_nIdx=%d, %s...\n", query.GetIdx(), ErrorText(error));
    }
    return error == DiskInfoError::None;
}

}  // namespace kvmon
