#include "pages/completions.h"

#include <ostream>

namespace kvpages {
namespace {

std::string Joined(const std::vector<std::string>& words) {
    std::string joined;
    for (const std::string& word : words) {
        joined += (joined.empty() ? "" : " ") + word;
    }
    return joined;
}

// Inside single quotes; `more` gets a stroke in front as well.
std::string Quoted(const std::string& text, const std::string& more = {}) {
    std::string quoted;
    for (const char c : text) {
        if (c == '\'') {
            quoted += "'\\''";
            continue;
        }
        if (more.find(c) != std::string::npos) {
            quoted += '\\';
        }
        quoted += c;
    }
    return "'" + quoted + "'";
}

std::string BashValues(const OptionRow& row) {
    if (!row.choices.empty()) {
        return "-W " + Quoted(Joined(row.choices));
    }
    return row.kind == ValueKind::File ? "-f" : row.kind == ValueKind::Folder ? "-d" : "";
}

std::string ZshValues(const OptionRow& row) {
    if (row.kind == ValueKind::None) {
        return {};
    }
    const std::string name = ":" + row.value + ":";
    if (!row.choices.empty()) {
        return name + "(" + Joined(row.choices) + ")";
    }
    return name + (row.kind == ValueKind::File     ? "_files"
                   : row.kind == ValueKind::Folder ? "_files -/"
                                                   : " ");
}

std::string FishValues(const OptionRow& row) {
    if (row.kind == ValueKind::None) {
        return " -f";
    }
    if (!row.choices.empty()) {
        return " -x -a " + Quoted(Joined(row.choices));
    }
    return row.kind == ValueKind::File     ? " -r -F"
           : row.kind == ValueKind::Folder ? " -x -a '(__fish_complete_directories)'"
                                           : " -x";
}

}  // namespace

void PrintBash(const std::string& program, const std::vector<OptionRow>& rows, std::ostream& out) {
    std::string names;
    out << "# bash completion of " << program << "\n_" << program << "() {\n"
        << "    local word=$2 before=$3\n    compopt -o filenames 2>/dev/null\n    case $before in\n";
    for (const OptionRow& row : rows) {
        names += (names.empty() ? "" : " ") + row.name;
        if (row.kind == ValueKind::None) {
            continue;
        }
        const std::string values = BashValues(row);
        out << "        " << row.name << ") ";
        if (values.empty()) {
            out << "COMPREPLY=()";
        } else {
            out << "mapfile -t COMPREPLY < <(compgen " << values << " -- \"$word\")";
        }
        out << "; return ;;\n";
    }
    out << "    esac\n    compopt +o filenames 2>/dev/null\n    mapfile -t COMPREPLY < <(compgen -W "
        << Quoted(names) << " -- \"$word\")\n}\ncomplete -F _" << program << ' ' << program << '\n';
}

void PrintZsh(const std::string& program, const std::vector<OptionRow>& rows, std::ostream& out) {
    out << "#compdef " << program << "\n_arguments";
    for (const OptionRow& row : rows) {
        // In a description a bracket ends it, in a name of a value a colon.
        std::string entry = row.repeated ? "*" : "";
        entry += row.name + (row.kind == ValueKind::None ? "" : "=");
        std::string about;
        for (const char c : row.about) {
            about += (c == '[' || c == ']' || c == ':') ? std::string("\\") + c : std::string(1, c);
        }
        OptionRow plain = row;
        for (std::size_t at = 0; (at = plain.value.find(':', at)) != std::string::npos; at += 2) {
            plain.value.insert(at, "\\");
        }
        out << " \\\n    " << Quoted(entry + "[" + about + "]" + ZshValues(plain));
    }
    out << '\n';
}

void PrintFish(const std::string& program, const std::vector<OptionRow>& rows, std::ostream& out) {
    out << "complete -c " << program << " -f\n";
    for (const OptionRow& row : rows) {
        out << "complete -c " << program << " -l " << row.name.substr(2);
        if (!row.shortName.empty()) {
            out << " -s " << row.shortName.substr(1);
        }
        out << FishValues(row) << " -d " << Quoted(row.about, "\\") << '\n';
    }
}

}  // namespace kvpages
