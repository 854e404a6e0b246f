#include "chain/impulse_generator_file.h"

#include "chain/stage_formulas.h"
#include "workbench/services/project_registry.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <optional>
#include <thread>

namespace tonvale::test {
namespace {

const Samples mono = noise(100, 1), left = noise(150, 2), right = noise(150, 3);
constexpr int32_t offsetOne = 1 << 8;

std::string stateOf(int32_t flags, const std::string &path) {
    return std::string(reinterpret_cast<const char *>(&flags), sizeof flags) + path;
}

void loadState(ImpulseGenerator &stage, const std::string &state) {
    const std::vector<char> exact(state.begin(), state.end());
    stage.loadState("FILELDR", exact.data(), static_cast<int32_t>(exact.size()));
}

class FileStage : public StageTest<> {
  protected:
    void SetUp() override {
        StageTest::SetUp();
        putMedia("mono", 44100.0, {mono});
        putMedia("stereo", 44100.0, {left, right});
    }

    Channels run(const std::string &name, int32_t flags, const Signal &before,
                 size_t largestRequest = SIZE_MAX) {
        ImpulseGenerator_File stage;
        loadState(stage, stateOf(flags, "memory:" + name));
        ImpulseBuffer impulse;
        load(impulse, before);
        {
            const AllocationLimit limit(INT32_MAX, largestRequest);
            stage.process(impulse);
        }
        status = stage.status;
        return read(impulse).channels;
    }

