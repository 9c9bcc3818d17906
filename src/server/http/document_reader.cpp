#include "server/http/document_reader.h"

#include <algorithm>

#include "platform/text.h"
#include "wire/own_recorder.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kHeaderLineMs = 3000;
constexpr std::uint64_t kRestMs = 60000;

}  // namespace

bool DocumentReader::ReadLine(std::optional<std::uint32_t> newBudget) {
    budget = newBudget.value_or(budget);
    m_length = m_line.size();
    if (!m_tran.ReadLine(m_line.data(), &m_length, &budget)) {
        m_length = 0;
    }
    m_read += m_length;
    m_bOwnRecorder = m_bOwnRecorder || TrimRight(Line(), "\r\n") == wire::kOwnRecorder;
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

std::string DocumentReader::ReadRest(std::size_t most, std::uint32_t newBudget) {
    std::string text;
    std::array<char, 16384> part;
    const std::uint64_t start = m_clock.TickMs();
    while (text.size() < most && m_clock.TickMs() - start < kRestMs) {
        budget = newBudget;
        const std::size_t got =
            m_tran.Receive(part.data(), std::min(part.size(), most - text.size()), &budget);
        if (got == 0) {
            break;
        }
        text.append(part.data(), got);
    }
    return text;
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
