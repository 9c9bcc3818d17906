// The manager of services that may have started the program, by what it puts into the environment.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace kvhost {

// Tells it a state, as "READY=1", at $NOTIFY_SOCKET. Never waits; nothing happens without a manager. Any
// thread.
void TellManager(std::string_view state) noexcept;
// The state of a program that begins to read its configuration again; "READY=1" ends it.
std::string ReloadingState();

// How often it is to be told "WATCHDOG=1": twice in its time. Nothing if it does not ask for it.
std::optional<std::chrono::milliseconds> WatchdogPause();

// A listening socket that it has opened for this program, under a number above 9 and not handed on to others.
// Nothing without one; a second call gives nothing.
std::optional<int> TakeListeningSocket();

// The file of a credential that it hands on; "" without one, or one of a single byte, which units set where
// there is none.
std::string CredentialFile(std::string_view name);

}  // namespace kvhost
