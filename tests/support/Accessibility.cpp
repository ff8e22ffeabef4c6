#include "tests/support/Accessibility.h"

#include "tests/support/MainLoop.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <utility>

namespace morvel::test {

namespace {

constexpr const char* rootPath = "/org/a11y/atspi/accessible/root";
constexpr const char* announcementName = "org.a11y.Bus";
constexpr const char* announcementPath = "/org/a11y/bus";
constexpr const char* accessibleInterface = "org.a11y.atspi.Accessible";
constexpr int deepest = 40;
constexpr int callLimit = 5000; // ms

} // namespace

// The service that programs ask for the bus of assistive technology.
class Accessibility::Announcement : public QDBusVirtualObject {
public:
    explicit Announcement(QString address)
        : address_(std::move(address)) {}

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() == "GetAddress")
            connection.send(message.createReply(address_));
        else
            connection.send(message.createReply(QVariant::fromValue(QDBusVariant(true))));
        return true;
    }

private:
    const QString address_;
};

struct Accessibility::Node {
    QString path;
    std::string window;

    QVariantList call(const SessionBus& bus, const QString& service, const QString& interface,
                      const QString& method, const QVariantList& arguments = {}) const {
        QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
        message.setArguments(arguments);
        const QDBusMessage reply = bus.connection().call(message, QDBus::Block, callLimit);
        return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments() : QVariantList();
    }
    std::string name(const SessionBus& bus, const QString& service) const {
        const QVariantList answer = call(bus, service, "org.freedesktop.DBus.Properties", "Get",
                                         {QString(accessibleInterface), QString("Name")});
        return answer.isEmpty()
                   ? std::string()
                   : answer.first().value<QDBusVariant>().variant().toString().toStdString();
    }
};

Accessibility::Accessibility(DesktopSession& session)
    : bus_(session.bus())
    , announcement_(
          std::make_unique<Announcement>(QString::fromStdString(session.bus().address()))) {
    QDBusConnection connection = bus_.connection();
    connection.registerVirtualObject(announcementPath, announcement_.get(),
                                     QDBusConnection::SubPath);
    connection.registerService(announcementName);
}

Accessibility::~Accessibility() {
    QDBusConnection connection = bus_.connection();
    connection.unregisterService(announcementName);
    connection.unregisterObject(announcementPath);
}

void Accessibility::follow(pid_t program) {
    program_ = program;
    service_.clear();
}

// The program has more than one name on the bus: that one which serves the tree.
bool Accessibility::connect() {
    if (!service_.isEmpty())
        return true;
    const QStringList names = bus_.connection().interface()->registeredServiceNames();
    for (const QString& name : names) {
        if (!name.startsWith(':') || bus_.processOf(name) != program_)
            continue;
        if (!Node{rootPath, {}}.call(bus_, name, accessibleInterface, "GetRoleName").isEmpty()) {
            service_ = name;
            return true;
        }
    }
    return false;
}

std::vector<Accessibility::Node> Accessibility::children(const Node& node) {
    std::vector<Node> result;
    const QVariantList answer = node.call(bus_, service_, accessibleInterface, "GetChildren");
    if (answer.isEmpty())
        return result;
    const auto list = answer.first().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString owner;
        QDBusObjectPath path;
        list.beginStructure();
        list >> owner >> path;
        list.endStructure();
        result.push_back({path.path(), node.window});
    }
    list.endArray();
    return result;
}

Control Accessibility::describe(const Node& node) {
    Control control;
    control.window = node.window;
    control.name = node.name(bus_, service_);
    if (const auto role = node.call(bus_, service_, accessibleInterface, "GetRoleName");
        !role.isEmpty())
        control.role = role.first().toString().toStdString();
    const auto place =
        node.call(bus_, service_, "org.a11y.atspi.Component", "GetExtents", {QVariant(uint{0})});
    if (!place.isEmpty()) {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        const auto values = place.first().value<QDBusArgument>();
        values.beginStructure();
        values >> x >> y >> width >> height;
        values.endStructure();
        control.place = QRect(x, y, width, height);
    }
    const auto states = node.call(bus_, service_, accessibleInterface, "GetState");
    if (!states.isEmpty()) {
        const auto values = states.first().value<QDBusArgument>();
        values.beginArray();
        for (int shift = 0; !values.atEnd(); shift += 32) {
            uint half = 0;
            values >> half;
            control.states |= std::uint64_t{half} << shift;
        }
        values.endArray();
    }
    return control;
}

bool Accessibility::walk(const Node& node, int depth,
                         const std::function<bool(const Node&)>& visit) {
    if (visit(node))
        return true;
    if (depth == deepest)
        return false;
    for (const Node& child : children(node))
        if (walk(child, depth + 1, visit))
            return true;
    return false;
}

bool Accessibility::findNode(const std::string& window,
                             const std::function<bool(const Node&)>& visit) {
    if (!connect())
        return false;
    for (Node& top : children({rootPath, {}})) {
        top.window = top.name(bus_, service_);
        if (top.window == window && walk(top, 0, visit))
            return true;
    }
    return false;
}

std::vector<Control> Accessibility::controls(const std::string& window) {
    std::vector<Control> result;
    findNode(window, [&](const Node& node) {
        result.push_back(describe(node));
        return false;
    });
    return result;
}

std::optional<Control> Accessibility::find(const std::string& window, const std::string& name,
                                           const Wanted& wanted) {
    std::optional<Control> found;
    findNode(window, [&](const Node& node) {
        if (node.name(bus_, service_) != name)
            return false;
        const Control control = describe(node);
        if (!control.place.isEmpty() && (!wanted || wanted(control)))
            found = control;
        return found.has_value();
    });
    return found;
}

std::optional<Control> Accessibility::await(const std::string& window, const std::string& name,
                                            const Wanted& wanted, std::chrono::milliseconds limit) {
    std::optional<Control> found;
    QTimer again;
    again.start(std::chrono::milliseconds(20));
    runUntil([&] { return (found = find(window, name, wanted)).has_value(); }, limit);
    return found;
}

bool Accessibility::awaitNone(const std::string& window, const std::string& name,
                              const Wanted& wanted, std::chrono::milliseconds limit) {
    QTimer again;
    again.start(std::chrono::milliseconds(20));
    return runUntil([&] { return !find(window, name, wanted); }, limit);
}

bool Accessibility::press(const std::string& window, const std::string& name) {
    return findNode(window, [&](const Node& node) {
        return node.name(bus_, service_) == name &&
               !node.call(bus_, service_, "org.a11y.atspi.Action", "DoAction", {QVariant(0)})
                    .isEmpty();
    });
}

} // namespace morvel::test
