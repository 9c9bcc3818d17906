// One recorder of the list, for the user to enter, try and change.
#pragma once

#include <QtWidgets/QDialog>
#include <memory>
#include <vector>

#include "console/settings/multi_server_list.h"
#include "platform/clock.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace kvmon {

class CPictureEx;
class RecorderTrial;
struct RecorderTestReport;

// User interface thread only.
enum class EntryUse { Add, Change };

class RecorderEntryDialog final : public QDialog {
public:
    // `others` are listed already, so that the entry cannot be one of them. A trial ends after `trialTime`.
    RecorderEntryDialog(const SavedServer& entry, std::vector<SavedServer> others, EntryUse use,
                        QWidget* parent, Milliseconds trialTime = Milliseconds(15000));
    ~RecorderEntryDialog() override;

    SavedServer GetEntry() const;
    // What is wrong with the entry is said in the dialog, which stays then.
    void accept() override;

private:
    void Trial();
    void OnTried(const RecorderTestReport& report);
    void EndTrial(const std::string& text);
    void Say(const std::string& text);
    bool SayFault();

    const SavedServer m_start;
    SavedServer m_tried;  // as it was found to work
    const std::vector<SavedServer> m_others;
    QLineEdit* m_name;
    QLineEdit* m_address;
    QSpinBox* m_port;
    QLineEdit* m_user;
    QLineEdit* m_password;
    CPictureEx* m_turning;  // while it is tested
    QPushButton* m_test;
    QLabel* m_message;
    std::unique_ptr<RecorderTrial> m_trial;
};

}  // namespace kvmon
