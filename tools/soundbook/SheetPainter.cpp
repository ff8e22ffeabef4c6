#include "tools/soundbook/SheetPainter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace morvel::soundbook {

namespace {

const QColor background(0x12, 0x14, 0x1a);
const QColor well(0x1a, 0x1d, 0x26);
const QColor bright(0xf2, 0xf3, 0xf7);
const QColor dim(0x98, 0x9e, 0xae);
const QColor wave(0x86, 0xc5, 0xff);
const QColor gridLine(255, 255, 255, 22);

constexpr double range = 72; // dB below the loudest, where silence begins
constexpr int shades = 37;   // few, so that the picture packs well

QColor between(const QColor& low, const QColor& high, double share) {
    const auto mixed = [share](int a, int b) {
        return static_cast<int>(std::lround(a + share * (b - a)));
    };
    return {mixed(low.red(), high.red()), mixed(low.green(), high.green()),
            mixed(low.blue(), high.blue())};
}

// Lighter with every step, so that it reads in grey, too.
std::vector<QRgb> colourScale() {
    const std::array stops = {well,
                              QColor(0x24, 0x2a, 0x63),
                              QColor(0x6c, 0x2b, 0x8e),
                              QColor(0xc8, 0x3e, 0x78),
                              QColor(0xf8, 0x8a, 0x4c),
                              QColor(0xff, 0xf1, 0xb0)};
    std::vector<QRgb> scale;
    for (int shade = 0; shade < shades; ++shade) {
        const double place = static_cast<double>(shade) / (shades - 1) * (std::size(stops) - 1);
        const auto stop = std::min(static_cast<std::size_t>(place), std::size(stops) - 2);
        scale.push_back(
            between(stops[stop], stops[stop + 1], place - static_cast<double>(stop)).rgb());
    }
    return scale;
}

double decibels(double amplitude) {
    return 20 * std::log10(amplitude);
}

// A minus of its own length, and one digit behind the point.
QString level(double amplitude) {
    if (amplitude <= 0)
        return QStringLiteral("silent");
    const double value = decibels(amplitude);
    return QString::fromStdString(
        fmt::format("{}{:.1f} dB", value <= -0.05 ? "−" : "", std::abs(value)));
}

// Seconds at which an axis up to `seconds` has its lines: in the steps that people count in, 0 and
// up to five more.
std::vector<double> lines(double seconds) {
    double step = 0.05;
    for (const double factor : {2.0, 2.5, 2.0, 2.0, 2.5, 2.0, 2.0, 2.5, 2.0, 2.0, 2.5, 2.0}) {
        if (seconds / step <= 5.001)
            break;
        step *= factor;
    }
    std::vector<double> times;
    for (int line = 0; line * step < seconds - step / 4; ++line)
        times.push_back(line * step);
    return times;
}

} // namespace

SheetPainter::SheetPainter(QImage& image, Loudest loudest)
    : pixelRatio_(image.devicePixelRatio())
    , loudest_(loudest)
    , scale_(colourScale()) {
    image.fill(background);
    painter_.begin(&image);
    painter_.setRenderHint(QPainter::Antialiasing);
    painter_.setRenderHint(QPainter::TextAntialiasing);
    painter_.setRenderHint(QPainter::SmoothPixmapTransform);
}

QImage SheetPainter::packed(const QImage& image) {
    QList<QRgb> palette;
    const QColor white(Qt::white);
    for (const QRgb shade : colourScale())
        palette << shade << between(QColor(shade), white, gridLine.alphaF()).rgb();
    constexpr int steps = 16; // of the edges of letters and waves
    for (const auto& [low, high] :
         {std::pair(background, bright), {background, dim}, {well, dim}, {well, wave}})
        for (int step = 0; step <= steps; ++step)
            palette << between(low, high, static_cast<double>(step) / steps).rgb();
    return image.convertToFormat(QImage::Format_Indexed8, palette, Qt::ThresholdDither);
}

float SheetPainter::peakOf(std::span<const float> sound) {
    float peak = 0;
    for (const float sample : sound)
        peak = std::max(peak, std::abs(sample));
    return peak;
}

double SheetPainter::start(double seconds) {
    return -0.03 * seconds;
}

void SheetPainter::text(const QRectF& area, int alignment, const QString& words,
                        const QColor& colour, int size, QFont::Weight weight) {
    QFont font(QStringLiteral("Inter"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(size);
    font.setWeight(weight);
    font.setHintingPreference(QFont::PreferNoHinting);
    painter_.setFont(font);
    painter_.setPen(colour);
    painter_.drawText(area, alignment, words);
}

void SheetPainter::header(const QRect& area, const SoundTheme& theme, const QString& description) {
    std::size_t sounds = 0;
    for (const auto& [category, loaded] : theme.categories())
        sounds += loaded.buffers.size();
    text(QRectF(area.x(), area.y() - 8, 640, 34), Qt::AlignLeft | Qt::AlignVCenter,
         QString::fromStdString(theme.name()), bright, 26, QFont::Bold);
    text(QRectF(area.right() - 420, area.y() - 8, 421, 34), Qt::AlignRight | Qt::AlignVCenter,
         QString::fromStdString(
             fmt::format("{} categories, {} sounds", theme.categories().size(), sounds)),
         dim, 13);
    text(QRectF(area.x(), area.y() + 30, 740, 56), Qt::AlignLeft | Qt::TextWordWrap, description,
         dim, 13);
    legend({area.right() - 243, area.y() + 34, 244, 8});
}

void SheetPainter::legend(const QRect& area) {
    QImage picture(static_cast<int>(scale_.size()), 1, QImage::Format_RGB32);
    for (int shade = 0; shade < picture.width(); ++shade)
        picture.setPixel(shade, 0, scale_[static_cast<std::size_t>(shade)]);
    drawSharply(area, picture);
    const QRectF below(area.x(), area.bottom() + 5, area.width(), 14);
    text(below, Qt::AlignLeft, QString::fromStdString(fmt::format("−{:.0f} dB", range)), dim, 11);
    text(below, Qt::AlignRight, QStringLiteral("loudest"), dim, 11);
}

void SheetPainter::drawSharply(const QRect& area, const QImage& picture) {
    painter_.setRenderHint(QPainter::SmoothPixmapTransform, false);
    painter_.drawImage(area, picture);
    painter_.setRenderHint(QPainter::SmoothPixmapTransform);
}

void SheetPainter::title(const QRect& area, SoundCategory category, std::size_t variants) {
    const std::string_view name = rawValue(category);
    text(area, Qt::AlignLeft | Qt::AlignTop,
         QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size())), bright, 13,
         QFont::DemiBold);
    text(area, Qt::AlignRight | Qt::AlignTop,
         QString::fromStdString(fmt::format("{} variant{}", variants, variants == 1 ? "" : "s")),
         dim, 12);
}

