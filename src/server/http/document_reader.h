// Reading one document of the recorder's, line by line.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "server/documents/server_documents.h"
#include "server/http/query_context.h"

namespace kvmon {

inline constexpr std::size_t kMaxShortRequest = 639;
inline constexpr std::size_t kMaxRequest = 1023;
// Bytes of a header, and of other text that nobody needs.
inline constexpr std::size_t kMaxSkipped = 65536;

// One request and its reply. Lines that never end come in pieces of the buffer's size, and headers that
// never end fail.
class DocumentReader {
public:
    explicit DocumentReader(QueryContext& query) : m_clock(query.GetClock()), m_tran(query) {}

    bool Create() { return m_tran.Create(); }
    // These two spend what is left in `budget`.
    bool Connect(const ConnectInfo& connect) {
        return m_tran.Connect(connect.szHost.c_str(), connect.nPort, &budget);
    }
    bool Send(std::string_view request) { return m_tran.Send(request, &budget); }

    // Reads a line into Line(), which is empty on failure. With a number the budget is set to it first. False
    // also for an empty line.
    bool ReadLine(std::optional<std::uint32_t> newBudget = std::nullopt);
    // Reads lines up to and including a blank one, 3000 each; false if none came.
    bool SkipHeader();
    // What comes to the peer's end, `most` bytes of it, a stall of `newBudget` or the end of a minute.
    std::string ReadRest(std::size_t most, std::uint32_t newBudget);
    // Reads and parses the status line; false if none came. A line that cannot be parsed gives 0.
    bool ReadStatus(int* pnStatus);
    // With its LF, up to the first NUL.
    std::string_view Line() const { return CText({m_line.data(), m_length}); }
    // True once the lines read so far hold more than anybody needs before the data.
    bool ReadTooMuch() const { return m_read > kMaxSkipped; }
    // One of the lines read so far said so.
    bool IsOwnRecorder() const { return m_bOwnRecorder; }
    bool Holds(std::string_view text) const { return Line().find(text) != std::string_view::npos; }

    std::uint32_t SocketError() const { return m_tran.GetSocketError(); }

    std::uint32_t budget = 0;

private:
    Clock& m_clock;
    ServerTran m_tran;
    std::size_t m_length = 0;
    std::size_t m_read = 0;
    bool m_bOwnRecorder = false;
    // Twice the line length: an address of a picture may come scrambled to eight times its length.
    std::array<char, 2 * kDocumentLine> m_line;
};

}  // namespace kvmon