    std::string status;
};

TEST_F(FileStage, MixesIntoTheChannelsThatItsOffsetNames) {
    EXPECT_EQ(run("mono", 60, {44100, {{}}}), (Channels{mono}));
    EXPECT_EQ(run("mono", 60, {44100, {{}, {}}}), (Channels{mono, mono}));
    EXPECT_EQ(run("mono", 60 | offsetOne, {44100, {{}, {}}}), (Channels{Samples(100), mono}));

    // What is there stays, and the longer one sets the length.
    Samples ones(200, 1.0), sum = ones;
    for (size_t i = 0; i < 100; ++i)
        sum[i] += 0.125 * mono[i];
    EXPECT_EQ(run("mono", 56, {44100, {ones}}), (Channels{sum}));
    ones.resize(20);
    const Channels three = run("stereo", 60 | offsetOne, {44100, {ones}});
    ones.resize(150);
    EXPECT_EQ(three, (Channels{ones, left, right}));

    // As many channels as offset and file ask for, and no more than 128 are read.
    putMedia("wide", 44100.0, Channels(130, mono));
    EXPECT_EQ(run("wide", 60 | (127 << 8), {44100, {{}}}).size(), 255u);
    EXPECT_EQ(run("mono", -4, {44100, {{}}}).size(), 256u);
}

TEST_F(FileStage, AdjustsGainByTheModeInItsFlags) {
    const double peak = peakOf(mono);
    // A rate within 1 Hz is the same, where the source's rate is no gain; the source reads at
    // another rate itself where no resampler is asked for.
    const struct {
        int32_t flags;
        double rate, gain;
    } rows[] = {{0x3c, 44100, 1.0},   {0x38, 44100, 0.125},      {0x1c, 44100, 1.0},
                {0x18, 44100, 0.125}, {0x0c, 44101, 1.0},        {0x08, 44100, 0.125},
                {0x00, 44100, 0.125}, {0x06, 44100, 1.0 / peak}, {0x02, 44100, 0.125 / peak},
                {0x0c, 22050, 2.0},   {0x04, 22050, 1.0},        {0x0c, 44101.5, 44100 / 44101.5}};
    for (const auto &[flags, rate, gain] : rows)
        EXPECT_NEAR(run("mono", flags, {rate, {{}}})[0][10], gain * mono[10], 1e-15) << flags;
    putMedia("faint", 44100.0, {{0.001}});
    EXPECT_EQ(run("faint", 0x06, {44100, {{}}}), (Channels{{0.064}}));
    const Channels mixed = run("stereo", 0x3d, {44100, {{}}});
    ASSERT_EQ(mixed.size(), 1u);
    EXPECT_NEAR(mixed[0][149], (left[149] + right[149]) / 2.0, 1e-15);
}

TEST_F(FileStage, ResamplesAndKeepsTheGainOfAConvolution) {
    putMedia("burst", 48000.0, {burst(48000, 0.5), burst(48000)});
    for (const int32_t flags : {60, 0x1c}) {
        for (const double rate : {44100.0, 96000.0, 22050.0}) {
            const Channels out = run("burst", flags, {rate, {{}}});
            ASSERT_NEAR(static_cast<double>(out[0].size()), rate / 5.0, 2.0);
            EXPECT_LT(burstError(out[0], rate, 24000.0 / rate), -80.0) << rate;
            EXPECT_LT(burstError(out[1], rate, 48000.0 / rate), -80.0) << rate;
        }
    }
    EXPECT_EQ(status, "Source: 48000Hz 2ch 0.2s\r\nOutput: 22050Hz 2ch 0.2s");
}

TEST_F(FileStage, LeavesTheBufferAndSaysSoWhenThereIsNothingToRead) {
    putMedia("empty", 44100.0, {{}});
    putMedia("none", 44100.0, {});
    putMedia("large", 1e-3, Channels(120, Samples(30, 1.0)));
    const Signal before{44100, {left, right}};
    for (const char *name : {"missing", "empty", "none", "large", "stereo"}) {
        // The last one's memory is refused.
        const size_t largestRequest = name == std::string("stereo") ? 700 : SIZE_MAX;
        EXPECT_EQ(run(name, 4, before, largestRequest), before.channels) << name;
        EXPECT_EQ(status, "<no file loaded>");
    }
    constexpr double infinity = std::numeric_limits<double>::infinity();
    putMedia("long", 10.0, {Samples(1000, 1.0)});
    for (const double rate : {0.0, -1.0, std::nan(""), 1e300, infinity, 40000.0})
        EXPECT_LE(run("long", 4, {rate, {{}}})[0].size(), 3145728u);
    EXPECT_EQ(openMediaSources(), 0);
}

TEST_F(FileStage, ReadsItsTwoFormsAsFarAsTheyGo) {
    const struct {
        std::string form;
        std::optional<bool> found; ///< what loadText answers; none: it is a state
        const char *text;
    } rows[] = {
        {" \t", false, "\"\" 60"},
        {"\"a b.wav\" 28", true, "\"a b.wav\" 28"},
        {"  'it is \"quoted\".wav' -1", true, "\"it is \"quoted\".wav\" -1"},
        {"plain.wav 4 and more", true, "\"plain.wav\" 4"},
        {"\"cut", true, "\"cut\" 60"},
        {"\"p\" word", true, "\"p\" 0"},
        {stateOf(5, "").substr(0, 3), {}, "\"\" 60"},
        {stateOf(5, ""), {}, "\"\" 5"},
        {stateOf(5, "without an end"), {}, "\"without an end\" 5"},
        {stateOf(-5, std::string("cut\0here", 8)), {}, "\"cut\" -5"},
    };
    for (const auto &[form, found, text] : rows) {
        ImpulseGenerator_File stage, copy;
        if (found)
            EXPECT_EQ(stage.loadText(form.c_str()), *found) << form;
        else
            loadState(stage, form);
        EXPECT_EQ(textOf(stage), "FILELDR " + std::string(text));
        EXPECT_EQ(textOf(stage, 12).size(), 11u);

        HeapBuffer state;
        stage.saveState(state);
        EXPECT_EQ(state.getSize(), std::ssize(stage.getPath()) + 5);
        copy.loadState("FILELDR", state.get(), state.getSize());
        copy.loadState("FILELDR", nullptr, -1);
        EXPECT_EQ(textOf(copy), textOf(stage));
    }
}

TEST_F(FileStage, KeepsASourceThatIsOpenWhenThePathOnlyChangesItsCase) {
    ImpulseGenerator_File stage;
    for (const auto &[path, isOpen] :
         {std::pair{"memory:mono", true}, {"memory:MONO", true}, {"memory:missing", false}}) {
        loadState(stage, stateOf(4, path));
        EXPECT_EQ(stage.isOpen(), isOpen) << path;
        EXPECT_EQ(stage.getPath(), path);
    }
    EXPECT_EQ(openMediaSources(), 0);
}

// A host whose project knows of one file at most, and needs no memory for it.

// Longer than what a std::string holds without memory.
constexpr const char *before = "memory:the file that the stage has at first";
constexpr const char *after = "memory:the file that comes in its place";

workbench::FileInProjectRecord record; ///< as last told
char file[128];                        ///< that the project knows of
void (*hostIsCalled)();
std::unique_ptr<ImpulseGenerator_File> stage;

int tellProject(const char *action, void *told) {
    hostIsCalled();
    std::memcpy(&record, told, sizeof record);
    EXPECT_EQ(record.project, workbench::currentProject());
    const bool adds = *action != '-';
    if (adds || std::strcmp(file, record.file) == 0)
        std::snprintf(file, sizeof file, "%s", adds ? record.file : "");
    return 1;
}

void moveFile(const char *path) {
    std::snprintf(file, sizeof file, "%s", path);
    record.callback(record.userData, 0, file);
}

class FileStageInProject : public FileStage {
  protected:
    void SetUp() override {
        FileStage::SetUp();
        putMedia(before + 7, 44100.0, {Samples(300, 1.0)});
        putMedia(after + 7, 44100.0, {Samples(500, 1.0)});
        hostFunctions.plugin_register = tellProject;
        hostIsCalled = [] {};
    }

