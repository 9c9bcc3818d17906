// Where the channels stand in the text of a configuration file. Inside this folder only.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "state/table_reader.h"

namespace kvrecorder {

struct TextSpan {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// Of a text that stays as it is. Throws ConfigError where channels stand in a form that is left to people.
class ConfigLayout {
public:
    explicit ConfigLayout(const std::string& text);

    int Count() const { return static_cast<int>(m_blocks.size()); }
    const toml::table& Channel(int channel) const { return *Array()->get(Index(channel))->as_table(); }

    // The table of a channel's source, which has an address; ConfigError without one.
    const toml::table& Source(int channel) const;

    // The tables of a channel, without the comments above them.
    TextSpan Block(int channel) const { return m_blocks[Index(channel)]; }
    // With them.
    TextSpan WithComments(int channel) const;
    // Behind all that is said, but before the mark of the file's end and the comments above it.
    std::size_t End() const;

    TextSpan ValueOf(const toml::node& node) const {
        return {Offset(node.source().begin), Offset(node.source().end)};
    }
    // From the beginning of the key to the end of the value.
    TextSpan PairOf(const toml::table& table, std::string_view key) const;
    std::size_t LineBegin(std::size_t offset) const { return m_lines[LineAt(offset)]; }
    std::size_t LineEnd(std::size_t offset) const;
    const std::string& NewLine() const { return m_lineEnd; }
    const toml::table& Table() const { return m_table; }

    void Check(int channel) const;

private:
    static std::size_t Index(int channel) { return static_cast<std::size_t>(channel); }
    const toml::array* Array() const { return m_table["channels"].as_array(); }

    std::string_view Line(std::size_t line) const;
    bool IsComment(std::size_t line) const { return Line(line).starts_with('#'); }
    bool IsBlank(std::size_t line) const { return Line(line).empty(); }
    std::size_t LineAt(std::size_t offset) const;
    std::size_t LastLine() const;
    std::size_t Offset(const toml::source_position& place) const;

    void FindLines();
    // Lines that go on with a value, which may look like anything.
    void MarkValues(const toml::node& node);
    void Mark(const toml::node& node);

    // The name of the table that begins in a line, up to its first dot; nothing where none does.
    std::optional<std::string_view> Heading(std::size_t line) const;

    void FindBlocks();
    // All that a table says stands there.
    bool Holds(const TextSpan& block, const toml::table& table) const;
    bool HoldsValue(const TextSpan& block, const toml::node& value) const;
    // Without the line's end.
    std::size_t RawLength(std::size_t line) const;

    const std::string& m_text;
    toml::table m_table;
    std::string m_lineEnd;
    std::vector<std::size_t> m_lines;  // where each begins
    std::vector<bool> m_inside;        // by the line's number from 1
    std::vector<TextSpan> m_blocks;
};

}  // namespace kvrecorder
