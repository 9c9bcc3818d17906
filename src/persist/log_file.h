// The trace: every debug line of the program goes through one CLogFile.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace kvmon {

// Writes each line to the debug output (standard error or the journal, when switched on by the
// environment variable KVMON_DEBUG, which 0 or nothing leaves off) and, once Open succeeded, to a file. Any
// thread. Logging never fails the caller and allocates nothing: a line that cannot be written to the file is
// dropped there.
class CLogFile {
public:
    explicit CLogFile(Clock& clock = SystemClock()) : m_clock(clock) {}
    ~CLogFile();

    // A line of at most 1024 UTF-16 units, stamped with the local time and a tab. The text brings its
    // own line end.
    [[gnu::format(printf, 2, 3)]] void Trace(const char* lpszFormat, ...);
    [[gnu::format(printf, 2, 0)]] void TraceV(const char* lpszFormat, std::va_list args);
    // A text as it stands: to the debug output if bDebugOut, and to the file if it is open.
    void TraceRaw(bool bDebugOut, std::string_view text);
    // Makes the file anew and shuts other writers out. False if that failed.
    bool Open(const std::string& path);
    bool IsOpen() const;

private:
    void WriteToFile(std::string_view line);

    Clock& m_clock;
    mutable std::mutex m_cs;
    std::FILE* m_pFile = nullptr;
    bool m_bFileOpen = false;
    std::int64_t m_nFirstLineLength = 0;
};

// The program's one trace.
CLogFile& LogFile();

// Shorthand for LogFile().Trace.
[[gnu::format(printf, 1, 2)]] void Trace(const char* lpszFormat, ...);

}  // namespace kvmon
