#include "state/config_text.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include "state/recorder_config.h"
#include "state/table_reader.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr std::string_view kChannels = "channels";
constexpr std::string_view kEmptyPlace = "[[channels]]\nconfigured = false";

struct Span {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// A text as TOML writes it.
std::string Quote(std::string_view text) {
    static constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20 || byte == 0x7F) {
            out += "\\u00";
            out += kDigits[byte / 16];
            out += kDigits[byte % 16];
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string InlineSource(const SourceText& source) {
    std::string text = "source = { url = " + Quote(source.url);
    const auto add = [&](const char* key, std::string_view value) {
        if (!value.empty()) {
            text += std::string(", ") + key + " = " + Quote(value);
        }
    };
    add("sub_url", source.subUrl);
    add("user", source.user);
    add("password", source.password.View());
    add("transport", source.transport);
    return text + " }";
}

}  // namespace

// Where the channels stand in a text.
class ConfigText::Layout {
public:
    explicit Layout(std::string& text) : m_text(text) {
        try {
            m_table = toml::parse(text);
        } catch (const toml::parse_error& failure) {
            throw ConfigError("the file has a slip in line " + std::to_string(failure.source().begin.line) +
                              ": " + std::string(failure.description()));
        }
        m_lineEnd = text.find("\r\n") != std::string::npos ? "\r\n" : "\n";
        FindLines();
        FindBlocks();
    }

    int Count() const { return static_cast<int>(m_blocks.size()); }
    const toml::table& Channel(int channel) const { return *Array()->get(Index(channel))->as_table(); }

