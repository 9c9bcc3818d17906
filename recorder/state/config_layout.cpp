#include "state/config_layout.h"

#include <algorithm>

#include "state/recorder_config.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::string_view kChannels = "channels";

}  // namespace

ConfigLayout::ConfigLayout(const std::string& text) : m_text(text) {
    try {
        m_table = ReadToml(text);
    } catch (const TomlSlip& slip) {
        throw ConfigError(Fault(FaultCode::ConfigSlip, {{"line", slip.Line()}, {"reason", slip.what()}}));
    }
    m_lineEnd = text.find("\r\n") != std::string::npos ? "\r\n" : "\n";
    FindLines();
    FindBlocks();
}

TextSpan ConfigLayout::WithComments(int channel) const {
    TextSpan span = Block(channel);
    for (std::size_t line = LineAt(span.begin); line > 0 && IsComment(line - 1); --line) {
        span.begin = m_lines[line - 1];
    }
    return span;
}

std::size_t ConfigLayout::End() const {
    std::size_t line = m_lines.size() - 1;
    while (line > 0 && (IsComment(line - 1) || IsBlank(line - 1))) {
        --line;
    }
    while (line + 1 < m_lines.size() && IsBlank(line)) {
        ++line;
    }
    const bool marked = Trim(std::string_view(m_text).substr(LastLine())) == kEndMark;
    return marked ? m_lines[line] : m_text.size();
}

TextSpan ConfigLayout::PairOf(const toml::table& table, std::string_view key) const {
    const auto found = table.find(key);
    return {Offset(found->first.source().begin), Offset(found->second.source().end)};
}

std::size_t ConfigLayout::LineEnd(std::size_t offset) const {
    const std::size_t next = LineAt(offset) + 1;
    return next < m_lines.size() ? m_lines[next] : m_text.size();
}

void ConfigLayout::Check(int channel) const {
    if (channel < 0 || channel >= Count()) {
        throw ConfigError(Fault(FaultCode::ChannelNotInFile, {{"channel", channel}}));
    }
}

std::string_view ConfigLayout::Line(std::size_t line) const {
    const std::size_t end = line + 1 < m_lines.size() ? m_lines[line + 1] : m_text.size();
    return Trim(std::string_view(m_text).substr(m_lines[line], end - m_lines[line]));
}

std::size_t ConfigLayout::LineAt(std::size_t offset) const {
    return static_cast<std::size_t>(std::upper_bound(m_lines.begin(), m_lines.end(), offset) -
                                    m_lines.begin()) -
           1;
}

std::size_t ConfigLayout::LastLine() const {
    std::size_t line = m_lines.size() - 1;
    while (line > 0 && IsBlank(line)) {
        --line;
    }
    return m_lines[line];
}

// Columns count characters, of UTF-8.
std::size_t ConfigLayout::Offset(const toml::source_position& place) const {
    std::size_t at = m_lines[std::min<std::size_t>(place.line, m_lines.size()) - 1];
    if (at == 0 && m_text.starts_with("\xEF\xBB\xBF")) {
        at += 3;
    }
    for (toml::source_index column = 1; column < place.column && at < m_text.size(); ++column) {
        do {
            ++at;
        } while (at < m_text.size() && (static_cast<unsigned char>(m_text[at]) & 0xC0) == 0x80);
    }
    return at;
}

void ConfigLayout::FindLines() {
    m_lines = {0};
    for (std::size_t at = m_text.find('\n'); at != std::string::npos; at = m_text.find('\n', at + 1)) {
        m_lines.push_back(at + 1);
    }
    m_inside.assign(m_lines.size() + 2, false);
    MarkValues(m_table);
}

void ConfigLayout::MarkValues(const toml::node& node) {
    if (const toml::table* const table = node.as_table()) {
        if (table->is_inline()) {
            Mark(node);
        }
        for (const auto& [key, value] : *table) {
            MarkValues(value);
        }
        return;
    }
    const toml::array* const array = node.as_array();
    if (array && array->is_array_of_tables() && !array->empty() && !array->get(0)->as_table()->is_inline()) {
        for (const toml::node& entry : *array) {
            MarkValues(entry);
        }
        return;
    }
    Mark(node);
}

