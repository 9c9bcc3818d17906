// The two documents that tell what each channel of a recorder can do.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "server/documents/nvr_status.h"

namespace kvmon {

class DocumentReader;
class QueryContext;

// A wire number of streams beyond this is not believed.
inline constexpr std::int32_t kMaxStreams = 64;

// The code of a stream's format; 0 for one that is not known. The texts are looked for anywhere in "fcc".
std::int32_t StreamFormatFromText(std::string_view fcc);
// "MJPG", "MPG4", "H264", or empty.
const char* StreamFormatName(std::int32_t nFormat);

// Ascending by resolution. Of several entries of one resolution the last one comes first, unless a plain
// MJPG stream holds the place.
void SortStreams(CStreamInfo& streams);

// Asks a recorder for them. Most recorders lack one or both: a failure is never told, and leaves the values
// as they were. Blocking, for a thread of its own.
class CapabilityReader {
public:
    explicit CapabilityReader(QueryContext& query);

    // Each true if the document could be used, and also if the recorder cannot answer.
    bool GetStreamInfo(CNvrStatus& status);
    bool GetTalking(CNvrStatus& status);

    // The last query ended without an answer of any kind: it is worth another try.
    bool IsUnanswered() const { return m_bUnanswered; }
    // The last answer was 404.
    bool IsNotFound() const { return m_nStatus == 404; }

private:
    bool Open(DocumentReader& reader, const char* lpszMethod, const std::string& request);
    void TraceStep(const char* lpszMethod, const std::string& text) const;

    QueryContext& m_query;
    // Not the root of the other documents: a recorder that lacks these must not turn that one.
    bool m_bCgiRootEmpty;
    bool m_bUnanswered = false;
    int m_nStatus = 0;
};

}  // namespace kvmon
