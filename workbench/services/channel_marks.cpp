#include "workbench/services/channel_marks.h"

#include "text/number_text.h"

#include <algorithm>
#include <cmath>

namespace tonvale::workbench {

namespace {

constexpr double echoFrames = 800;
constexpr double echoSpacing = 20;
constexpr double sameSample = 1e-3;

} // namespace

std::vector<std::string> channelMarks(double rate) {
    const double frame = 1000.0 / rate;
    char marks[128];
    TextWriter writer(marks, sizeof marks);
    writer.add("ECHOGEN 0 ");
    writer.addFixed(echoFrames * frame, 6);
    writer.add(" ");
    writer.addFixed(echoSpacing * frame, 6);
    writer.add(" 1 1 ");
    writer.addFixed(echoSpacing * frame, 6);
    writer.add(" 0.5");
    return {"BASICEDIT 1 0 0 1 0 1 0", marks};
}

int channelPeriod(const std::vector<std::vector<double>> &channels, int least) {
    const auto same = [&](size_t a, size_t b) {
        return std::ranges::equal(channels[a], channels[b],
                                  [](double x, double y) { return std::fabs(x - y) < sameSample; });
    };
    for (auto period = static_cast<size_t>(least); period < channels.size(); ++period) {
        size_t c = period;
        while (c < channels.size() && same(c, c - period))
            ++c;
        if (c == channels.size())
            return static_cast<int>(period);
    }
    return static_cast<int>(channels.size());
}

} // namespace tonvale::workbench
