#include "tools/soundbook/ContactSheet.h"

#include "tools/soundbook/SheetPainter.h"
#include "tools/soundbook/Spectrogram.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace morvel::soundbook {

namespace {

// Points.
constexpr int columns = 4;
constexpr int margin = 28;
constexpr int gutter = 34; // for the names of the frequencies
constexpr int panelWidth = 244;
constexpr int columnGap = 16;
constexpr int titleHeight = 20;
constexpr int waveformHeight = 44;
constexpr int spectrogramHeight = 96;
constexpr int timeAxisHeight = 14;
constexpr int rowHeight =
    titleHeight + waveformHeight + 2 + spectrogramHeight + timeAxisHeight + 14;
constexpr int headerHeight = 122;
constexpr int width = 2 * margin + gutter + columns * panelWidth + (columns - 1) * columnGap;

constexpr double frameSeconds = 1 / canonicalFormat.sampleRate;
constexpr double timeStep = 0.05;     // seconds: axes end on a multiple of it
constexpr double longestCommon = 0.3; // seconds: no key but the odd one takes longer
constexpr float audible = 0.001F;     // of a sound's peak: what is quieter needs no room

std::vector<float> firstVariant(const SoundTheme::LoadedCategory& category) {
    const PcmBuffer& buffer = *category.buffers.front();
    std::vector<float> middle(buffer.frameLength());
    for (std::size_t n = 0; n < middle.size(); ++n)
        middle[n] = category.gain * (buffer.channels[0][n] + buffer.channels[1][n]) / 2;
    return middle;
}

double roundedUp(double seconds) {
    return std::max(1.0, std::ceil(seconds / timeStep - 1e-6)) * timeStep;
}

// Until the sound has died down.
double audibleSeconds(const SoundTheme::LoadedCategory& category) {
    const std::vector<float> sound = firstVariant(category);
    const float quiet = audible * SheetPainter::peakOf(sound);
    std::size_t frames = sound.size();
    while (frames > 0 && std::abs(sound[frames - 1]) <= quiet)
        --frames;
    return roundedUp(static_cast<double>(frames) * frameSeconds);
}

// The keys share one time axis, to be compared; what takes longer has one of its own. A single key
// that rings on does not press all others together at their beginning.
double commonSeconds(const SoundTheme& theme) {
    double longest = timeStep;
    for (const auto& [category, loaded] : theme.categories())
        if (module(category) == SoundModule::keyboard)
            longest = std::max(longest, audibleSeconds(loaded));
    return std::min(longest, longestCommon);
}

} // namespace

QRect ContactSheet::Panel::title() const {
    return {position, QSize(panelWidth, titleHeight)};
}

QRect ContactSheet::Panel::waveform() const {
    return {position.x(), position.y() + titleHeight, panelWidth, waveformHeight};
}

QRect ContactSheet::Panel::spectrogram() const {
    return {position.x(), position.y() + titleHeight + waveformHeight + 2, panelWidth,
            spectrogramHeight};
}

QRect ContactSheet::Panel::timeAxis() const {
    const QRect above = spectrogram();
    return {above.x(), above.y() + above.height(), panelWidth, timeAxisHeight};
}

ContactSheet::ContactSheet(const SoundTheme& theme, QString description)
    : theme_(theme)
    , description_(std::move(description)) {
    const double common = commonSeconds(theme);
    int column = 0;
    int row = 0;
    for (const auto& [category, loaded] : theme.categories()) {
        const bool firstToy =
            !panels_.empty() && module(panels_.back().category) != module(category);
        if (column == columns || (firstToy && column > 0)) {
            column = 0;
            ++row;
        }
        const double own = audibleSeconds(loaded);
        panels_.push_back(
            {category,
             {margin + gutter + column * (panelWidth + columnGap), headerHeight + row * rowHeight},
             std::max(common, own),
             own > common});
        ++column;
    }
}

int ContactSheet::height() const {
    return panels_.back().position.y() + rowHeight + 10; // a theme without sounds does not load
}

QImage ContactSheet::draw() const {
    QImage image(QSize(width, height()) * pixelRatio, QImage::Format_RGB32);
    image.setDevicePixelRatio(pixelRatio);
    paint(image);
    return SheetPainter::packed(image);
}

void ContactSheet::paint(QImage& image) const {
    struct Measured {
        std::vector<float> sound;
        Spectrogram spectrogram;
    };
    std::vector<Measured> measured;
    SheetPainter::Loudest loudest;
    for (const Panel& panel : panels_) {
        auto sound = firstVariant(theme_.categories().at(panel.category));
        SpectrogramAxes axes;
        axes.start = SheetPainter::start(panel.seconds);
        axes.seconds = panel.seconds - axes.start;
        axes.columns = panelWidth;
        axes.rows = spectrogramHeight;
        Spectrogram spectrogram(sound, axes);
        loudest.peak = std::max(loudest.peak, SheetPainter::peakOf(sound));
        loudest.partial = std::max(loudest.partial, spectrogram.loudest());
        measured.push_back({std::move(sound), std::move(spectrogram)});
    }

    SheetPainter painter(image, loudest);
    painter.header({margin, margin, width - 2 * margin, headerHeight - margin}, theme_,
                   description_);
    for (std::size_t i = 0; i < panels_.size(); ++i) {
        const Panel& panel = panels_[i];
        painter.title(panel.title(), panel.category,
                      theme_.categories().at(panel.category).buffers.size());
        painter.waveform(panel.waveform(), measured[i].sound, panel.seconds);
        painter.spectrogram(panel.spectrogram(), measured[i].spectrogram, panel.seconds);
        painter.timeAxis(panel.timeAxis(), panel.seconds, panel.hasOwnTime);
        if (panel.position.x() == margin + gutter)
            painter.frequencyAxis(panel.spectrogram());
    }
}

} // namespace morvel::soundbook
