#include "platform/diagnostics.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace kvmon {

namespace {

std::atomic<DiagnosticSink> currentSink{nullptr};
constexpr std::size_t kMaxText = 1024;

}  // namespace

void SetDiagnosticSink(DiagnosticSink sink) {
    currentSink = sink;
}

void Diagnose(const char* format, ...) {
    const DiagnosticSink sink = currentSink;
    if (sink == nullptr) {
        return;
    }
    std::va_list args;
    va_start(args, format);
    char text[kMaxText];
    const int length = std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    if (length >= 0) {
        sink(text);
    }
}

}  // namespace kvmon
