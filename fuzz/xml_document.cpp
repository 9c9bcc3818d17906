// The XML documents and the event log of a hostile recorder.
#include <cstdint>
#include <cstdlib>

#include "server/documents/nvr_event.h"
#include "server/documents/xml_doc.h"

using namespace kvmon;

namespace {

void Check(bool holds) {
    if (!holds) {
        std::abort();
    }
}

// Visits every element once, by the cursor alone.
std::size_t Walk(CXmlDoc& doc, std::size_t size) {
    std::size_t count = 0;
    std::size_t bytes = 0;
    int depth = 0;
    for (;;) {
        if (doc.FindChildElem()) {
            ++count;
            bytes += doc.GetChildData().size();
            Check(doc.IntoElem());
            Check(++depth <= CXmlDoc::kMaxDepth);
        } else if (depth > 0) {
            Check(doc.OutOfElem());
            --depth;
        } else {
            Check(bytes <= size);
            return count;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    CXmlDoc doc;
    if (doc.SetDoc(text)) {
        Check(doc.IsWellFormed() && doc.GetError().empty());
        Check(Walk(doc, size) <= size / 4);
    } else {
        Check(!doc.IsWellFormed() && !doc.FindElem() && !doc.FindChildElem());
    }
    EventLogParser parser("server", {});
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1);
        parser.AddLine(std::string_view(text).substr(at, end - at + 1));
        at = end + 1;
    }
    const CNvrEventList list = parser.TakeEvents();
    Check(list.size() <= kMaxEvents);
    for (std::size_t i = 1; i < list.size(); ++i) {
        Check(list[i - 1].m_Time >= list[i].m_Time && list[i].m_nLevel != kEventDebug);
    }
    return 0;
}
