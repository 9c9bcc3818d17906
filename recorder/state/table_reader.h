// One table of the configuration file. Inside this folder only.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "state/toml_text.h"

namespace kvrecorder {

// Reads the keys of one table and tells those that nobody asked for.
class TableReader {
public:
    TableReader(std::string path, const toml::table& table) : m_path(std::move(path)), m_table(table) {}

    [[noreturn]] static void FailAt(const std::string& path, const toml::source_region& where,
                                    const std::string& text);
    [[noreturn]] void Fail(std::string_view key, const std::string& text) const;

    const toml::node* Find(std::string_view key);
    void Text(std::string_view key, std::string& value, std::size_t maxBytes = 255);
    // A file or folder, named from the folder of the configuration.
    void Path(std::string_view key, std::string& value);
    void Column(std::string_view key, std::string& value, std::size_t maxBytes);
    void Number(std::string_view key, int& value, int low, int high);
    void Flag(std::string_view key, bool& value);
    // One of some words, by position.
    template <typename Value, std::size_t Count>
    void Word(std::string_view key, Value& value,
              const std::array<std::pair<std::string_view, Value>, Count>& words) {
        if (!Find(key)) {
            return;
        }
        std::string text;
        Text(key, text);
        std::string choice;
        for (const auto& [word, meaning] : words) {
            if (text == word) {
                value = meaning;
                return;
            }
            choice += (choice.empty() ? "" : ", ") + std::string(word);
        }
        Fail(key, "one of these is wanted: " + choice);
    }
    // Calls `read` with a reader for each table of an array; a missing array has none.
    template <typename Read>
    void Tables(std::string_view key, std::size_t most, Read read) {
        const toml::node* node = Find(key);
        if (!node) {
            return;
        }
        const toml::array* array = node->as_array();
        if (!array || array->size() > most) {
            Fail(key, "at most " + std::to_string(most) + " tables are wanted");
        }
        for (const toml::node& entry : *array) {
            if (!entry.is_table()) {
                Fail(key, "tables are wanted");
            }
            TableReader reader(m_path, *entry.as_table());
            read(reader);
            reader.Finish();
        }
    }
    template <typename Read>
    void Table(std::string_view key, Read read) {
        const toml::node* node = Find(key);
        if (!node) {
            return;
        }
        if (!node->is_table()) {
            Fail(key, "a table is wanted");
        }
        TableReader reader(m_path, *node->as_table());
        read(reader);
        reader.Finish();
    }
    std::vector<std::string> Texts(std::string_view key, std::size_t most, std::size_t maxBytes);
    // A key that is left over is most likely a misspelt one.
    void Finish() const;

private:
    std::string m_path;
    const toml::table& m_table;
    std::vector<std::string> m_known;
};

}  // namespace kvrecorder
