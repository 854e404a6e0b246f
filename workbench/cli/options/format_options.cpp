#include "workbench/cli/options/format_options.h"

namespace tonvale::workbench {

namespace {

int usualDepth(Container container) {
    return container == Container::flac || container == Container::aiff ? 24 : 32;
}

} // namespace

void FormatOptions::addTo(CLI::App &command) {
    command
        .add_option("--depth", depth,
                    "Bits of a written sample: 16 or 24 (PCM), 32 or 64 (floating point); 32 "
                    "unless given, 24 for FLAC and AIFF")
        ->type_name("BITS")
        ->check(CLI::IsMember({"16", "24", "32", "64"}).description(""));
    command.add_flag("--no-dither", isPlain, "Round 16 bits without dither");
}

SoundFormat FormatOptions::formatOf(const std::string &outputName) const {
    const Container container = containerOf(outputName);
    const SoundFormat format{container, depth.empty() ? usualDepth(container) : std::stoi(depth),
                             !isPlain};
    requireFitting(outputName, format, {});
    return format;
}

} // namespace tonvale::workbench