    // The tables of a channel, without the comments above them.
    Span Block(int channel) const { return m_blocks[Index(channel)]; }
    // With them.
    Span WithComments(int channel) const {
        Span span = Block(channel);
        for (std::size_t line = LineAt(span.begin); line > 0 && IsComment(line - 1); --line) {
            span.begin = m_lines[line - 1];
        }
        return span;
    }
    // Behind all that is said, but before the mark of the file's end and the comments above it.
    std::size_t End() const {
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

    Span ValueOf(const toml::node& node) const {
        return {Offset(node.source().begin), Offset(node.source().end)};
    }
    // From the beginning of the key to the end of the value.
    Span PairOf(const toml::table& table, std::string_view key) const {
        const auto found = table.find(key);
        return {Offset(found->first.source().begin), Offset(found->second.source().end)};
    }
    std::size_t LineBegin(std::size_t offset) const { return m_lines[LineAt(offset)]; }
    std::size_t LineEnd(std::size_t offset) const {
        const std::size_t next = LineAt(offset) + 1;
        return next < m_lines.size() ? m_lines[next] : m_text.size();
    }
    const std::string& NewLine() const { return m_lineEnd; }
    const toml::table& Table() const { return m_table; }

    void Check(int channel) const {
        if (channel < 0 || channel >= Count()) {
            throw ConfigError("channel " + std::to_string(channel) + " does not stand in the file");
        }
    }

private:
    static std::size_t Index(int channel) { return static_cast<std::size_t>(channel); }
    const toml::array* Array() const { return m_table[kChannels].as_array(); }

    std::string_view Line(std::size_t line) const {
        const std::size_t end = line + 1 < m_lines.size() ? m_lines[line + 1] : m_text.size();
        return Trim(std::string_view(m_text).substr(m_lines[line], end - m_lines[line]));
    }
    bool IsComment(std::size_t line) const { return Line(line).starts_with('#'); }
    bool IsBlank(std::size_t line) const { return Line(line).empty(); }
    std::size_t LineAt(std::size_t offset) const {
        return static_cast<std::size_t>(std::upper_bound(m_lines.begin(), m_lines.end(), offset) -
                                        m_lines.begin()) -
               1;
    }
    std::size_t LastLine() const {
        std::size_t line = m_lines.size() - 1;
        while (line > 0 && IsBlank(line)) {
            --line;
        }
        return m_lines[line];
    }
    // Columns count characters, of UTF-8.
    std::size_t Offset(const toml::source_position& place) const {
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

    void FindLines() {
        m_lines = {0};
        for (std::size_t at = m_text.find('\n'); at != std::string::npos; at = m_text.find('\n', at + 1)) {
            m_lines.push_back(at + 1);
        }
        m_inside.assign(m_lines.size() + 2, false);
        MarkValues(m_table);
    }
    // Lines that go on with a value, which may look like anything.
    void MarkValues(const toml::node& node) {
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
        if (array && array->is_array_of_tables() && !array->empty() &&
            !array->get(0)->as_table()->is_inline()) {
            for (const toml::node& entry : *array) {
                MarkValues(entry);
            }
            return;
        }
        Mark(node);
    }
    void Mark(const toml::node& node) {
        for (std::size_t line = node.source().begin.line + 1; line <= node.source().end.line; ++line) {
            if (line < m_inside.size()) {
                m_inside[line] = true;
            }
        }
    }

    // The name of the table that begins in a line, up to its first dot; nothing where none does.
    std::optional<std::string_view> Heading(std::size_t line) const {
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

    void FindBlocks() {
        const toml::array* const array = Array();
        if (!array) {
            return;
        }
        if (array->empty() || !array->is_array_of_tables() || array->get(0)->as_table()->is_inline()) {
            throw ConfigError("the channels stand in one list, which is left to those who write the file");
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
                    throw ConfigError("line " + std::to_string(line + 1) +
                                      ": a table of a channel stands apart from the channel");
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
    // All that a table says stands there.
    bool Holds(const Span& block, const toml::table& table) const {
        return std::all_of(table.begin(), table.end(), [&](const auto& pair) {
            const std::size_t key = Offset(pair.first.source().begin);
            return key >= block.begin && key < block.end && HoldsValue(block, pair.second);
        });
    }
    bool HoldsValue(const Span& block, const toml::node& value) const {
        if (const toml::table* const table = value.as_table()) {
            return Holds(block, *table);
        }
        const toml::array* const array = value.as_array();
        return !array || std::all_of(array->begin(), array->end(),
                                     [&](const toml::node& entry) { return HoldsValue(block, entry); });
    }
    // Without the line's end.
    std::size_t RawLength(std::size_t line) const {
        const std::size_t end = line + 1 < m_lines.size() ? m_lines[line + 1] : m_text.size();
        std::string_view text = std::string_view(m_text).substr(m_lines[line], end - m_lines[line]);
        while (text.ends_with('\n') || text.ends_with('\r')) {
            text.remove_suffix(1);
        }
        return text.size();
    }

    const std::string& m_text;
    toml::table m_table;
    std::string m_lineEnd;
    std::vector<std::size_t> m_lines;  // where each begins
    std::vector<bool> m_inside;        // by the line's number from 1
    std::vector<Span> m_blocks;
};

namespace {

void Replace(std::string& text, const Span& span, std::string_view by) {
    std::string fresh;
    AppendSecret(fresh, std::string_view(text).substr(0, span.begin));
    AppendSecret(fresh, by);
    AppendSecret(fresh, std::string_view(text).substr(span.end));
    Wipe(text);
    text = std::move(fresh);
}

}  // namespace

void ConfigText::Rename(int channel, std::string_view name) {
    const Layout layout(m_text);
    layout.Check(channel);
    if (const toml::node* const present = layout.Channel(channel).get("name")) {
        Replace(m_text, layout.ValueOf(*present), Quote(name));
        return;
    }
    const std::size_t below = layout.LineEnd(layout.Block(channel).begin);
    const std::string lead = below > 0 && m_text[below - 1] != '\n' ? layout.NewLine() : "";
    Replace(m_text, {below, below}, lead + "name = " + Quote(name) + layout.NewLine());
}

void ConfigText::SetSource(int channel, const SourceText& source) {
    const auto set = [&](const char* key, std::string_view value, bool drop) {
        const Layout layout(m_text);
        layout.Check(channel);
        const toml::table* const table = layout.Channel(channel).get_as<toml::table>("source");
        const toml::node* const url = table ? table->get("url") : nullptr;
        if (!url) {
            throw ConfigError("channel " + std::to_string(channel) + " has no source in the file");
        }
        const toml::node* const present = table->get(key);
        if (present && !drop && present->value<std::string>() == value) {
            return;
        }
        if (present && !drop) {
            Replace(m_text, layout.ValueOf(*present), Quote(value));
        } else if (present) {
            // With the comma before it, or with its line.
            Span span = layout.PairOf(*table, key);
            if (table->is_inline()) {
                const std::size_t comma = m_text.find_last_not_of(" \t\r\n", span.begin - 1);
                const std::size_t after = m_text.find_first_not_of(" \t", span.end);
                if (m_text[comma] == ',') {
                    span.begin = comma;
                } else if (after != std::string::npos && m_text[after] == ',') {
                    span.end = m_text.find_first_not_of(" \t", after + 1);
                }
            } else {
                span = {layout.LineBegin(span.begin), layout.LineEnd(span.end)};
            }
            Replace(m_text, span, "");
        } else if (!drop && !value.empty()) {
            const Span pair = layout.PairOf(*table, "url");
            std::string text = std::string(key) + " = " + Quote(value);
            if (table->is_inline()) {
                text.insert(0, ", ");
                Replace(m_text, {pair.end, pair.end}, text);
            } else {
                // As the address is written there: "source.url" has a prefix, a table of its own maybe
                // blanks.
                const std::size_t begin = layout.LineBegin(pair.begin);
                text.insert(0, m_text.substr(begin, pair.begin - begin));
                const std::size_t end = layout.LineEnd(pair.end);
                const bool open = m_text[end - 1] != '\n';
                Replace(m_text, {end, end}, (open ? layout.NewLine() : "") + text + layout.NewLine());
            }
            Wipe(text);
        }
    };
    const std::string before = m_text;
    try {
        const bool login = SaysLogin(channel);
        set("url", source.url, false);
        set("sub_url", source.subUrl, source.subUrl.empty());
        set("user", source.user, source.user.empty());
        if (source.newPassword || login) {
            set("password_file", "", true);
            set("password", source.password.View(), source.password.Empty());
        }
        set("transport", source.transport, source.transport.empty());
    } catch (const ConfigError&) {
        m_text = before;
        throw;
    }
}

bool ConfigText::SaysLogin(int channel) {
    const Layout layout(m_text);
    layout.Check(channel);
    const auto url = layout.Channel(channel)["source"]["url"].value<std::string_view>();
    return url && url->find('@') != std::string_view::npos;
}

int ConfigText::Add(std::string_view name, const SourceText& source) {
    const Layout layout(m_text);
    const std::string& line = layout.NewLine();
    std::string block =
        "[[channels]]" + line + "name = " + Quote(name) + line + "audio = true" + line + InlineSource(source);
    for (int i = 0; i < layout.Count(); ++i) {
        const toml::table& table = layout.Channel(i);
        if (table.size() == 1 && table["configured"].value<bool>() == false) {
            Replace(m_text, layout.Block(i), block);
            return i;
        }
    }
    if (layout.Count() >= kMaxChannels) {
        throw ConfigError("there are as many channels as there can be");
    }
    if (layout.Count() > 0) {
        const std::size_t end = layout.Block(layout.Count() - 1).end;
        Replace(m_text, {end, end}, line + line + block);
    } else {
        const std::size_t end = layout.End();
        const bool open = end > 0 && m_text[end - 1] != '\n';
        Replace(m_text, {end, end}, (open ? line : "") + block + line + line);
    }
    return layout.Count();
}

void ConfigText::Remove(int channel) {
    const Layout layout(m_text);
    layout.Check(channel);
    Span span = layout.Block(channel);
    if (channel + 1 < layout.Count() || channel == 0) {
        std::string place(kEmptyPlace);
        if (layout.NewLine() != "\n") {
            place.replace(place.find('\n'), 1, layout.NewLine());
        }
        Replace(m_text, span, place);
        return;
    }
    // The line's end goes, too, and a blank line above.
    span.end = layout.LineEnd(span.end);
    const std::string& line = layout.NewLine();
    if (span.begin >= 2 * line.size() &&
        m_text.compare(span.begin - 2 * line.size(), 2 * line.size(), line + line) == 0) {
        span.begin -= line.size();
    }
    Replace(m_text, span, "");
}

void ConfigText::Move(int from, int to) {
    const Layout layout(m_text);
    layout.Check(from);
    layout.Check(to);
    std::vector<int> order(static_cast<std::size_t>(layout.Count()));  // by the new number the old one
    std::iota(order.begin(), order.end(), 0);
    const auto first = order.begin();
    if (from < to) {
        std::rotate(first + from, first + from + 1, first + to + 1);
    } else {
        std::rotate(first + to, first + from, first + from + 1);
    }
    // From the end on, so that what stands before keeps its place.
    std::vector<std::pair<Span, std::string>> changes;
    for (int i = 0; i < layout.Count(); ++i) {
        if (order[static_cast<std::size_t>(i)] != i) {
            const Span taken = layout.WithComments(order[static_cast<std::size_t>(i)]);
            changes.emplace_back(layout.WithComments(i), m_text.substr(taken.begin, taken.end - taken.begin));
        }
    }
    const toml::array* const users = layout.Table()["users"].as_array();
    for (std::size_t u = 0; users && u < users->size(); ++u) {
        for (const char* const right : kRightNames) {
            const toml::table* const user = users->get(u)->as_table();
            const toml::array* const numbers = user ? user->get_as<toml::array>(right) : nullptr;
            for (std::size_t n = 0; numbers && n < numbers->size(); ++n) {
                const auto old = (*numbers)[n].value<int>();
                const auto found = std::find(order.begin(), order.end(), old.value_or(-1));
                if (found != order.end() && found - order.begin() != *old) {
                    changes.emplace_back(layout.ValueOf((*numbers)[n]),
                                         std::to_string(found - order.begin()));
                }
            }
        }
    }
    std::sort(changes.begin(), changes.end(),
              [](const auto& a, const auto& b) { return a.first.begin > b.first.begin; });
    for (auto& [span, text] : changes) {
        Replace(m_text, span, text);
        Wipe(text);
    }
}

}  // namespace kvrecorder
