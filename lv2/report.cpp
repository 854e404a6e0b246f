#include "lv2/report.h"

#include "chain/decibels.h"
#include "lv2/chain_text.h"
#include "lv2/effect.h"
#include "workbench/services/media.h"
#include "workbench/services/path_resolver.h"

#include <array>

namespace tonvale::lv2 {

namespace {

constexpr int resolvedSize = 2048;
/// What one answer to a host can hold with ease.
constexpr size_t mostStatusBytes = 32768;

struct LineStatus {
    std::string text;
    bool isProblem = false;
};

LineStatus fileStatus(const FileLine &file) {
    const std::string path(file.path);
    if (path.empty())
        return {" no file"};
    std::array<char, resolvedSize> found{};
    workbench::resolvePath(path.c_str(), found.data(), resolvedSize, "impulses");
    const std::string problem =
        workbench::mediaProblem(found.front() ? found.data() : path.c_str());
    return {" " + path + (problem.empty() ? "" : ": " + problem), !problem.empty()};
}

LineStatus lineStatus(const std::string &line, Effect &maker) {
    const bool isBypassed = line.starts_with('!');
    const auto file = readFileLine(line);
    if (!maker.appendStage(file ? *fileLine("", file->flags, isBypassed) : line))
        return {line + ": no stage", true};
    const size_t start = isBypassed ? 1 : 0;
    LineStatus status = file ? fileStatus(*file) : LineStatus{};
    status.text.insert(0, line, start, line.find_first_of(" \t") - start);
    status.text += isBypassed ? ", bypassed" : "";
    return status;
}

} // namespace

Report makeReport(const std::vector<std::string> &chain, const ResponseShape &shape, double rate,
                  const std::function<void(const std::string &)> &tell) {
    Report report{.length = static_cast<float>(shape.frames / rate),
                  .channels = static_cast<float>(shape.channels),
                  .rate = static_cast<float>(rate),
                  .peak = static_cast<float>(factorToDecibels(shape.peak)),
                  .status = {}};
    const auto maker = Effect::make(rate, 1);
    for (const std::string &line : chain) {
        if (!maker || report.status.size() > mostStatusBytes)
            break;
        if (&line != chain.data())
            report.status += '\n';
        const LineStatus status = lineStatus(line, *maker);
        report.status += status.text;
        if (status.isProblem)
            tell(status.text);
    }
    return report;
}

} // namespace tonvale::lv2
