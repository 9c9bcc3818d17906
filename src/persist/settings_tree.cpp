#include "persist/settings_tree.h"

#include <algorithm>

namespace kvmon {

namespace {

char LowerName(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

int Compare(std::string_view a, std::string_view b) {
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const auto x = static_cast<unsigned char>(LowerName(a[i]));
        const auto y = static_cast<unsigned char>(LowerName(b[i]));
        if (x != y) {
            return x < y ? -1 : 1;
        }
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

// The key itself, too.
bool IsBelow(std::string_view path, std::string_view top) {
    return path.size() >= top.size() && Compare(path.substr(0, top.size()), top) == 0 &&
           (path.size() == top.size() || path[top.size()] == '\\');
}

void EraseBelow(SettingsRows& rows, const std::string& top) {
    std::erase_if(rows, [&](const auto& row) { return IsBelow(row.first.path, top); });
}

// Names count without their case, values as they are.
bool SameRows(const SettingsRows& a, const SettingsRows& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
        return Compare(x.first.path, y.first.path) == 0 && Compare(x.first.name, y.first.name) == 0 &&
               x.second == y.second;
    });
}

}  // namespace

bool SettingsKeyLess::operator()(const SettingsKey& a, const SettingsKey& b) const {
    const int order = Compare(a.path, b.path);
    return order != 0 ? order < 0 : Compare(a.name, b.name) < 0;
}

void SettingsChanges::Append(SettingsChanges newer) {
    for (std::string& path : newer.deleted) {
        EraseBelow(values, path);
        std::erase_if(deleted, [&](const std::string& old) { return IsBelow(old, path); });
        deleted.push_back(std::move(path));
    }
    for (auto& [key, value] : newer.values) {
        values.insert_or_assign(key, std::move(value));
    }
}

std::optional<SettingsValue> SettingsTree::Read(const std::string& path, std::string_view entry) const {
    const auto found = m_rows.find({path, std::string(entry)});
    if (found == m_rows.end()) {
        return std::nullopt;
    }
    // The text is copied by itself: where memory is short the library of version 12 ends a half-copied
    // variant as if it held something.
    if (const auto* const text = std::get_if<std::string>(&found->second)) {
        std::string copy = *text;
        return SettingsValue(std::move(copy));
    }
    return found->second;
}

std::vector<std::string> SettingsTree::Sections(const std::string& path) const {
    std::vector<std::string> names;
    const std::string top = path + '\\';
    for (auto row = m_rows.lower_bound({top, {}}); row != m_rows.end(); ++row) {
        const std::string& each = row->first.path;
        if (Compare(std::string_view(each).substr(0, top.size()), top) != 0) {
            break;
        }
        const std::string name = each.substr(top.size(), each.find('\\', top.size()) - top.size());
        if (std::none_of(names.begin(), names.end(),
                         [&](const std::string& old) { return Compare(old, name) == 0; })) {
            names.push_back(name);
        }
    }
    return names;
}

void SettingsTree::Write(const std::string& path, std::string_view entry, const SettingsValue& value) {
    const SettingsKey key{path, std::string(entry)};
    const auto found = m_rows.find(key);
    if (found != m_rows.end() && found->second == value) {
        return;
    }
    m_rows.insert_or_assign(key, value);
    m_openValues.insert_or_assign(key, value);
    EndChange();
}

void SettingsTree::Delete(const std::string& path) {
    const bool bGone = std::any_of(m_openDeletions.begin(), m_openDeletions.end(),
                                   [&](const Deletion& open) { return IsBelow(path, open.path); });
    if (!bGone) {
        const bool bTouched = std::any_of(m_openValues.begin(), m_openValues.end(),
                                          [&](const auto& row) { return IsBelow(row.first.path, path); }) ||
                              std::any_of(m_openDeletions.begin(), m_openDeletions.end(),
                                          [&](const Deletion& open) { return IsBelow(open.path, path); });
        m_openDeletions.push_back({path, bTouched ? std::nullopt : std::optional(Subtree(path))});
    }
    EraseBelow(m_rows, path);
    EraseBelow(m_openValues, path);
    EndChange();
}

SettingsRows SettingsTree::Subtree(const std::string& path) const {
    SettingsRows rows;
    std::copy_if(m_rows.begin(), m_rows.end(), std::inserter(rows, rows.end()),
                 [&](const auto& row) { return IsBelow(row.first.path, path); });
    return rows;
}

void SettingsTree::BeginBatch() {
    ++m_depth;
}

void SettingsTree::EndBatch() {
    --m_depth;
    EndChange();
}

void SettingsTree::EndChange() {
    if (m_depth > 0) {
        return;
    }
    SettingsChanges changes;
    for (Deletion& open : m_openDeletions) {
        if (open.before && SameRows(*open.before, Subtree(open.path))) {
            EraseBelow(m_openValues, open.path);
        } else {
            changes.deleted.push_back(std::move(open.path));
        }
    }
    m_openDeletions.clear();
    changes.values = std::exchange(m_openValues, {});
    m_ready.Append(std::move(changes));
}

SettingsChanges SettingsTree::Take() {
    return std::exchange(m_ready, {});
}

void SettingsTree::PutBack(SettingsChanges changes) {
    changes.Append(std::exchange(m_ready, {}));
    m_ready = std::move(changes);
}

void SettingsTree::ChangeAll() {
    m_ready.values = m_rows;
}

void SettingsTree::Load(SettingsRows rows) {
    m_rows = std::move(rows);
    for (Deletion& open : m_openDeletions) {
        open.before.reset();
    }
    for (const std::string& path : m_ready.deleted) {
        EraseBelow(m_rows, path);
    }
    for (const auto& [key, value] : m_ready.values) {
        m_rows.insert_or_assign(key, value);
    }
    for (const Deletion& open : m_openDeletions) {
        EraseBelow(m_rows, open.path);
    }
    for (const auto& [key, value] : m_openValues) {
        m_rows.insert_or_assign(key, value);
    }
}

}  // namespace kvmon
