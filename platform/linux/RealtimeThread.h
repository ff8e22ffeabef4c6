// Lets a thread run before all ordinary ones, so that sound goes on while programs are busy.
#pragma once

#include <pthread.h>

#include <QDBusConnection>
#include <optional>
#include <string>

namespace morvel {

// Gives `thread` of this process the round-robin real-time policy: by the process's own right where
// it has it, else by the system's RealtimeKit service (D-Bus), which then also limits how long the
// process may compute without a pause (RLIMIT_RTTIME). Waits for the service, so never call it on
// the audio thread or the main thread. `thread` must be running. Answers nothing, or why the thread
// stays an ordinary one.
std::optional<std::string> makeRealtime(pthread_t thread);

// The same by the service alone, on the given bus.
std::optional<std::string> makeRealtimeByService(pthread_t thread, const QDBusConnection& bus);

} // namespace morvel
