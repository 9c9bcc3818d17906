// getmultistreaminfo.cgi and zcapabilities.cgi: the streams of each channel, and whether it takes sound.
#include "server/http/capability_reader.h"

#include <algorithm>

#include "persist/log_file.h"
#include "platform/outside_text.h"
#include "platform/text.h"
#include "server/documents/wire_number.h"
#include "server/documents/xml_doc.h"
#include "server/http/document_reader.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kConnectMs = 3000;
constexpr std::uint32_t kReplyMs = 13000;
constexpr std::uint32_t kBodyMs = 10000;
// A recorder of 128 channels with four streams each sends some 70 KB.
constexpr std::size_t kDocumentBytes = CXmlDoc::kMaxLength;
constexpr int kBodyTries = 3;
constexpr Milliseconds kBodyPause{500};
constexpr std::int32_t kPlainMjpg = 5;
// As text: "3.10.0" is older, too.
constexpr std::string_view kTalkVersion = "3.5.0";

struct FormatRow {
    std::string_view text;
    std::int32_t code;
    const char* name;
};
// In the order of the search.
constexpr FormatRow kFormats[] = {{"ZIVG", 1, "MJPG"}, {"ZMP4", 2, "MPG4"}, {"ZV3K", 3, "MPG4"},
                                  {"ZV6K", 4, "MPG4"}, {"MPG4", 6, "MPG4"}, {"H264", 7, "H264"},
                                  {"Z264", 8, "H264"}, {"Z265", 9, "H265"}, {"MJPG", 5, "MJPG"}};

// What `from` has read, as text of the document.
std::string DocumentText(const std::string& from) {
    return OutsideText(CText(from));
}

// Into the element of that name, out of it at the end of life.
class Entered {
public:
    Entered(CXmlDoc& doc, const std::string& name) : m_doc(doc) {
        m_bFound = doc.FindChildElem(name) && doc.IntoElem();
    }
    ~Entered() {
        if (m_bFound) {
            m_doc.OutOfElem();
        }
    }
    Entered(const Entered&) = delete;
    Entered& operator=(const Entered&) = delete;
    explicit operator bool() const { return m_bFound; }

private:
    CXmlDoc& m_doc;
    bool m_bFound;
};

std::optional<std::int32_t> ChildNumber(CXmlDoc& doc, std::string_view name) {
    return doc.FindChildElem(name) ? std::optional(WireInt(doc.GetChildData())) : std::nullopt;
}

CStreamEntry ReadStream(CXmlDoc& doc) {
    CStreamEntry entry;
    entry.m_nId = ChildNumber(doc, "id").value_or(entry.m_nId);
    if (doc.FindChildElem("fcc")) {
        entry.m_nFormat = StreamFormatFromText(doc.GetChildData());
    }
    if (const auto resolution = ChildNumber(doc, "resolution")) {
        entry.m_nResolution = std::max(*resolution, 1) - 1;
    }
    return entry;
}

void ReadStreams(CXmlDoc& doc, CStreamInfo& streams) {
    streams.clear();
    const std::int32_t count = std::clamp(ChildNumber(doc, "stream_no").value_or(0), 0, kMaxStreams);
    streams.resize(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i) {
        const Entered element(doc, "stream" + std::to_string(i));
        if (!element) {
            continue;
        }
        const CStreamEntry entry = ReadStream(doc);
        if (entry.IsValid() && entry.m_nId == i) {
            streams[static_cast<std::size_t>(i)] = entry;
        }
    }
    SortStreams(streams);
}

// The channels that both the count and the list have.
std::size_t ChannelCount(const CNvrStatus& status) {
    return std::min(status.m_VideoSettingList.size(),
                    static_cast<std::size_t>(std::max(status.m_nChannelCount, 0)));
}

}  // namespace

std::int32_t StreamFormatFromText(std::string_view fcc) {
    const auto row = std::find_if(std::begin(kFormats), std::end(kFormats), [fcc](const FormatRow& format) {
        return fcc.find(format.text) != std::string_view::npos;
    });
    return row != std::end(kFormats) ? row->code : 0;
}

const char* StreamFormatName(std::int32_t nFormat) {
    const auto row = std::find_if(std::begin(kFormats), std::end(kFormats),
                                  [nFormat](const FormatRow& format) { return format.code == nFormat; });
    return row != std::end(kFormats) ? row->name : "";
}

void SortStreams(CStreamInfo& streams) {
    for (std::size_t i = 0; i < streams.size(); ++i) {
        std::size_t best = i;
        for (std::size_t later = i + 1; later < streams.size(); ++later) {
            const bool bSmaller = streams[later].m_nResolution < streams[best].m_nResolution;
            const bool bReplaces = streams[later].m_nResolution == streams[best].m_nResolution &&
                                   streams[best].m_nFormat != kPlainMjpg;
            if (bSmaller || bReplaces) {
                best = later;
            }
        }
        std::swap(streams[i], streams[best]);
    }
}

CapabilityReader::CapabilityReader(QueryContext& query)
    : m_query(query), m_bCgiRootEmpty(query.CgiRoot().empty()) {}

void CapabilityReader::TraceStep(const char* lpszMethod, const std::string& text) const {
    Trace("CKelvaraInfo::%s: %s, m_nIdx=%d, m_dwErrorCount=%d...\n", lpszMethod, text.c_str(),
          m_query.GetIdx(), static_cast<int>(m_query.ErrorCount()));
}

