#include "persist/string_table.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>

#include "persist/english_table.h"
#include "persist/plural.h"

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

constexpr std::uint16_t kEnglishId = 0x0409;

struct LoadedText {
    std::string text;
    std::uint16_t language = kEnglishId;
};

LoadedText Load(std::uint32_t id) {
    const TableText* const row = FindRow(id);
    if (row == nullptr) {
        return {};
    }
    if (const auto module = Loaded().Get()) {
        const auto found = module->texts.find(id);
        if (found != module->texts.end()) {
            return {found->second, module->langid};
        }
    }
    return {row->text, kEnglishId};
}

std::vector<std::string_view> FormsOf(std::string_view text) {
    std::vector<std::string_view> forms;
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = text.find(kBetweenForms);
        forms.push_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return forms;
}

// Languages have more forms, or fewer; a form has the places of any other.
bool HasSamePlaces(std::string_view english, std::string_view other) {
    if (english.find(kBetweenForms) == std::string_view::npos) {
        return FormatPlaces(english) == FormatPlaces(other);
    }
    const std::string places = FormatPlaces(FormsOf(english).back());
    const auto forms = FormsOf(other);
    return std::all_of(forms.begin(), forms.end(),
                       [&places](std::string_view form) { return FormatPlaces(form) == places; });
}

}  // namespace

std::string LoadString(std::uint32_t id) {
    return Load(id).text;
}

std::string LoadPlural(std::uint32_t id, std::uint64_t number) {
    const LoadedText loaded = Load(id);
    const auto forms = FormsOf(loaded.text);
    return std::string(forms[std::min(PluralForm(loaded.language, number), forms.size() - 1)]);
}

void UseLanguageModule(const std::shared_ptr<const LanguageModule>& module) {
    if (module == nullptr) {
        Loaded().Set(nullptr);
        return;
    }
    auto usable = std::make_shared<LanguageModule>(*module);
    std::erase_if(usable->texts, [](const auto& entry) {
        const TableText* const row = FindRow(entry.first);
        return row == nullptr || !HasSamePlaces(row->text, entry.second);
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