    void begin() {
        stage.reset(dynamic_cast<ImpulseGenerator_File *>(
            createImpulseGenerator("FILELDR", static_cast<ReverbPlugin *>(driver.effect->user))));
        stage->replaceFile(before);
        ASSERT_STREQ(file, before);
    }

    EffectDriver driver;
};

TEST_F(FileStageInProject, AnswersTheProjectWhichCanMoveItsFile) {
    begin();
    const auto ask = [](int message) { return record.callback(record.userData, message, nullptr); };
    EXPECT_STREQ(reinterpret_cast<const char *>(ask(256)), "impulses");
    EXPECT_NE(ask(257), 0);
    EXPECT_STREQ(reinterpret_cast<const char *>(ask(259)), "Tonvale");
    EXPECT_EQ(ask(258), 0);
    EXPECT_EQ(record.callback(nullptr, 259, nullptr), 0);

    hostNotes().clear();
    ask(0);
    EXPECT_EQ(hostNotes().idleRequests, 0);
    moveFile(after);
    EXPECT_EQ(hostNotes().idleRequests, 1);
    driver.setChain({"FILELDR \"" + std::string(before) + "\" 60"});
    moveFile(after);
    EXPECT_EQ(driver.dispatch(effGetTailSize), 300);
    driver.dispatch(effIdle);
    EXPECT_EQ(driver.dispatch(effGetTailSize), 500);
}

TEST_F(FileStageInProject, ChangesWholeOrNotAtAllAndGoesWhereMemoryIsOut) {
    const std::string text = '"' + std::string(after) + "\" 4";
    const std::string state = stateOf(4, after);
    const struct {
        const char *path;
        std::function<void()> change;
    } rows[] = {
        {after, [&] { stage->loadText(text.c_str()); }},
        {after, [&] { stage->loadState("", state.data(), static_cast<int32_t>(state.size())); }},
        {after, [] { stage->replaceFile(after); }},
        {after, [] { moveFile(after); }},
        {"", [] { moveFile(""); }},
        {"", [] { stage->replaceFile(""); }},
    };
    for (const auto &[path, change] : rows) {
        bool refused = true;
        for (int allowed = 0; refused; ++allowed) {
            begin();
            {
                const AllocationLimit limit(allowed);
                change();
                refused = limit.refused() > 0;
            }
            const std::string present = stage->getPath();
            EXPECT_TRUE(present == path || (refused && present == before)) << present;
            EXPECT_TRUE(file == present || (refused && !*file)) << file;
            EXPECT_TRUE(refused || stage->isOpen() == !present.empty());
            {
                const AllocationLimit limit(0);
                stage.reset();
            }
            EXPECT_STREQ(file, "");
            EXPECT_EQ(openMediaSources(), 0);
        }
    }
}

/// Moves the file when its first sample is read.
class MovedSource final : public MediaSource {
  public:
    static inline int ended = 0;

    void destroy(int) override {
        hostIsCalled();
        ++ended;
        delete this;
    }
    int GetNumChannels() override { return 1; }
    double GetSampleRate() override { return 44100.0; }
    double GetLength() override { return 5.0 / 44100.0; }
    void GetSamples(MediaReadBlock *block) override {
        if (block->time == 0.0)
            moveFile(after);
        EXPECT_EQ(ended, 0) << "a source in use is kept";
        *block->samples = 0.5;
        block->samplesOut = 1;
    }
};

TEST_F(FileStageInProject, LetsTheHostMoveTheFileWhileItIsReadAndHoldsNoLockAcrossItsCalls) {
    hostFunctions.PCM_Source_CreateFromFile = [](const char *) -> MediaSource * {
        hostIsCalled();
        return new MovedSource;
    };
    begin();
    // Ends only where no lock of the stage is held.
    hostIsCalled = [] { std::thread([] { stage->isOpen(); }).join(); };
    stage->replaceFile(after);
    EXPECT_EQ(std::exchange(MovedSource::ended, 0), 1);
    hostIsCalled = [] {};

    ImpulseBuffer impulse;
    load(impulse, {44100.0, {{}}});
    stage->process(impulse);
    EXPECT_EQ(read(impulse).channels, Channels{Samples(5, 0.5)});
    EXPECT_EQ(MovedSource::ended, 1);
    stage.reset();
    EXPECT_EQ(MovedSource::ended, 2);
}

} // namespace
} // namespace tonvale::test