// Up to the status, which is 0 if the recorder did not say any. True for 200.
bool CapabilityReader::Open(DocumentReader& reader, const char* lpszMethod, const std::string& request) {
    m_bUnanswered = true;
    m_nStatus = 0;
    const auto fail = [&](const char* lpszStep) {
        TraceStep(lpszMethod, lpszStep);
        return false;
    };
    if (!reader.Create()) {
        return fail("HttpTran.Create failed");
    }
    reader.budget = kConnectMs;
    if (!reader.Connect(m_query.GetConnectInfo())) {
        return fail("HttpTran.Connect failed");
    }
    reader.budget = kReplyMs;
    if (!reader.Send(request)) {
        return fail("HttpTran.Send failed");
    }
    if (!reader.ReadStatus(&m_nStatus)) {
        return fail("read http header failed");
    }
    m_bUnanswered = false;
    if (m_nStatus != 200) {
        TraceStep(lpszMethod, FormatText("http_result.nStatus=%d", m_nStatus));
    }
    return m_nStatus == 200;
}

bool CapabilityReader::GetStreamInfo(CNvrStatus& status) {
    constexpr char kMethod[] = "GetStreamInfo";
    const ConnectInfo connect = m_query.GetConnectInfo();
    const std::string request = FormatText(
        "GET %s/getmultistreaminfo.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s:%u\r\n"
        "Authorization: Basic %s\r\n\r\n",
        m_bCgiRootEmpty ? "" : "/cgi-bin", connect.szHost.c_str(), connect.nPort,
        connect.szBase64Auth.c_str());
    if (request.size() > kMaxShortRequest) {
        return false;
    }
    std::string body;
    {
        DocumentReader reader(m_query);
        if (!Open(reader, kMethod, request)) {
            m_bCgiRootEmpty = m_bCgiRootEmpty != IsNotFound();
            return true;
        }
        reader.SkipHeader();
        bool bFound = false;
        for (int i = 0; i < kBodyTries && !bFound && !m_query.IsStopped(); ++i) {
            body = reader.ReadRest(kDocumentBytes, kBodyMs);
            bFound = body.find('<') != std::string::npos;
            if (!bFound) {
                m_query.GetClock().Sleep(kBodyPause);
            }
        }
        if (!bFound) {
            TraceStep(kMethod, "recieve xml failed");
            return false;
        }
    }
    CXmlDoc doc;
    if (!doc.SetDoc(DocumentText(body))) {
        TraceStep(kMethod, "parse xml failed");
        return false;
    }
    if (doc.FindChildElem("return") && WireInt(doc.GetChildData()) != 0) {
        TraceStep(kMethod, "wrong xml format");
        return false;
    }
    for (std::size_t i = 0; i < ChannelCount(status) && !m_query.IsStopped(); ++i) {
        if (const Entered channel(doc, "ch" + std::to_string(i)); channel) {
            ReadStreams(doc, status.m_VideoSettingList[i].m_StreamInfo);
        }
    }
    return true;
}

bool CapabilityReader::GetTalking(CNvrStatus& status) {
    constexpr char kMethod[] = "GetTalking";
    m_bUnanswered = false;
    if (status.strServerVersion < kTalkVersion) {
        return true;
    }
    const ConnectInfo connect = m_query.GetConnectInfo();
    // Recorders have always been asked with two blanks before the version.
    const std::string request = FormatText(
        "GET /cgi-bin/zcapabilities.cgi?group=Camera  HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s:%u\r\n"
        "Authorization: Basic %s\r\n\r\n",
        connect.szHost.c_str(), connect.nPort, connect.szBase64Auth.c_str());
    if (request.size() > kMaxShortRequest) {
        return false;
    }
    std::string body;
    {
        DocumentReader reader(m_query);
        if (!Open(reader, kMethod, request)) {
            return false;
        }
        reader.SkipHeader();
        body = reader.ReadRest(kDocumentBytes, kBodyMs);
        if (body.empty()) {
            TraceStep(kMethod, "recieve xml failed");
            return false;
        }
    }
    CXmlDoc doc;
    if (!doc.SetDoc(DocumentText(body)) || !doc.FindChildElem("return")) {
        TraceStep(kMethod, "parse xml failed");
        return false;
    }
    if (WireInt(doc.GetChildData()) != 0) {
        TraceStep(kMethod, "wrong xml format");
        return false;
    }
    for (std::size_t i = 0; i < ChannelCount(status) && !m_query.IsStopped(); ++i) {
        const Entered channel(doc, "ch" + std::to_string(i));
        if (!channel) {
            continue;
        }
        CVideoSetting& setting = status.m_VideoSettingList[i];
        const auto read = [&](const char* name, std::int32_t& value) {
            if (const auto number = ChildNumber(doc, name)) {
                value = *number;
                return;
            }
            Trace("CKelvaraInfo::GetTalking: wrong %s format, m_nIdx=%d, ch=%d, m_dwErrorCount=%d...\n", name,
                  m_query.GetIdx(), static_cast<int>(i), static_cast<int>(m_query.ErrorCount()));
        };
        read("audio_out", setting.m_nAudioOut);
        read("audio_out_type", setting.m_nAudioOutType);
    }
    return true;
}

}  // namespace kvmon
