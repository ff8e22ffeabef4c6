#include "app/trust/AccessibilityPermission.h"

#include "platform/Utf8.h"

#include <fmt/format.h>

#include <array>
#include <limits>
#include <string_view>
#include <utility>

namespace morvel {

namespace {

constexpr std::string_view closingLine = "--------------------------------------";

constexpr std::array<std::string_view, 6> looseExecutableNote = {
    "  NOTE: no bundle identity. Accessibility cannot be granted to",
    "        \"Morvel\" itself: grant it to the responsible application in the chain",
    "        above, typically the terminal or code editor that started this development",
    "        build. If the chain stops at launchd, this process was detached: relaunch",
    "        it in the foreground to see the responsible application.",
    "        A distribution .app bundle would be trusted on its own.",
};

std::string_view textOf(bool value) {
    return value ? "true" : "false";
}

} // namespace

AccessibilityPermission::AccessibilityPermission(Services services, ApplicationBundle bundle,
                                                 const Environment& environment)
    : services_(services)
    , bundle_(std::move(bundle))
    , launchedAt_(services.clock.now()) {
    readEnvironment(environment);
    isTrusted_ = currentTrust();
    logSimulations();
}

AccessibilityPermission::~AccessibilityPermission() {
    stopMonitoring();
}

void AccessibilityPermission::readEnvironment(const Environment& environment) {
    if (environment("MORVEL_SIMULATE_UNTRUSTED") == "1")
        simulatedUntrustedFor_ = std::numeric_limits<double>::infinity();
    else
        simulatedUntrustedFor_ = decimalNumber(environment, "MORVEL_SIMULATE_UNTRUSTED_SECONDS");
    simulatedRevokeAfter_ = decimalNumber(environment, "MORVEL_SIMULATE_REVOKE_AFTER_SECONDS");
}

void AccessibilityPermission::logSimulations() {
    if (simulatedRevokeAfter_)
        services_.log.line(
            fmt::format("SIMULATING revocation after {:.0f}s — real AXIsProcessTrusted() is {}",
                        *simulatedRevokeAfter_, textOf(services_.trust.isTrusted())));
    if (simulatedUntrustedFor_) {
        const std::string seconds = std::isinf(*simulatedUntrustedFor_)
                                        ? "∞"
                                        : fmt::format("{:.0f}", *simulatedUntrustedFor_);
        services_.log.line(
            fmt::format("SIMULATING untrusted for {}s — real AXIsProcessTrusted() is {}", seconds,
                        textOf(services_.trust.isTrusted())));
    }
}

bool AccessibilityPermission::currentTrust() {
    const double elapsed = services_.clock.now() - launchedAt_;
    if (simulatedUntrustedFor_ && elapsed < *simulatedUntrustedFor_)
        return false;
    if (simulatedRevokeAfter_ && elapsed >= *simulatedRevokeAfter_)
        return false;
    return services_.trust.isTrusted();
}

void AccessibilityPermission::startMonitoring() {
    if (pollTimer_)
        return;
    activationObserver_ = services_.activation.observe([this] { refresh(); });
    pollTimer_ = services_.scheduler.repeating(pollInterval, [this] { refresh(); });
}

void AccessibilityPermission::stopMonitoring() {
    pollTimer_.reset();
    activationObserver_.reset();
}

// The signal comes last: what its subscribers log follows the line that explains it.
void AccessibilityPermission::refresh() {
    const bool trusted = currentTrust();
    if (trusted == isTrusted_)
        return;
    emit willChange();
    isTrusted_ = trusted;
    services_.log.line(
        fmt::format("Accessibility trust changed -> {}", trusted ? "TRUSTED" : "NOT TRUSTED"));
    emit isTrustedChanged(trusted);
}

void AccessibilityPermission::requestAccess() {
    const bool immediate = services_.trust.prompt();
    services_.log.line(fmt::format("Prompted for Accessibility access; immediate result -> {}",
                                   textOf(immediate)));
    refresh();
}

std::vector<ProcessInfoEntry> AccessibilityPermission::ancestorChain(std::int32_t pid) const {
    std::vector<ProcessInfoEntry> chain;
    for (;;) {
        chain.push_back({pid, services_.processes.executablePath(pid)});
        if (pid < 2)
            return chain;
        const auto parent = services_.processes.parentPid(pid);
        if (!parent || *parent == pid || chain.size() >= longestAncestry)
            return chain;
        pid = *parent;
    }
}

void AccessibilityPermission::logIdentity() {
    Log& log = services_.log;
    const std::int32_t own = services_.processes.ownPid();
    const std::string bundlePath = asValidUtf8(bundle_.path.string());
    log.line("---- Accessibility trust identity ----");
    log.line(fmt::format("  executable : {}", bundle_.executable
                                                  ? asValidUtf8(bundle_.executable->string())
                                                  : "<unknown>"));
    log.line(fmt::format("  bundle path: {}", bundlePath));
    log.line(fmt::format("  bundle id  : {}",
                         bundle_.identifier.value_or("<none — not an .app bundle>")));
    log.line(fmt::format("  pid        : {}", own));
    log.line(fmt::format("  AXIsProcessTrusted() -> {}", textOf(services_.trust.isTrusted())));
    log.line("  ancestry (child -> ancestor):");
    std::string indent;
    for (const ProcessInfoEntry& entry : ancestorChain(own)) {
        log.line(fmt::format("    {}[{}] {}", indent, entry.pid, entry.path.value_or("<unknown>")));
        indent += "  ";
    }
    if (!bundle_.identifier || !bundlePath.ends_with(".app"))
        for (const std::string_view line : looseExecutableNote)
            log.line(line);
    log.line(closingLine);
}

} // namespace morvel
