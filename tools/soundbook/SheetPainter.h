// The hand that draws a contact sheet: colours, fonts and the parts of a panel, all in points.
#pragma once

#include "sound/SoundCategory.h"
#include "themes/SoundTheme.h"
#include "tools/soundbook/Spectrogram.h"

#include <QImage>
#include <QPainter>
#include <QRect>
#include <QString>
#include <span>
#include <vector>

namespace morvel::soundbook {

class SheetPainter {
public:
    // What the sheet's scales end at, as amplitudes.
    struct Loudest {
        float peak = 0;    // of the waveforms
        float partial = 0; // of the spectrograms
    };

    // Fills the image's background.
    SheetPainter(QImage& image, Loudest loudest);

    // The picture with a palette of the few colours that are painted with.
    static QImage packed(const QImage& image);

    static float peakOf(std::span<const float> sound);

    // Where the time axis of a panel begins that ends at `seconds`: a little before the sound.
    static double start(double seconds);

    void header(const QRect& area, const SoundTheme& theme, const QString& description);
    void title(const QRect& area, SoundCategory category, std::size_t variants);
    void waveform(const QRect& area, std::span<const float> sound, double seconds);
    // One row of the spectrogram is a point high, and one column a point wide.
    void spectrogram(const QRect& area, const Spectrogram& spectrogram, double seconds);
    // Brighter where it is not the axis that most panels share.
    void timeAxis(const QRect& area, double seconds, bool ofItsOwn);
    // To the left of a spectrogram's `area`.
    void frequencyAxis(const QRect& area);

private:
    void text(const QRectF& area, int alignment, const QString& words, const QColor& colour,
              int size, QFont::Weight weight = QFont::Normal);
    void legend(const QRect& area);
    // Without mixing colours that are not in the scale.
    void drawSharply(const QRect& area, const QImage& picture);
    QRgb colour(float amplitude) const;

    QPainter painter_;
    double pixelRatio_;
    Loudest loudest_;
    std::vector<QRgb> scale_; // from silence to the loudest
};

} // namespace morvel::soundbook