void ConfigLayout::Mark(const toml::node& node) {
    for (std::size_t line = node.source().begin.line + 1; line <= node.source().end.line; ++line) {
        if (line < m_inside.size()) {
            m_inside[line] = true;
        }
    }
}

std::optional<std::string_view> ConfigLayout::Heading(std::size_t line) const {
    std::string_view text = Line(line);
    if (m_inside[line + 1] || !text.starts_with('[')) {
        return std::nullopt;
    }
    text.remove_prefix(text.starts_with("[[") ? 2 : 1);
    text = Trim(text.substr(0, text.find_first_of(".]")));
    if (text.size() > 1 && (text[0] == '"' || text[0] == '\'')) {
        text = text.substr(1, text.size() - 2);
    }
    return text;
}

void ConfigLayout::FindBlocks() {
    const toml::array* const array = Array();
    if (!array) {
        return;
    }
    if (array->empty() || !array->is_array_of_tables() || array->get(0)->as_table()->is_inline()) {
        throw ConfigError(Fault(FaultCode::ChannelsInList));
    }
    std::vector<std::size_t> heads;  // lines
    for (const toml::node& entry : *array) {
        heads.push_back(entry.source().begin.line - 1);
    }
    bool inChannel = false;
    for (std::size_t line = 0; line < m_lines.size(); ++line) {
        const auto heading = Heading(line);
        const bool head = std::find(heads.begin(), heads.end(), line) != heads.end();
        if (head) {
            m_blocks.push_back({m_lines[line], 0});
            inChannel = true;
        } else if (heading) {
            const bool ours = *heading == kChannels;
            if (ours && !inChannel) {
                throw ConfigError(Fault(FaultCode::TableApart, {{"line", line + 1}}));
            }
            inChannel = ours;
        }
        if (inChannel && (m_inside[line + 1] || (!IsBlank(line) && !IsComment(line)))) {
            m_blocks.back().end = m_lines[line] + RawLength(line);
        }
    }
    bool whole = m_blocks.size() == heads.size();
    for (std::size_t i = 0; whole && i < m_blocks.size(); ++i) {
        whole = Holds(m_blocks[i], *array->get(i)->as_table());
    }
    if (!whole) {
        throw ConfigError("the channels stand in a form that is left to those who write the file");
    }
}

bool ConfigLayout::Holds(const TextSpan& block, const toml::table& table) const {
    return std::all_of(table.begin(), table.end(), [&](const auto& pair) {
        const std::size_t key = Offset(pair.first.source().begin);
        return key >= block.begin && key < block.end && HoldsValue(block, pair.second);
    });
}

bool ConfigLayout::HoldsValue(const TextSpan& block, const toml::node& value) const {
    if (const toml::table* const table = value.as_table()) {
        return Holds(block, *table);
    }
    const toml::array* const array = value.as_array();
    return !array || std::all_of(array->begin(), array->end(),
                                 [&](const toml::node& entry) { return HoldsValue(block, entry); });
}

std::size_t ConfigLayout::RawLength(std::size_t line) const {
    const std::size_t end = line + 1 < m_lines.size() ? m_lines[line + 1] : m_text.size();
    std::string_view text = std::string_view(m_text).substr(m_lines[line], end - m_lines[line]);
    while (text.ends_with('\n') || text.ends_with('\r')) {
        text.remove_suffix(1);
    }
    return text.size();
}

const toml::table& ConfigLayout::Source(int channel) const {
    Check(channel);
    const toml::table* const table = Channel(channel).get_as<toml::table>("source");
    if (!table || !table->contains("url")) {
        throw ConfigError("channel " + std::to_string(channel) + " has no source in the file");
    }
    return *table;
}

}  // namespace kvrecorder
