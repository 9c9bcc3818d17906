#include "server/document_reader.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kHeaderLineMs = 3000;

}  // namespace

bool DocumentReader::ReadLine(std::optional<std::uint32_t> newBudget) {
    budget = newBudget.value_or(budget);
    m_length = m_line.size();
    if (!m_tran.ReadLine(m_line.data(), &m_length, &budget)) {
        m_length = 0;
    }
    m_read += m_length;
    return !Line().empty();
}

bool DocumentReader::SkipHeader() {
    while (!ReadTooMuch() && ReadLine(kHeaderLineMs)) {
        if (IsBlankLine(Line())) {
            return true;
        }
    }
    return false;
}

bool DocumentReader::ReadStatus(int* pnStatus) {
    if (!ReadLine()) {
        return false;
    }
    HTTP_RESULT http_result;
    CHttpTran::ParseHttpHeader(Line(), &http_result);
    *pnStatus = http_result.nStatus;
    return true;
}

}  // namespace kvmon
