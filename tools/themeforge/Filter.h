// Second-order filters, applied in place from silence. `q` is the quality factor, 0.707 for the
// flattest response; cut-off frequencies (Hz) at or past 0.49 of the sample rate are held there.
#pragma once

#include "tools/themeforge/Signal.h"

namespace morvel::forge {

class Biquad {
public:
    static Biquad lowPass(double hz, double q = 0.7071);
    static Biquad highPass(double hz, double q = 0.7071);
    static Biquad bandPass(double hz, double q); // 0 dB at its centre

    void process(Signal& signal); // continues from the state the last call left

private:
    Biquad(double b0, double b1, double b2, double a0, double a1, double a2);

    double m_b0, m_b1, m_b2, m_a1, m_a2;
    double m_s1 = 0, m_s2 = 0;
};

} // namespace morvel::forge
