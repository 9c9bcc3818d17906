#include "state/config_text.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include "state/config_layout.h"
#include "state/recorder_config.h"

namespace kvrecorder {
namespace {

constexpr std::string_view kEmptyPlace = "[[channels]]\nconfigured = false";

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
    add("certificate", source.certificate);
    return text + " }";
}

void Replace(std::string& text, const TextSpan& span, std::string_view by) {
    std::string fresh;
    AppendSecret(fresh, std::string_view(text).substr(0, span.begin));
    AppendSecret(fresh, by);
    AppendSecret(fresh, std::string_view(text).substr(span.end));
    Wipe(text);
    text = std::move(fresh);
}

// Behind the address.
void AddKey(std::string& whole, const ConfigLayout& layout, const toml::table& source, std::string text) {
    const TextSpan url = layout.PairOf(source, "url");
    if (source.is_inline()) {
        text.insert(0, ", ");
        Replace(whole, {url.end, url.end}, text);
    } else {
        // As the address is written there: "source.url" has a prefix, a table of its own maybe blanks.
        const std::size_t begin = layout.LineBegin(url.begin);
        text.insert(0, whole.substr(begin, url.begin - begin));
        const std::size_t end = layout.LineEnd(url.end);
        const bool open = whole[end - 1] != '\n';
        Replace(whole, {end, end}, (open ? layout.NewLine() : "") + text + layout.NewLine());
    }
    Wipe(text);
}

}  // namespace

void ConfigText::Rename(int channel, std::string_view name) {
    const ConfigLayout layout(m_text);
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
    const std::string before = m_text;
    try {
        const bool login = SaysLogin(channel);
        SetKey(channel, "url", source.url);
        SetOrDropKey(channel, "sub_url", source.subUrl);
        SetOrDropKey(channel, "user", source.user);
        if (source.newPassword || login) {
            DropKey(channel, "password_file");
            SetOrDropKey(channel, "password", source.password.View());
        }
        SetOrDropKey(channel, "transport", source.transport);
        SetOrDropKey(channel, "certificate", source.certificate);
    } catch (const ConfigError&) {
        m_text = before;
        throw;
    }
}

void ConfigText::SetOrDropKey(int channel, const char* key, std::string_view value) {
    if (value.empty()) {
        DropKey(channel, key);
    } else {
        SetKey(channel, key, value);
    }
}

void ConfigText::SetKey(int channel, const char* key, std::string_view value) {
    const ConfigLayout layout(m_text);
    const toml::table& source = layout.Source(channel);
    const toml::node* const present = source.get(key);
    if (!present) {
        AddKey(m_text, layout, source, std::string(key) + " = " + Quote(value));
    } else if (present->value<std::string>() != value) {
        Replace(m_text, layout.ValueOf(*present), Quote(value));
    }
}

// With the comma before it, or with its line.
void ConfigText::DropKey(int channel, const char* key) {
    const ConfigLayout layout(m_text);
    const toml::table& source = layout.Source(channel);
    if (!source.contains(key)) {
        return;
    }
    TextSpan span = layout.PairOf(source, key);
    if (source.is_inline()) {
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
}

bool ConfigText::SaysLogin(int channel) {
    const ConfigLayout layout(m_text);
    layout.Check(channel);
    const auto url = layout.Channel(channel)["source"]["url"].value<std::string_view>();
    return url && url->find('@') != std::string_view::npos;
}

int ConfigText::Add(std::string_view name, const SourceText& source) {
    const ConfigLayout layout(m_text);
    const std::string& line = layout.NewLine();
    std::string block = "[[channels]]" + line + "name = " + Quote(name) + line + InlineSource(source);
    for (int i = 0; i < layout.Count(); ++i) {
        const toml::table& table = layout.Channel(i);
        if (table.size() == 1 && table["configured"].value<bool>() == false) {
            Replace(m_text, layout.Block(i), block);
            return i;
        }
    }
    if (layout.Count() >= kMaxChannels) {
        throw ConfigError(Fault(FaultCode::ChannelsFull, {{"limit", kMaxChannels}}));
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
    const ConfigLayout layout(m_text);
    layout.Check(channel);
    TextSpan span = layout.Block(channel);
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
    const ConfigLayout layout(m_text);
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
    std::vector<std::pair<TextSpan, std::string>> changes;
    for (int i = 0; i < layout.Count(); ++i) {
        if (order[static_cast<std::size_t>(i)] != i) {
            const TextSpan taken = layout.WithComments(order[static_cast<std::size_t>(i)]);
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
