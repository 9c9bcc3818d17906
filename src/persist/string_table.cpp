#include "persist/string_table.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>

#include "persist/english_table.h"

namespace kvmon {

namespace {

const TableText* FindRow(std::uint32_t id) {
    const auto table = EnglishTable();
    const auto row = std::lower_bound(table.begin(), table.end(), id,
                                      [](const TableText& a, std::uint32_t b) { return a.id < b; });
    return row != table.end() && row->id == id ? &*row : nullptr;
}

class LoadedModule {
public:
    std::shared_ptr<const LanguageModule> Get() const {
        const std::lock_guard lock(m_mutex);
        return m_module;
    }
    void Set(std::shared_ptr<const LanguageModule> module) {
        const std::lock_guard lock(m_mutex);
        m_module = std::move(module);
    }

private:
    mutable std::mutex m_mutex;
    std::shared_ptr<const LanguageModule> m_module;
};

LoadedModule& Loaded() {
    static LoadedModule loaded;
    return loaded;
}

}  // namespace

std::string LoadString(std::uint32_t id) {
    const TableText* const row = FindRow(id);
    if (row == nullptr) {
        return {};
    }
    const auto module = Loaded().Get();
    if (module == nullptr) {
        return row->text;
    }
    const auto found = module->texts.find(id);
    return found != module->texts.end() ? found->second : row->text;
}

void UseLanguageModule(const std::shared_ptr<const LanguageModule>& module) {
    if (module == nullptr) {
        Loaded().Set(nullptr);
        return;
    }
    auto usable = std::make_shared<LanguageModule>(*module);
    std::erase_if(usable->texts, [](const auto& entry) {
        const TableText* const row = FindRow(entry.first);
        return row == nullptr || FormatPlaces(row->text) != FormatPlaces(entry.second);
    });
    Loaded().Set(std::move(usable));
}

std::vector<std::uint32_t> StringIds() {
    std::vector<std::uint32_t> ids;
    const auto table = EnglishTable();
    std::transform(table.begin(), table.end(), std::back_inserter(ids),
                   [](const TableText& row) { return row.id; });
    return ids;
}

std::string EnglishString(std::uint32_t id) {
    const TableText* const row = FindRow(id);
    return row != nullptr ? row->text : "";
}

std::string FormatPlaces(std::string_view text) {
    constexpr std::string_view kConversions = "sdu%";
    std::string places;
    for (std::size_t i = text.find('%'); i != std::string_view::npos; i = text.find('%', i)) {
        std::size_t end = std::min(text.find_first_not_of("0123456789", i + 1), text.size());
        if (end < text.size() && kConversions.find(text[end]) != std::string_view::npos) {
            ++end;
        }
        // A sign with nothing to fill counts too: it must stay what it is.
        places.append(text.substr(i, end - i));
        i = end;
    }
    return places;
}

}  // namespace kvmon
