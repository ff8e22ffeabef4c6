// The part of a desktop portal that listens for shortcuts, as its interface describes it: requests
// that are answered by a signal, sessions, presses. A test says how it answers.
//
// Answers while the main run loop runs. Main thread.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <deque>
#include <string>

namespace morvel::test {

class ShortcutPortal : public QDBusVirtualObject {
    Q_OBJECT

public:
    struct Bound {
        QString session;
        QString name;
        QVariantMap properties;
        QString parentWindow;
    };

    // On the bus, but not yet there.
    explicit ShortcutPortal(const std::string& busAddress);
    ~ShortcutPortal() override;

    // Takes the portal's name; goes away, as with its process.
    void appear();
    void vanish();

    // How it answers.
    bool hasShortcuts = true;
    bool hasRegistry = true;
    bool needsName = false;      // refuses who has not told its name
    bool holdsResponses = false; // until respond()
    bool usesOwnPaths = false;   // for requests, as old portals do
    uint sessionResponse = 0;
    uint bindResponse = 0;
    QString keys = "Ctrl+Alt+Super+M"; // what it grants; empty for none
    QVariant sessionHandle;            // in place of the right one
    QVariant shortcuts;                // in place of the right list
    bool listsShortcuts = true;

    // Sends the oldest response that is held.
    void respond();
    // The keys of the last shortcut that was bound are pressed and released, or, where they are
    // said, those of another one.
    void press(const QString& session = {}, const QString& name = {});
    // One of the two alone: "Activated", as some send again while it is held, or "Deactivated".
    void move(const char* motion, const QString& session = {}, const QString& name = {});
    void changeKeys(const QString& now);
    void closeSession();
    // Anything else it may say.
    void send(const QDBusMessage& message) { bus_.send(message); }

    // What it was asked for.
    QStringList calls; // "Interface.Method"
    QStringList registered;
    std::deque<Bound> bound;
    QString session;    // the last one
    QStringList closed; // paths, by their owner
    QString client;     // who asked last
    std::size_t held() const { return responses_.size(); }
    int count(const QString& call) const { return static_cast<int>(calls.count(call)); }

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    void leave();
    QDBusMessage answer(const QDBusMessage& call, QDBusMessage& response);
    QDBusMessage createSession(const QDBusMessage& call, QDBusMessage& response);
    QDBusMessage bindShortcuts(const QDBusMessage& call, QDBusMessage& response);
    QString path(const char* kind, const QDBusMessage& call, const QString& token) const;
    QDBusMessage responseAt(const QString& request, uint code, const QVariantMap& results) const;
    QDBusMessage signalFor(const QString& path, const QString& interface,
                           const QString& name) const;

    const QString address_;
    QDBusConnection bus_;
    std::deque<QDBusMessage> responses_;
};

// A shortcut's list as portals send it.
QVariant shortcutList(const QString& name, const QVariantMap& properties);

} // namespace morvel::test
