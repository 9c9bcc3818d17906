// Lines for the trace from code that stands below it.
#pragma once

namespace kvmon {

using DiagnosticSink = void (*)(const char* text);

// Where Diagnose sends its lines; null (the start value) drops them. It may be called where there is no
// memory left, so it must not need any. Any thread.
void SetDiagnosticSink(DiagnosticSink sink);

// Allocates nothing; a line is cut at 1023 bytes.
[[gnu::format(printf, 1, 2)]] void Diagnose(const char* format, ...);

}  // namespace kvmon
