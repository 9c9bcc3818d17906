#include "pages/roff.h"

#include <istream>
#include <ostream>

#include "host/exit_status.h"

namespace kvpages {
namespace {

constexpr const char* kVersion = "@VERSION@";

void PrintOptions(const std::vector<OptionRow>& rows, std::ostream& out) {
    for (const OptionRow& row : rows) {
        out << ".TP\n\\fB" << Escaped(row.name) << "\\fR";
        if (!row.value.empty()) {
            out << " \\fI" << Escaped(row.value) << "\\fR";
        }
        if (!row.shortName.empty()) {
            out << ", \\fB" << Escaped(row.shortName) << "\\fR";
        }
        out << '\n' << Escaped(row.about) << ".\n";
        if (!row.fallback.empty()) {
            out << "Default: " << Escaped(row.fallback) << ".\n";
        }
    }
}

void PrintExits(std::ostream& out) {
    for (const kvhost::ExitWords& exit : kvhost::kExitWords) {
        out << ".TP\n\\fB" << exit.status << "\\fR\n" << Escaped(exit.words) << '\n';
    }
}

void PrintExample(std::istream& example, std::ostream& out) {
    out << ".nf\n";
    for (std::string line; std::getline(example, line);) {
        out << Escaped(line) << '\n';
    }
    out << ".fi\n";
}

}  // namespace

std::string Escaped(const std::string& text) {
    std::string escaped;
    // A line that begins so is a request.
    if (!text.empty() && (text.front() == '.' || text.front() == '\'')) {
        escaped = "\\&";
    }
    for (const char c : text) {
        switch (c) {
            case '\\':
                escaped += "\\e";
                break;
            case '-':
                escaped += "\\-";
                break;
            case '~':
                escaped += "\\(ti";
                break;
            case '^':
                escaped += "\\(ha";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

void PrintPage(std::istream& page, const std::vector<OptionRow>& rows, const std::string& version,
               std::istream& example, std::ostream& out) {
    for (std::string line; std::getline(page, line);) {
        if (line == "@OPTIONS@") {
            PrintOptions(rows, out);
        } else if (line == "@EXITS@") {
            PrintExits(out);
        } else if (line == "@EXAMPLE@") {
            PrintExample(example, out);
        } else {
            if (const std::size_t at = line.find(kVersion); at != std::string::npos) {
                line.replace(at, std::string(kVersion).size(), version);
            }
            out << line << '\n';
        }
    }
}

}  // namespace kvpages
