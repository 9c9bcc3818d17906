// The application that survives an exception of what it runs, mostly since memory is short.
#pragma once

#include <QtCore/QCoreApplication>
#include <exception>

namespace kvmon {

// One line on standard error, once for many; allocates nothing.
void TellLeftOut(const std::exception& cause);

// All events come by here, before any function of Qt or of a library in C that an exception must not pass.
template <typename Application>
class Guarded final : public Application {
public:
    Guarded(int& argc, char** argv) : Application(argc, argv) {}

    bool notify(QObject* receiver, QEvent* event) override {
        try {
            return Application::notify(receiver, event);
        } catch (const std::exception& cause) {
            TellLeftOut(cause);
            return false;
        }
    }
};

}  // namespace kvmon
