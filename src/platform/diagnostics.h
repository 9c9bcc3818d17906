// Lines for the trace from code that stands below it.
#pragma once

namespace kvmon {

using DiagnosticSink = void (*)(const char* text);

// Where Diagnose sends its lines; null (the start value) drops them. Any thread.
void SetDiagnosticSink(DiagnosticSink sink);

[[gnu::format(printf, 1, 2)]] void Diagnose(const char* format, ...);

}  // namespace kvmon
