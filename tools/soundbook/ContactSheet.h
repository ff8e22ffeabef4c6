// A theme at a glance: a panel with waveform and spectrogram for every category that it has sounds
// of its own for, showing the first variant as loud as the theme plays it.
#pragma once

#include "sound/SoundCategory.h"
#include "themes/SoundTheme.h"

#include <QImage>
#include <QRect>
#include <QString>
#include <vector>

namespace morvel::soundbook {

// Needs a QGuiApplication, for its fonts.
class ContactSheet {
public:
    static constexpr int pixelRatio = 2;

    // In points, of which the picture has pixelRatio to the pixel's edge.
    struct Panel {
        SoundCategory category;
        QPoint position;
        double seconds;  // that the time axis shows, from just before the sound
        bool hasOwnTime; // longer than the axis that most share; marked by brighter figures

        QRect title() const;
        QRect waveform() const;
        QRect spectrogram() const;
        QRect timeAxis() const;
    };

    // `description` is the theme's own, or empty. The theme must outlive the sheet.
    ContactSheet(const SoundTheme& theme, QString description);

    // In the vocabulary's order.
    const std::vector<Panel>& panels() const { return panels_; }

    QImage draw() const;

private:
    int height() const;
    void paint(QImage& image) const;

    const SoundTheme& theme_;
    QString description_;
    std::vector<Panel> panels_;
};

} // namespace morvel::soundbook
