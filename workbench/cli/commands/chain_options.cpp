#include "workbench/cli/commands/chain_options.h"

#include "workbench/cli/commands/chain_warnings.h"
#include "workbench/cli/commands/state_file.h"
#include "workbench/cli/output_file.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/sound/sound_reader.h"
#include "workbench/services/path_resolver.h"

#include <array>
#include <cstdio>
#include <filesystem>

namespace tonvale::workbench {

namespace {

constexpr int resolvedSize = 2048;
constexpr const char *impulseFolder = "impulses";

/// What each of the two files of a true stereo response has.
constexpr int sideChannels = 2;

/// The path that a file loader will open for `path`.
std::string resolved(const std::string &path) {
    std::array<char, resolvedSize> out{};
    resolvePath(path.c_str(), out.data(), resolvedSize, impulseFolder);
    return out.front() ? out.data() : path;
}

/// The path in an active file loader's text as the plug-in writes it, empty where there is none.
std::string toldPath(const std::string &text) {
    constexpr std::string_view start = "FILELDR \"";
    const size_t end = text.rfind('"');
    if (!text.starts_with(start) || end < start.size())
        return {};
    return text.substr(start.size(), end - start.size());
}

/// The chain as the plug-in tells it, one text a stage, with "!" in front of a bypassed one.
std::vector<std::string> chainTexts(Effect &effect) {
    const auto bypassed = bypassedStages(effect.chunk());
    std::vector<std::string> texts;
    for (int i = 0; auto text = effect.stageText(i); ++i) {
        const auto index = static_cast<size_t>(i);
        const bool marked = bypassed && index < bypassed->size() && (*bypassed)[index];
        texts.push_back((marked ? "!" : "") + *text);
    }
    return texts;
}

/// Appends a file loader whose path no line can hold.
void appendThroughState(Effect &effect, const StageLine &line) {
    std::vector<char> state = effect.chunk();
    appendFileStage(state, line.file->path, line.file->flags, line.bypassed);
    effect.setChunk(state);
}

} // namespace

void ChainOptions::addTo(CLI::App &command) {
    app = &command;
    // One value an occurrence, so that the order of the two options on the line is known.
    const auto addRepeated = [&](const char *name, const char *type, const char *help) {
        return command.add_option(name)
            ->description(help)
            ->type_name(type)
            ->type_size(1)
            ->expected(1, CLI::detail::expected_max_vector_size)
            ->allow_extra_args(false)
            ->group("Chain, in the order given");
    };
    fileOption = addRepeated("--ir", "FILE", "Load an impulse response from a media file");
    stageOption = addRepeated("--stage", "TEXT",
                              "Add a stage in its one-line text form, as tonvale stages lists "
                              "them; \"!\" in front bypasses it, a key alone takes the defaults, "
                              "units are possible, as in \"FILT 5kHz 100Hz\"");
    command
        .add_option("--load-state", stateName,
                    "Start from a saved state; other chain options add to its chain")
        ->type_name("FILE")
        ->group("Chain, in the order given");
}

void ChainOptions::readLines() {
    size_t filesTaken = 0;
    size_t stagesTaken = 0;
    for (const CLI::Option *option : app->parse_order()) {
        if (option == stageOption)
            lines.push_back(readStageLine(stageOption->results().at(stagesTaken++)));
        if (option != fileOption)
            continue;
        const std::string &name = fileOption->results().at(filesTaken++);
        if (name.empty())
            throw Problem("--ir: the name of a file is missing");
        // A state that is saved from this must find the file from any folder.
        std::error_code error;
        const auto path = std::filesystem::absolute(name, error);
        const int channel = isTrueStereo && filesTaken == 2 ? sideChannels : 0;
        lines.push_back(fileStage(error ? name : path.string(), channel));
    }
}

void ChainOptions::check() {
    readLines();
    checkTrueStereo();
    for (const StageLine &line : lines) {
        if (!line.file || line.bypassed)
            continue;
        const std::string path = resolved(line.file->path);
        openMedia(path);
        files.push_back(path);
    }
    if (!files.empty())
        first = files.front();
    if (stateName)
        state = readStateFile(*stateName);
}

/// One file brings all four channels; of two each brings those of one side.
void ChainOptions::checkTrueStereo() const {
    const auto &names = fileOption->results();
    if (!isTrueStereo || names.size() < 2)
        return;
    if (names.size() > 2)
        throw Problem("--true-stereo takes one --ir with four channels, or two with two");
    for (const std::string &name : names) {
        if (openMedia(name)->GetNumChannels() != sideChannels)
            throw Problem(name +
                          ": --true-stereo takes two stereo files, or one with four channels");
    }
}

void ChainOptions::refuseOverwritingBy(const std::string &output) const {
    for (const std::string &file : files)
        refuseOverwriting(output, file);
    if (stateName)
        refuseOverwriting(output, *stateName);
}

void ChainOptions::loadState(Effect &effect) {
    if (!state.empty())
        effect.setChunk(state);
}

void ChainOptions::loadStages(Effect &effect, const std::vector<std::string> &more) const {
    const auto append = [&](const std::string &line) {
        if (!effect.appendStage(line))
            throw Problem("stage '" + line + "': the plug-in can't make it");
    };
    for (const StageLine &line : lines) {
        if (line.file && !line.file->hasLine())
            appendThroughState(effect, line);
        else
            append(plainLine(line, effect.sampleRate()));
    }

    // Of a saved state the plug-in itself stays silent about a file that has gone.
    for (const std::string &text : chainTexts(effect)) {
        warnOfStage(text);
        if (const std::string path = toldPath(text); !path.empty())
            warnOfCutFile(path, *openMedia(resolved(path)), effect.sampleRate());
    }
    for (const std::string &line : more)
        append(line);
    effect.finishChainChange();
}

void printChain(Effect &effect) {
    const auto texts = chainTexts(effect);
    for (size_t i = 0; i < texts.size(); ++i)
        std::printf("%s %zu. %s\n", i ? "         " : "Chain    ", i + 1, texts[i].c_str());
    if (texts.empty())
        std::printf("Chain     empty\n");
    std::fflush(stdout);
}

} // namespace tonvale::workbench
