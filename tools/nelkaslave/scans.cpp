#include "scans.h"

#include <algorithm>
#include <sstream>

namespace nelkaslave {

namespace {

constexpr int firstChannel = 21;
constexpr int lastChannel = 69;

// Scatters the results: the same scan finds the same, another scan finds others.
unsigned int scattered(int entrada, const Scan& scan, int channel)
{
    unsigned int mixed = 2166136261U;
    for (const int number : {entrada, scan.tipo, scan.banda, channel})
        mixed = (mixed ^ static_cast<unsigned int>(number)) * 16777619U;
    return mixed >> 8U;
}

} // namespace

int progress(const Scan& scan, int durationMs, std::int64_t now)
{
    if (durationMs <= 0)
        return 100;
    const std::int64_t elapsed = std::clamp<std::int64_t>(now - scan.inicio, 0, durationMs);
    return static_cast<int>(elapsed * 100 / durationMs);
}

std::string report(int entrada, const Scan& scan, int percent)
{
    std::ostringstream text;
    text << "entrada " << entrada << " tipo " << scan.tipo << " banda " << scan.banda << " progreso " << percent
         << "\n";
    const int reached = firstChannel + (lastChannel - firstChannel + 1) * percent / 100;
    for (int channel = firstChannel; channel < reached; ++channel) {
        const unsigned int luck = scattered(entrada, scan, channel);
        if (luck % 4 == 0)
            text << "canal " << channel << " frecuencia " << 474000 + 8000 * (channel - firstChannel) << " kHz C/N "
                 << 18 + luck / 4 % 18 << " dB\n";
    }
    return text.str();
}

} // namespace nelkaslave