void SheetPainter::waveform(const QRect& area, std::span<const float> sound, double seconds) {
    painter_.fillRect(area, well);
    const double middle = area.y() + area.height() / 2.0;
    const double reach = area.height() / 2.0 - 2;
    const int columns = static_cast<int>(area.width() * pixelRatio_);
    const double from = start(seconds) * canonicalFormat.sampleRate;
    const double hop = (seconds - start(seconds)) * canonicalFormat.sampleRate / columns;
    const float peak = peakOf(sound);
    for (int column = 0; column < columns; ++column) {
        const double begin = std::max(from + column * hop, 0.0);
        const auto end = std::min(from + (column + 1) * hop, static_cast<double>(sound.size()));
        if (begin >= end)
            continue;
        const auto run = sound.subspan(static_cast<std::size_t>(begin),
                                       static_cast<std::size_t>(std::ceil(end)) -
                                           static_cast<std::size_t>(begin));
        const auto [low, high] = std::ranges::minmax(run);
        if (peak <= 0)
            continue;
        // At least a line, where the sound has died down.
        const double top = middle - high * reach / loudest_.peak - 0.5 / pixelRatio_;
        const double bottom = middle - low * reach / loudest_.peak + 0.5 / pixelRatio_;
        painter_.fillRect(
            QRectF(area.x() + column / pixelRatio_, top, 1 / pixelRatio_, bottom - top), wave);
    }
    text(area.adjusted(0, 3, -5, 0), Qt::AlignRight | Qt::AlignTop, level(peak), dim, 10);
}

QRgb SheetPainter::colour(float amplitude) const {
    if (amplitude <= 0 || loudest_.partial <= 0)
        return scale_.front();
    const double share = 1 + decibels(static_cast<double>(amplitude) / loudest_.partial) / range;
    return scale_[static_cast<std::size_t>(
        std::lround(std::clamp(share, 0.0, 1.0) * static_cast<double>(scale_.size() - 1)))];
}

void SheetPainter::spectrogram(const QRect& area, const Spectrogram& spectrogram, double seconds) {
    QImage picture(area.size(), QImage::Format_RGB32);
    for (int y = 0; y < picture.height(); ++y)
        for (int x = 0; x < picture.width(); ++x)
            picture.setPixel(
                x, y,
                colour(spectrogram.at(static_cast<std::size_t>(y), static_cast<std::size_t>(x))));
    drawSharply(area, picture);
    const SpectrogramAxes axes;
    for (const double frequency : {100.0, 1000.0, 10000.0}) {
        const double share =
            std::log(frequency / axes.lowest) / std::log(axes.highest / axes.lowest);
        painter_.fillRect(QRectF(area.x(), std::round(area.y() + (1 - share) * area.height()),
                                 area.width(), 1 / pixelRatio_),
                          gridLine);
    }
    const double begin = start(seconds);
    for (const double time : lines(seconds))
        painter_.fillRect(
            QRectF(area.x() + std::round((time - begin) / (seconds - begin) * area.width()),
                   area.y(), 1 / pixelRatio_, area.height()),
            gridLine);
}

void SheetPainter::timeAxis(const QRect& area, double seconds, bool ofItsOwn) {
    const double begin = start(seconds);
    const QColor& colour = ofItsOwn ? bright : dim;
    const QFont::Weight weight = ofItsOwn ? QFont::DemiBold : QFont::Normal;
    const QRectF line(area.x(), area.y() + 2, area.width(), area.height());
    for (const double time : lines(seconds)) {
        const double x = area.x() + (time - begin) / (seconds - begin) * area.width();
        if (time > 0)
            text(QRectF(x - 30, line.y(), 60, line.height()), Qt::AlignHCenter,
                 QString::number(std::lround(time * 1000)), colour, 10, weight);
        else
            text(line, Qt::AlignLeft, QStringLiteral("0 ms"), colour, 10, weight);
    }
}

void SheetPainter::frequencyAxis(const QRect& area) {
    const SpectrogramAxes axes;
    for (const auto& [frequency, label] :
         {std::pair(100.0, "100 Hz"), {1000.0, "1 kHz"}, {10000.0, "10 kHz"}}) {
        const double share =
            std::log(frequency / axes.lowest) / std::log(axes.highest / axes.lowest);
        const double y = area.y() + (1 - share) * area.height();
        text(QRectF(area.x() - 66, y - 8, 60, 16), Qt::AlignRight | Qt::AlignVCenter,
             QString::fromUtf8(label), dim, 10);
    }
}

} // namespace morvel::soundbook
