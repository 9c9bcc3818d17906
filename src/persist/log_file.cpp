#include "persist/log_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "platform/diagnostics.h"
#include "platform/outside_text.h"
#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxLine = 1024;
// Room for that many UTF-16 units and the stamp; what is cut off here is beyond the line's end.
constexpr std::size_t kLineBytes = 4096;
constexpr std::int64_t kMaxLog = 0xA00000;

bool DebugOutputOn() {
    static const bool on = [] {
        const char* const value = std::getenv("KVMON_DEBUG");
        return value != nullptr && *value != '\0' && std::string_view(value) != "0";
    }();
    return on;
}

void WriteDebugOutput(std::string_view text) {
    if (DebugOutputOn()) {
        std::fwrite(text.data(), 1, text.size(), stderr);
    }
}

// Gives the length.
std::size_t Stamp(Clock& clock, char* text, std::size_t size) {
    const std::time_t now = std::chrono::system_clock::to_time_t(clock.Now());
    std::tm local{};
    localtime_r(&now, &local);
    return std::strftime(text, size, "%Y-%m-%d %H:%M:%S\t", &local);
}

}  // namespace

CLogFile::~CLogFile() {
    if (m_pFile != nullptr) {
        std::fclose(m_pFile);
    }
}

void CLogFile::Trace(const char* lpszFormat, ...) {
    std::va_list args;
    va_start(args, lpszFormat);
    TraceV(lpszFormat, args);
    va_end(args);
}

void CLogFile::TraceV(const char* lpszFormat, std::va_list args) {
    // Lines tell of a lack of memory, too: all of this stays on the stack.
    char buffer[kLineBytes];
    const std::size_t stamp = Stamp(m_clock, buffer, sizeof buffer);
    const int length = std::vsnprintf(buffer + stamp, sizeof buffer - stamp, lpszFormat, args);
    // What recorders and pages told stands in it as it came.
    const std::string_view text(buffer + stamp, length > 0 ? std::strlen(buffer + stamp) : 0);
    BlankHiddenSigns(buffer + stamp, text.size());
    const std::string_view line(buffer, stamp + Utf16Prefix(text, kMaxLine).size());
    const std::lock_guard lock(m_cs);
    WriteDebugOutput(line);
    if (m_bFileOpen) {
        WriteToFile(line);
    }
}

void CLogFile::TraceRaw(bool bDebugOut, std::string_view raw) {
    const std::string text = OutsideText(raw);
    const std::lock_guard lock(m_cs);
    if (bDebugOut) {
        WriteDebugOutput(text);
    }
    if (m_bFileOpen) {
        std::fwrite(text.data(), 1, text.size(), m_pFile);
    }
}

bool CLogFile::Open(const std::string& path) {
    const std::lock_guard lock(m_cs);
    if (m_pFile != nullptr) {
        std::fclose(m_pFile);
        m_pFile = nullptr;
    }
    m_bFileOpen = false;
    m_nFirstLineLength = 0;
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        return false;
    }
    // Another writer keeps its file: it is emptied only behind the lock.
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0 || ::ftruncate(fd, 0) != 0) {
        ::close(fd);
        return false;
    }
    m_pFile = ::fdopen(fd, "w");
    m_bFileOpen = m_pFile != nullptr;
    if (!m_bFileOpen) {
        ::close(fd);
        return false;
    }
    // Unbuffered: a line that the disk refuses is gone, and does not come back in front of a later one.
    std::setvbuf(m_pFile, nullptr, _IONBF, 0);
    return true;
}

bool CLogFile::IsOpen() const {
    const std::lock_guard lock(m_cs);
    return m_bFileOpen;
}

void CLogFile::WriteToFile(std::string_view line) {
    const int fd = ::fileno(m_pFile);
    struct stat status {};
    if (::fstat(fd, &status) == 0 && status.st_size > kMaxLog && ::ftruncate(fd, m_nFirstLineLength) == 0) {
        std::fseek(m_pFile, 0, SEEK_END);
    }
    if (m_nFirstLineLength == 0) {
        m_nFirstLineLength = static_cast<std::int64_t>(line.size());
    }
    std::fwrite(line.data(), 1, line.size(), m_pFile);
}

CLogFile& LogFile() {
    // Never destroyed: abandoned threads may still trace. On no heap: the first line may be about want of
    // memory.
    alignas(CLogFile) static std::array<std::byte, sizeof(CLogFile)> place;
    static CLogFile* const log = [] {
        auto* const made = new (place.data()) CLogFile;
        SetDiagnosticSink([](const char* text) { LogFile().Trace("%s", text); });
        return made;
    }();
    return *log;
}

void Trace(const char* lpszFormat, ...) {
    std::va_list args;
    va_start(args, lpszFormat);
    LogFile().TraceV(lpszFormat, args);
    va_end(args);
}

}  // namespace kvmon
