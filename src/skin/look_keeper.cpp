#include "skin/look_keeper.h"

#include "skin/dialog_style.h"

namespace kvmon {

LookChoice LookChoiceOf(std::uint32_t number) {
    return number <= static_cast<std::uint32_t>(LookChoice::HighContrast) ? static_cast<LookChoice>(number)
                                                                          : LookChoice::Desktop;
}

LookKeeper::LookKeeper(QApplication& app, LookChoice choice, std::optional<SkinLook> system)
    : m_app(app), m_choice(choice), m_system(system), m_look(Wanted()) {
    ApplySkin(m_app, m_look);
}

SkinLook LookKeeper::Wanted() const {
    switch (m_choice) {
        case LookChoice::Dark:
            return SkinLook::Dark;
        case LookChoice::Light:
            return SkinLook::Light;
        case LookChoice::HighContrast:
            return SkinLook::HighContrast;
        case LookChoice::Desktop:
            break;
    }
    return m_desktop ? *m_desktop : m_system.value_or(SkinLook::Dark);
}

void LookKeeper::Choose(LookChoice choice) {
    m_choice = choice;
    Apply();
}

void LookKeeper::OnDesktop(std::optional<SkinLook> preferred) {
    m_desktop = preferred;
    Apply();
}

void LookKeeper::Apply() {
    if (const SkinLook wanted = Wanted(); wanted != m_look) {
        m_look = wanted;
        ApplySkin(m_app, m_look);
    }
}

}  // namespace kvmon
