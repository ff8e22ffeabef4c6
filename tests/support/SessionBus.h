// A D-Bus session bus of the test's own.
#pragma once

#include "tests/support/ChildProcess.h"

#include <sys/types.h>

#include <QDBusConnection>
#include <QString>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

// Needs a QCoreApplication; main thread.
class SessionBus {
public:
    // The bus listens in `folder`; what it starts itself gets `environment` too. Returns when it
    // accepts clients. Throws std::runtime_error where it cannot start.
    SessionBus(const std::filesystem::path& folder, std::vector<std::string> environment);
    // Services that the bus has started end with it; this waits for them.
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    const std::string& address() const { return address_; }
    const QDBusConnection& connection() const { return *connection_; }

    bool hasName(const QString& name) const;
    // Waits until somebody owns the name, or nobody does.
    bool awaitName(const QString& name,
                   std::chrono::milliseconds limit = std::chrono::seconds(20)) const;
    bool awaitNoName(const QString& name,
                     std::chrono::milliseconds limit = std::chrono::seconds(20)) const;
    // The process of a name's owner; 0: nobody.
    pid_t processOf(const QString& name) const;

private:
    bool awaitOwned(const QString& name, bool owned, std::chrono::milliseconds limit) const;

    std::string address_;
    QString name_; // of the connection, in this process
    std::unique_ptr<ChildProcess> process_;
    std::unique_ptr<QDBusConnection> connection_;
};

} // namespace morvel::test
