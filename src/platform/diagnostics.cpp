#include "platform/diagnostics.h"

#include <atomic>
#include <cstdarg>

#include "platform/text.h"

namespace kvmon {

namespace {
std::atomic<DiagnosticSink> currentSink{nullptr};
}

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
    const std::string text = FormatTextV(format, args);
    va_end(args);
    sink(text.c_str());
}

}  // namespace kvmon
