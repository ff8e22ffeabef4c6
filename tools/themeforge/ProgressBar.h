// How far the rendering has come, for whoever watches it.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace morvel::forge {

// The bar itself, without an end of line: "[#####     ]  47/98 name".
std::string progressBar(std::size_t done, std::size_t total, const std::string& name);

// Draws the bar over itself on a terminal, and nothing elsewhere: there only the lines are left.
// One thread at a time.
class ProgressDisplay {
public:
    ProgressDisplay(std::FILE* stream, bool isTerminal, std::size_t total);

    void step(const std::string& name); // one more is done
    void line(const std::string& text); // in place of the bar, which comes back with the next step
    void end(); // leaves a bar as it stands; what is printed next, by whomever, has its own line

private:
    std::FILE* m_stream;
    bool m_isTerminal;
    bool m_isBarShown = false;
    std::size_t m_done = 0;
    std::size_t m_total;
};

} // namespace morvel::forge
