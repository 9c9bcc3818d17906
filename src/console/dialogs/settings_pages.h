// The three pages of the settings dialog.
#pragma once

#include <QtWidgets/QWidget>
#include <functional>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace kvmon {

struct ConsoleOptions;

// Whether the user may choose it.
enum class SnapshotFolder { Chosen, Fixed };

// A page shows its part of the options and writes that part back.
class SettingsPage : public QWidget {
public:
    // `changed` is called whenever the user changed something on the page.
    explicit SettingsPage(std::function<void()> changed) : m_changed(std::move(changed)) {}

    virtual void Show(const ConsoleOptions& options) = 0;
    virtual void Read(ConsoleOptions& options) const = 0;

protected:
    QCheckBox* AddCheck(int id, std::uint32_t text);

    const std::function<void()> m_changed;
};

class GeneralPage final : public SettingsPage {
public:
    // `resetOrder` puts the display order back, at once and for good; `openRecorders` opens their list.
    GeneralPage(std::function<void()> changed, std::function<void()> resetOrder,
                std::function<void()> openRecorders);

    void Show(const ConsoleOptions& options) override;
    void Read(ConsoleOptions& options) const override;

private:
    QCheckBox* m_eventNotify;
    QCheckBox* m_toolbar;
    QComboBox* m_look;
    QPushButton* m_reset;
};

class VideoWindowPage final : public SettingsPage {
public:
    explicit VideoWindowPage(std::function<void()> changed);

    void Show(const ConsoleOptions& options) override;
    void Read(ConsoleOptions& options) const override;

private:
    QRadioButton* m_fromCamera;
    QRadioButton* m_fromRecorder;
    QCheckBox* m_highlight;
    QCheckBox* m_noRight;
    QCheckBox* m_noConfig;
    QCheckBox* m_recorderName;
};

class SnapshotPage final : public SettingsPage {
public:
    // With a fixed folder neither the name nor the folder is the user's choice.
    SnapshotPage(std::function<void()> changed, SnapshotFolder choice);

    void Show(const ConsoleOptions& options) override;
    void Read(ConsoleOptions& options) const override;

private:
    void Browse();

    QCheckBox* m_askName;
    QLineEdit* m_folder;
    QPushButton* m_browse;
    QComboBox* m_format;
    QCheckBox* m_timeStamp;
    QCheckBox* m_processed;
};

}  // namespace kvmon
