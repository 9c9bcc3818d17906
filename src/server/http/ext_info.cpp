#include "server/http/ext_info.h"

#include <algorithm>

#include "persist/log_file.h"
#include "server/documents/document_errors.h"
#include "server/documents/wire_number.h"
#include "server/http/document_reader.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kExtStepMs = 13000;
constexpr std::uint32_t kChannelLineMs = 30000;
constexpr std::uint32_t kEndMs = 3000;
constexpr std::string_view kChannelNumber = "channel number=";
constexpr std::size_t kLinesColumn = 17;
// There are seven keys.
constexpr std::int32_t kMaxLines = 256;

ExtInfoError OpenExtInfo(QueryContext& query, DocumentReader& reader) {
    const ConnectInfo connect = query.GetConnectInfo();
    const std::string request = FormatText(
        "GET %s/get_ext_info.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\n"
        "Connection:Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
        query.CgiRoot().c_str(), connect.szHost.c_str(), connect.szBase64Auth.c_str());
    if (request.size() > kMaxRequest) {
        return ExtInfoError::RequestTooLong;
    }
    if (!reader.Create()) {
        return ExtInfoError::Create;
    }
    reader.budget = kExtStepMs;
    if (!reader.Connect(connect)) {
        return ExtInfoError::Connect;
    }
    if (!reader.Send(request)) {
        return ExtInfoError::Send;
    }
    int status = 0;
    if (!reader.ReadStatus(&status)) {
        return ExtInfoError::StatusLine;
    }
    return status == 200 ? ExtInfoError::None : ExtInfoError::BadStatus;
}

// The lines before the records.
ExtInfoError ReadPreface(QueryContext& query, DocumentReader& reader, std::int32_t* pnLines,
                         bool* pbHeaderFailed) {
    if (!reader.ReadLine()) {
        return ExtInfoError::FirstLine;
    }
    if (!reader.Holds(kChannelNumber)) {
        const bool found = IsBlankLine(reader.Line()) || reader.SkipHeader();
        if (!found || !reader.ReadLine()) {
            Trace("CKelvaraInfo::GetExtInfo: m_nIdx=%d, Bypass http header failed...\n", query.GetIdx());
            *pbHeaderFailed = true;
            return ExtInfoError::None;
        }
    }
    if (!reader.ReadLine(kExtStepMs)) {
        return ExtInfoError::SecondLine;
    }
    const std::string_view line = reader.Line();
    *pnLines = WireInt(line.substr(std::min(kLinesColumn, line.size())));
    if (*pnLines > kMaxLines) {
        return ExtInfoError::SecondLine;
    }
    if (!reader.ReadLine()) {
        return ExtInfoError::ThirdLine;
    }
    return reader.Holds(kRecordsBegin) ? ExtInfoError::None : ExtInfoError::StartMarker;
}

ExtInfoError ReadChannel(DocumentReader& reader, std::int32_t nLines, CVideoSetting& setting) {
    std::array<char, kDocumentLine> decoded;
    for (std::int32_t i = 0; i < nLines; ++i) {
        if (!reader.ReadLine(kChannelLineMs)) {
            return ExtInfoError::ChannelRead;
        }
        if (reader.Holds(kRecordsEnd)) {
            return ExtInfoError::EndMarkerEarly;
        }
        if (DecodeHexLine(reader.Line(), decoded) != 0) {
            return ExtInfoError::ScrambledLine;
        }
        ApplyExtLine({decoded.data(), decoded.size()}, setting);
    }
    return ExtInfoError::None;
}

ExtInfoError ReadExtInfo(QueryContext& query, CNvrStatus& status, bool* pbHeaderFailed) {
    DocumentReader reader(query);
    std::int32_t nLines = 0;
    ExtInfoError error = OpenExtInfo(query, reader);
    if (error == ExtInfoError::None) {
        error = ReadPreface(query, reader, &nLines, pbHeaderFailed);
    }
    if (error != ExtInfoError::None || *pbHeaderFailed) {
        return error;
    }
    // The channels are those that get_init_info.cgi has left; with none the end follows at once.
    for (CVideoSetting& setting : status.m_VideoSettingList) {
        error = ReadChannel(reader, nLines, setting);
        if (error != ExtInfoError::None) {
            return error;
        }
    }
    if (!reader.ReadLine(kEndMs)) {
        return ExtInfoError::EndRead;
    }
    return reader.Holds(kRecordsEnd) ? ExtInfoError::None : ExtInfoError::EndMarker;
}

}  // namespace

bool GetExtInfo(QueryContext& query, CNvrStatus& status, std::uint32_t* pdwErrorCode) {
    bool headerFailed = false;
    const ExtInfoError error = ReadExtInfo(query, status, &headerFailed);
    if (headerFailed) {
        return false;  // the code stays as the caller had it
    }
    *pdwErrorCode = static_cast<std::uint32_t>(error);
    if (error != ExtInfoError::None) {
        Trace("CKelvaraInfo::GetExtInfo: m_nIdx=%d, %s...\n", query.GetIdx(), ErrorText(error));
    }
    return error == ExtInfoError::None;
}

}  // namespace kvmon
