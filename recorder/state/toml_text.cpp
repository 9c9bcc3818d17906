#include "state/toml_text.h"

#include <algorithm>

namespace kvrecorder {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kLineEnds = "\n\v\f\r";
constexpr std::string_view kBlanks = " \t\n\v\f\r";
constexpr std::string_view kWordEnds = " \t\n\v\f\r,]}#";
constexpr const char* kOutside =
    "a character beyond ASCII stands outside of texts and comments; a key with one is written in quotes";

// Goes through the text as the library does, and stops where that would look whether a character beyond ASCII
// is a blank: its table for that has holes that it takes for unreachable. Such a character has a place in
// texts and comments alone. What is no TOML for another reason is left to the library, which stops there.
class AsciiCheck {
public:
    explicit AsciiCheck(std::string_view text) : m_text(text) {}

    void Run() {
        if (m_text.starts_with(kByteOrderMark)) {
            m_at = kByteOrderMark.size();
        }
        while (!AtEnd()) {
            const char c = m_text[m_at];
            if (IsBeyond()) {
                Fail(kOutside);
            } else if (c == '#') {
                m_at = std::min(m_text.find_first_of(kLineEnds, m_at), m_text.size());
            } else if (c == '"' || c == '\'') {
                SkipAnyText(c);
            } else if (m_isValue && kBlanks.find(c) == std::string_view::npos) {
                StepInValue(c);
            } else {
                Step(c);
            }
        }
    }

private:
    // Among keys and headings, and at blanks.
    void Step(char c) {
        if (c == '=') {
            m_isValue = true;
        } else if (c == '}') {
            Close();
        } else if (kLineEnds.find(c) != std::string_view::npos && m_open.empty()) {
            m_isValue = false;
        }
        ++m_at;
    }

    // At what is no text.
    void StepInValue(char c) {
        switch (c) {
            case '[':
            case '{':
                m_open += c;
                m_isValue = c == '[';
                break;
            case ']':
            case '}':
                Close();
                break;
            case ',':
                m_isValue = m_open.empty() || m_open.back() == '[';
                break;
            default:
                SkipWord();
                return;
        }
        ++m_at;
    }

    void Close() {
        if (!m_open.empty()) {
            m_open.pop_back();
            m_isValue = true;
        }
    }

    // A number or the like: the library looks at all of it before it finds that it is none.
    void SkipWord() {
        const std::size_t end = std::min(m_text.find_first_of(kWordEnds, m_at), m_text.size());
        for (++m_at; m_at < end; ++m_at) {
            if (IsBeyond()) {
                Fail(kOutside);
            }
        }
    }

    void SkipAnyText(char mark) {
        const std::string_view three = m_text.substr(m_at, 3);
        if (three.size() == 3 && three[1] == mark && three[2] == mark) {
            m_at += 3;
            SkipLongText(mark);
        } else {
            ++m_at;
            SkipText(mark);
        }
    }

    bool AtEnd() const { return m_at >= m_text.size(); }
    bool IsBeyond() const { return !AtEnd() && static_cast<unsigned char>(m_text[m_at]) >= 0x80; }

    // Behind the mark that it begins with. One that is not closed ends with its line.
    void SkipText(char mark) {
        const std::size_t end = std::min(m_text.find_first_of(kLineEnds, m_at), m_text.size());
        while (m_at < end) {
            const char c = m_text[m_at++];
            if (c == mark) {
                return;
            }
            if (c == '\\' && mark == '"' && m_at < end) {
                ++m_at;
            }
        }
    }

    void SkipLongText(char mark) {
        while (!AtEnd()) {
            const char c = m_text[m_at];
            if (c == mark && m_text.substr(m_at, 3) == std::string(3, mark)) {
                m_at += 3;
                // Up to two marks before the last three are the text's own.
                for (int i = 0; i < 2 && !AtEnd() && m_text[m_at] == mark; ++i) {
                    ++m_at;
                }
                return;
            }
            ++m_at;
            if (c == '\\' && mark == '"') {
                SkipEscape();
            }
        }
    }

    // A line that ends so goes on behind all blanks.
    void SkipEscape() {
        const std::size_t goesOn = std::min(m_text.find_first_not_of(kBlanks, m_at), m_text.size());
        const bool escape = goesOn == m_at;
        m_at = goesOn;
        if (IsBeyond()) {
            Fail("a character beyond ASCII cannot come next behind \\ in a text of several lines");
        }
        if (escape && !AtEnd()) {
            ++m_at;
        }
    }

    [[noreturn]] void Fail(const std::string& words) const {
        const auto here = m_text.begin() + static_cast<std::ptrdiff_t>(m_at);
        throw TomlSlip(static_cast<std::size_t>(std::count(m_text.begin(), here, '\n')) + 1, words);
    }

    const std::string_view m_text;
    std::size_t m_at = 0;
    bool m_isValue = false;  // else a key or a heading
    std::string m_open;      // the brackets and braces of values around this place
};

}  // namespace

toml::table ReadToml(std::string_view text) {
    AsciiCheck(text).Run();
    try {
        return toml::parse(text);
    } catch (const toml::parse_error& failure) {
        throw TomlSlip(failure.source().begin.line, std::string(failure.description()));
    }
}

}  // namespace kvrecorder
