#include "platform/qt/QtApplicationActivation.h"

#include <QGuiApplication>
#include <utility>

namespace morvel {

namespace {

class QtObservation : public ApplicationActivation::Observation {
public:
    explicit QtObservation(std::function<void()> activated) {
        QObject::connect(qGuiApp, &QGuiApplication::applicationStateChanged, &context_,
                         [activated = std::move(activated)](Qt::ApplicationState state) {
                             if (state == Qt::ApplicationActive)
                                 activated();
                         });
    }

private:
    QObject context_; // the connection lives as long as this
};

} // namespace

void QtApplicationActivation::becomeAccessory() {
    QGuiApplication::setQuitOnLastWindowClosed(false);
}

std::unique_ptr<ApplicationActivation::Observation>
QtApplicationActivation::observe(std::function<void()> activated) {
    return std::make_unique<QtObservation>(std::move(activated));
}

} // namespace morvel
