// The settings in memory, and what of them has not reached the file.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kvmon {

// A number or a text; bytes are kept as a text of pairs.
using SettingsValue = std::variant<std::uint32_t, std::string>;

struct SettingsKey {
    std::string path;
    std::string name;
};

// Without regard to ASCII case.
struct SettingsKeyLess {
    bool operator()(const SettingsKey& a, const SettingsKey& b) const;
};
using SettingsRows = std::map<SettingsKey, SettingsValue, SettingsKeyLess>;

// First the subtrees go, then the values are set.
struct SettingsChanges {
    std::vector<std::string> deleted;
    SettingsRows values;

    bool IsEmpty() const { return deleted.empty() && values.empty(); }
    // What was changed after these.
    void Append(SettingsChanges newer);
};

// A value that is set to what it is already is no change, and neither is a subtree that is deleted and
// written again as it was: so a program writes only what it changed, and leaves alone what another has
// changed meanwhile. The owner locks.
class SettingsTree {
public:
    std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) const;
    // The names of the keys right below it.
    std::vector<std::string> Sections(const std::string& path) const;
    void Write(const std::string& path, std::string_view entry, const SettingsValue& value);
    // The key and all below it.
    void Delete(const std::string& path);

    // What is changed between these is one change: it is taken whole, and only when the last batch has ended.
    void BeginBatch();
    void EndBatch();
    bool IsInBatch() const { return m_depth > 0; }

    bool HasChanges() const { return !m_ready.IsEmpty(); }
    std::size_t CountChanges() const { return m_ready.values.size() + m_ready.deleted.size(); }
    SettingsChanges Take();
    // Changes that were taken and not written.
    void PutBack(SettingsChanges changes);
    // Every value there is counts as changed: the file is a new one.
    void ChangeAll();
    // What the file holds, below what was changed here.
    void Load(SettingsRows rows);

private:
    struct Deletion {
        std::string path;
        std::optional<SettingsRows> before;  // nothing: it is no longer known
    };
    void EndChange();
    SettingsRows Subtree(const std::string& path) const;

    SettingsRows m_rows;
    SettingsChanges m_ready;
    std::vector<Deletion> m_openDeletions;
    SettingsRows m_openValues;
    int m_depth = 0;
};

}  // namespace kvmon
