// The session's bus needs an application.
#pragma once

#include <QCoreApplication>

namespace morvel::bench {

struct Application {
    int count = 1;
    char name[6] = "bench";
    char* arguments[2] = {name, nullptr};
    QCoreApplication application{count, arguments};
};

} // namespace morvel::bench
