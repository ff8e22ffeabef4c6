// Watches, live, whether the system lets this process hear keys system-wide.
//
// Main thread, all of it. Environment variables, read once at creation, simulate missing trust:
//   MORVEL_SIMULATE_UNTRUSTED=1              untrusted for the whole run
//   MORVEL_SIMULATE_UNTRUSTED_SECONDS=<n>    untrusted for the first n seconds; read only without
//                                            the one above
//   MORVEL_SIMULATE_REVOKE_AFTER_SECONDS=<n> trust is lost for good after n seconds
// <n> is a decimal number; anything else counts as absent.
#pragma once

#include "platform/ApplicationActivation.h"
#include "platform/ApplicationBundle.h"
#include "platform/Clock.h"
#include "platform/Environment.h"
#include "platform/Log.h"
#include "platform/ProcessTable.h"
#include "platform/Scheduler.h"
#include "platform/TrustSource.h"

#include <QObject>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel {

struct ProcessInfoEntry {
    std::int32_t pid = 0;
    std::optional<std::string> path;

    bool operator==(const ProcessInfoEntry&) const = default;
};

class AccessibilityPermission : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isTrusted READ isTrusted NOTIFY isTrustedChanged)

public:
    static constexpr double pollInterval = 2.0; // seconds
    static constexpr std::size_t longestAncestry = 12;

    // What the monitor uses; all of it must outlive the monitor.
    struct Services {
        TrustSource& trust;
        const ProcessTable& processes;
        const Clock& clock;
        Scheduler& scheduler;
        ApplicationActivation& activation;
        Log& log;
    };

    AccessibilityPermission(Services services, ApplicationBundle bundle,
                            const Environment& environment);
    ~AccessibilityPermission() override;

    // Trust as last computed.
    bool isTrusted() const { return isTrusted_; }

    // Begins to recompute trust every pollInterval and whenever the application becomes active.
    // Nothing happens when already monitoring.
    void startMonitoring();
    void stopMonitoring();
    bool isMonitoring() const { return pollTimer_ != nullptr; }

    // Recomputes trust now; logs and signals only a change.
    Q_INVOKABLE void refresh();

    // Shows the system's prompt, then refreshes: a simulation wins over the prompt's answer.
    Q_INVOKABLE void requestAccess();

    // Logs what the system sees when it decides on trust: program, bundle, ancestry.
    void logIdentity();

    // From `pid` up through its parents to the first process, the first that tells no parent, or
    // longestAncestry entries.
    std::vector<ProcessInfoEntry> ancestorChain(std::int32_t pid) const;

signals:
    void willChange(); // before isTrusted has its new value
    void isTrustedChanged(bool trusted);

private:
    void readEnvironment(const Environment& environment);
    void logSimulations();
    bool currentTrust();

    const Services services_;
    const ApplicationBundle bundle_;
    bool isTrusted_ = false;
    std::unique_ptr<Timer> pollTimer_;
    std::unique_ptr<ApplicationActivation::Observation> activationObserver_;
    const double launchedAt_;                     // on the clock's time line
    std::optional<double> simulatedUntrustedFor_; // seconds; +infinity is for ever
    std::optional<double> simulatedRevokeAfter_;  // seconds
};

} // namespace morvel
