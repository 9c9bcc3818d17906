#include "state/table_reader.h"

#include <algorithm>
#include <filesystem>

#include "host/near_name.h"
#include "state/recorder_config.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

std::string UnknownKey(std::string_view key, const std::vector<std::string>& known) {
    const std::string meant = kvhost::NearName(key, known);
    return "unknown key \"" + std::string(key) + "\"" +
           (meant.empty() ? "" : "; did you mean \"" + meant + "\"?");
}

}  // namespace

void TableReader::FailAt(const std::string& path, const toml::source_region& where, const std::string& text) {
    throw ConfigError(path + ":" + std::to_string(where.begin.line) + ": " + text);
}

void TableReader::Fail(std::string_view key, const std::string& text) const {
    const toml::node* node = m_table.get(key);
    FailAt(m_path, node ? node->source() : m_table.source(), std::string(key) + ": " + text);
}

const toml::node* TableReader::Find(std::string_view key) {
    m_known.emplace_back(key);
    return m_table.get(key);
}

void TableReader::Text(std::string_view key, std::string& value, std::size_t maxBytes) {
    const toml::node* node = Find(key);
    if (!node) {
        return;
    }
    const auto text = node->value_exact<std::string>();
    if (!text || text->size() > maxBytes || !IsDisplayText(*text)) {
        Fail(key, "a text of at most " + std::to_string(maxBytes) + " bytes is wanted");
    }
    value = *text;
}

void TableReader::Path(std::string_view key, std::string& value) {
    Text(key, value, 4096);
    if (!value.empty()) {
        value = (std::filesystem::path(m_path).parent_path() / value).string();
    }
}

void TableReader::Column(std::string_view key, std::string& value, std::size_t maxBytes) {
    Text(key, value, maxBytes);
    if (!IsColumnText(value)) {
        Fail(key, "plain characters without blanks are wanted");
    }
}

void TableReader::Number(std::string_view key, int& value, int low, int high) {
    const toml::node* node = Find(key);
    if (!node) {
        return;
    }
    const auto number = node->value_exact<std::int64_t>();
    if (!number || *number < low || *number > high) {
        Fail(key, "a number from " + std::to_string(low) + " to " + std::to_string(high) + " is wanted");
    }
    value = static_cast<int>(*number);
}

void TableReader::Flag(std::string_view key, bool& value) {
    const toml::node* node = Find(key);
    if (!node) {
        return;
    }
    const auto flag = node->value_exact<bool>();
    if (!flag) {
        Fail(key, "true or false is wanted");
    }
    value = *flag;
}

std::vector<std::string> TableReader::Texts(std::string_view key, std::size_t most, std::size_t maxBytes) {
    std::vector<std::string> texts;
    const toml::node* node = Find(key);
    if (!node) {
        return texts;
    }
    const toml::array* array = node->as_array();
    if (!array || array->size() > most) {
        Fail(key, "a list of at most " + std::to_string(most) + " texts is wanted");
    }
    for (const toml::node& entry : *array) {
        const auto text = entry.value_exact<std::string>();
        if (!text || text->size() > maxBytes || !IsDisplayText(*text)) {
            Fail(key, "texts of at most " + std::to_string(maxBytes) + " bytes are wanted");
        }
        texts.push_back(*text);
    }
    return texts;
}

void TableReader::Finish() const {
    for (const auto& [key, node] : m_table) {
        if (std::find(m_known.begin(), m_known.end(), key.str()) == m_known.end()) {
            FailAt(m_path, key.source(), UnknownKey(key.str(), m_known));
        }
    }
}

}  // namespace kvrecorder
