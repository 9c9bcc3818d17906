// Text of TOML into its values: the one place that does so. Inside this folder only.
#pragma once

// The library asserts what it tells as an error right after, such as "[!]": a slip in a file would end the
// program.
#define TOML_ASSERT(expression) static_cast<void>(0)
#include <toml++/toml.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace kvrecorder {

// What is no TOML, in words.
class TomlSlip : public std::runtime_error {
public:
    TomlSlip(std::size_t line, const std::string& words) : std::runtime_error(words), m_line(line) {}

    std::size_t Line() const { return m_line; }  // from 1

private:
    std::size_t m_line;
};

// Throws TomlSlip.
toml::table ReadToml(std::string_view text);

}  // namespace kvrecorder
