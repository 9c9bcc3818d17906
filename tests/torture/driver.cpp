// The user of kvmon: loaded into the program, it looks at the window's pixels and presses keys as the window
// system would. What it sees it writes into the file KV_DRIVE_LOG, a line each.
//
//   KV_DRIVE_PATIENCE   seconds that it waits for what should come; then it goes on to the next thing
//   KV_DRIVE_STYLE      set: a wall of four channels is chosen, and nothing else done
#include <fcntl.h>
#include <qpa/qwindowsysteminterface.h>
#include <unistd.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtGui/QImage>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QWidget>
#include <array>
#include <string>

namespace {

constexpr int kTickMs = 150;
constexpr int kSnapshotMs = 1200;
constexpr int kAgainMs = 4000;
constexpr int kCells = 4;
// The wall in a window of its least size.
constexpr QRect kWall(20, 66, 778, 545);

class User : public QObject {
public:
    explicit User(QObject* parent) : QObject(parent) {
        m_file = ::open(qgetenv("KV_DRIVE_LOG").constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
        m_patienceMs = 1000 * qMax(1, qEnvironmentVariableIntValue("KV_DRIVE_PATIENCE"));
        m_bStyleOnly = qEnvironmentVariableIsSet("KV_DRIVE_STYLE");
        connect(&m_timer, &QTimer::timeout, this, [this] { Turn(); });
        m_timer.start(kTickMs);
        m_since.start();
    }
    ~User() override { ::close(m_file); }

private:
    enum class Step { Begin, Live, Paged, Snapshot, Leave, Close, End };

    void Say(const std::string& line) {
        const std::string text = line + "\n";
        [[maybe_unused]] const ssize_t written = ::write(m_file, text.data(), text.size());
    }
    void Go(Step step) {
        m_step = step;
        m_since.restart();
        m_before = QImage();
        m_moved = {};
        m_bPressed = false;
    }
    bool IsLate() const { return m_since.elapsed() > m_patienceMs; }

    static QWidget* Main() {
        for (QWidget* const window : QApplication::topLevelWidgets()) {
            // Its title tells what it shows.
            if (window->isVisible() && window->windowType() == Qt::Window &&
                qobject_cast<QDialog*>(window) == nullptr) {
                return window;
            }
        }
        return nullptr;
    }

    static void Press(QWidget* window, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
                      const QString& text = {}) {
        QWindow* const handle = window->windowHandle();
        if (handle != nullptr) {
            QWindowSystemInterface::handleKeyEvent(handle, QEvent::KeyPress, key, modifiers, text);
            QWindowSystemInterface::handleKeyEvent(handle, QEvent::KeyRelease, key, modifiers, text);
        }
    }

    // Words that the program tells are read, and the box is closed.
    bool CloseBox() {
        QWidget* const box =
            QApplication::activeModalWidget() != nullptr ? QApplication::activeModalWidget() : FindDialog();
        if (box == nullptr) {
            return false;
        }
        std::string words;
        for (const QLabel* const label : box->findChildren<QLabel*>()) {
            words += " " + label->text().simplified().toStdString();
        }
        Say("words:" + words);
        Press(box, Qt::Key_Escape);
        return true;
    }
    static QWidget* FindDialog() {
        for (QWidget* const window : QApplication::topLevelWidgets()) {
            if (window->isVisible() && qobject_cast<QDialog*>(window) != nullptr) {
                return window;
            }
        }
        return nullptr;
    }

    static QLineEdit* PasswordField(const QWidget* window) {
        for (QLineEdit* const field : window->findChildren<QLineEdit*>()) {
            if (field->isVisible() && field->echoMode() == QLineEdit::Password) {
                return field;
            }
        }
        return nullptr;
    }

    // Signs in by hand where the login by itself has not come to be.
    void SignIn(QWidget* window) {
        QLineEdit* const field = PasswordField(window);
        if (field == nullptr || !field->isEnabled() || m_since.elapsed() < m_nextTry) {
            return;
        }
        m_nextTry = m_since.elapsed() + kAgainMs;
        for (const QLabel* const label : window->findChildren<QLabel*>()) {
            if (label->isVisible() && !label->text().isEmpty()) {
                Say("card: " + label->text().simplified().toStdString());
            }
        }
        field->setFocus();
        field->clear();
        for (const QChar c : QStringLiteral("secret")) {
            Press(window, c.toUpper().unicode(), Qt::NoModifier, QString(c));
        }
        Press(window, Qt::Key_Return);
    }

    // Each picture has a clock at its lower edge; a cell is live if that changes twice.
    bool AllLive(QWidget* window) {
        const QImage now = window->grab(kWall).toImage().convertToFormat(QImage::Format_RGB32);
        if (m_before.isNull()) {
            m_before = now;
            return false;
        }
        const int width = kWall.width() / 2;
        const int height = kWall.height() / 2;
        bool bAll = true;
        for (int cell = 0; cell < kCells; ++cell) {
            const QRect clock(cell % 2 * width + width / 5, cell / 2 * height + height * 17 / 20,
                              width * 3 / 5, height / 9);
            auto& moved = m_moved[static_cast<std::size_t>(cell)];
            moved += now.copy(clock) != m_before.copy(clock) ? 1 : 0;
            bAll = bAll && moved >= 2;
        }
        m_before = now;
        return bAll;
    }

    // A key whose work was left out is pressed again by any user.
    void PressNowAndThen(QWidget* window, int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        if (!m_bPressed || m_since.elapsed() > m_nextPress) {
            m_bPressed = true;
            m_nextPress = m_since.elapsed() + kAgainMs;
            Press(window, key, modifiers);
        }
    }

    // Four live channels, and out again, so that the program keeps them.
    void ChooseStyle(QWidget* window) {
        PressNowAndThen(window, Qt::Key_2);
        if (m_since.elapsed() > kAgainMs / 2 && AllLive(window)) {
            Go(Step::Leave);
        }
    }

    void WaitForLive(QWidget* window, const char* name, Step next) {
        if (PasswordField(window) != nullptr) {
            SignIn(window);
        } else if (AllLive(window)) {
            Say(name);
            Go(next);
            return;
        }
        if (IsLate()) {
            const QString path = QString::fromLocal8Bit(qgetenv("KV_DRIVE_LOG")) + QStringLiteral(".png");
            window->grab().save(path);
            Say(std::string("not ") + name);
            Go(next);
        }
    }

    void Turn() {
        QWidget* const window = Main();
        if (window == nullptr) {
            return;
        }
        const bool bBox = CloseBox();
        switch (m_step) {
            case Step::Begin:
                Say("window");
                Go(Step::Live);
                return;
            case Step::Live:
                if (m_bStyleOnly) {
                    ChooseStyle(window);
                } else {
                    WaitForLive(window, "live", Step::Paged);
                }
                return;
            case Step::Paged:
                if (!m_bPressed) {
                    m_bPressed = true;
                    Press(window, Qt::Key_PageDown);
                } else if (m_since.elapsed() > 2 * kTickMs) {
                    WaitForLive(window, "live on the second page", Step::Snapshot);
                }
                return;
            case Step::Snapshot:
                if (!m_bPressed || (bBox && m_snapshots < 3)) {
                    m_bPressed = true;
                    ++m_snapshots;
                    m_since.restart();
                    Press(window, Qt::Key_S);
                } else if (m_since.elapsed() > kSnapshotMs) {
                    Say("snapshot asked for");
                    Go(Step::Leave);
                }
                return;
            case Step::Leave:
                PressNowAndThen(window, Qt::Key_L, Qt::ControlModifier);
                if (PasswordField(window) != nullptr || IsLate()) {
                    Say(PasswordField(window) != nullptr ? "logged out" : "not logged out");
                    Go(Step::Close);
                }
                return;
            case Step::Close:
                if (m_since.elapsed() > 2 * kTickMs) {
                    Say("close");
                    Go(Step::End);
                    QWindowSystemInterface::handleCloseEvent(window->windowHandle());
                }
                return;
            case Step::End:
                if (m_since.elapsed() > kAgainMs) {
                    Go(Step::Close);
                }
                return;
        }
    }

    QTimer m_timer;
    QElapsedTimer m_since;
    Step m_step = Step::Begin;
    int m_file = -1;
    int m_patienceMs = 1000;
    bool m_bStyleOnly = false;
    bool m_bPressed = false;
    int m_snapshots = 0;
    qint64 m_nextTry = 2000;
    qint64 m_nextPress = 0;
    QImage m_before;
    std::array<int, kCells> m_moved{};
};

void Begin() {
    if (qEnvironmentVariableIsSet("KV_DRIVE_LOG")) {
        new User(QCoreApplication::instance());
    }
}
Q_COREAPP_STARTUP_FUNCTION(Begin)

}  // namespace
