#include "views/Views.h"

// Generated with the module. A static library's registration is linked only where it is named.
extern void qml_register_types_Morvel_Views();

namespace morvel {

void prepareViews(QQmlEngine&) {
    qml_register_types_Morvel_Views();
}

} // namespace morvel
