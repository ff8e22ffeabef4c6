// The colour that a symbol must have to be seen on the panel.
#pragma once

#include <QColor>
#include <QRect>
#include <optional>

class QScreen;

namespace morvel {

// For a panel that nothing is known of: seen on light and on dark.
inline const QColor inkOfUnknownPanel(128, 128, 128);

// Looks at the pixels around `icon`, else at those of the one edge of the screen that a panel takes
// up, and answers a dark ink for a light panel and a light one for a dark panel; the ink of an
// unknown panel where there is nothing to look at.
QColor panelInk(QScreen& screen, const std::optional<QRect>& icon);

} // namespace morvel
