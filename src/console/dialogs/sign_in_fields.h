// What stands on the card where a user signs in, and where.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "console/ports/sign_in_memory.h"
#include "console/settings/multi_server_list.h"

class QCheckBox;
class QComboBox;
class QFrame;
class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;
class QWidget;

namespace kvmon {

// What a card has to offer beside its fields.
struct SignInOffer {
    std::vector<SignInEntry> remembered;
    bool bFirstStart = false;
    bool bDemo = false;
    bool bKeyRing = false;
    bool bThisRecorderAlone = false;  // that of the entry
    SearchFrom search{};
};

struct SignInFields {
    QComboBox* choice = nullptr;  // the remembered, and one more for any other
    QPushButton* forget = nullptr;
    QLineEdit* address = nullptr;
    QPushButton* search = nullptr;
    QSpinBox* port = nullptr;
    QLineEdit* user = nullptr;
    QLineEdit* password = nullptr;
    QCheckBox* remember = nullptr;
    QCheckBox* atStart = nullptr;
    QComboBox* languages = nullptr;
    QLabel* message = nullptr;
    QPushButton* demo = nullptr;
    QPushButton* button = nullptr;

    SignInEntry GetEntry() const;
    // While a login is tried: read only instead of disabled, so that the keyboard's focus stays where it is.
    void SetTrying(bool bTrying) const;
};

// On a frame of their own in `over`.
SignInFields MakeSignInFields(const SignInEntry& entry, const SignInOffer& offer,
                              const std::vector<std::uint16_t>& languages, std::uint16_t language,
                              QWidget& over);

SavedServer ServerOf(const SignInEntry& entry);

}  // namespace kvmon
