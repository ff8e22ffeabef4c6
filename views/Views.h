// Makes a QML engine know what Morvel's views are built of. Main thread.
#pragma once

class QQmlEngine;

namespace morvel {

// Once for each engine, before it loads a view.
void prepareViews(QQmlEngine& engine);

} // namespace morvel
