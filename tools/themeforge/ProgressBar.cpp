#include "tools/themeforge/ProgressBar.h"

#include <fmt/format.h>

#include <algorithm>

namespace morvel::forge {

namespace {

constexpr std::size_t barWidth = 40;
constexpr const char* overTheBar = "\r\x1b[K"; // to the line's beginning, and erase it

} // namespace

std::string progressBar(std::size_t done, std::size_t total, const std::string& name) {
    const std::size_t filled = total == 0 ? barWidth : std::min(done, total) * barWidth / total;
    return fmt::format("[{:<{}}] {:>{}}/{} {}", std::string(filled, '#'), barWidth, done,
                       fmt::formatted_size("{}", total), total, name);
}

ProgressDisplay::ProgressDisplay(std::FILE* stream, bool isTerminal, std::size_t total)
    : m_stream(stream)
    , m_isTerminal(isTerminal)
    , m_total(total) {}

void ProgressDisplay::step(const std::string& name) {
    ++m_done;
    if (!m_isTerminal)
        return;
    fmt::print(m_stream, "{}{}", overTheBar, progressBar(m_done, m_total, name));
    std::fflush(m_stream);
    m_isBarShown = true;
}

void ProgressDisplay::line(const std::string& text) {
    fmt::print(m_stream, "{}{}\n", m_isTerminal ? overTheBar : "", text);
    std::fflush(m_stream);
    m_isBarShown = false;
}

void ProgressDisplay::end() {
    if (!m_isBarShown)
        return;
    fmt::print(m_stream, "\n");
    std::fflush(m_stream);
    m_isBarShown = false;
}

} // namespace morvel::forge
