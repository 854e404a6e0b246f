#include "workbench/services/host.h"

#include "test_folder.h"
#include "workbench/services/fader_law.h"
#include "workbench/services/media_types.h"
#include "workbench/services/path_resolver.h"
#include "workbench/services/project_registry.h"
#include "workbench/services/settings_file.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace tonvale::workbench {

namespace {

// What a plug-in can do without; an effect doesn't load where one of the others is missing.
constexpr const char *optionalNames =
    "SetWindowAccessibilityString resolve_fn2 relative_fn Resampler_Create plugin_getFilterList "
    "plugin_register get_ini_file IsMediaExtension PCM_Sink_Create GetWindowDPIScaling "
    "GLYX_MeasureText GLYX_DrawText ZUB_fft_real_8 ZUB_fft_permute_tab vac_createGroupsFromTab "
    "__localizeFunc __localizeMenu __localizeInitializeDialog __localizePrepareDialog";

constexpr auto functionIndex = static_cast<int32_t>(0xDEADF00D);
constexpr auto contextIndex = static_cast<int32_t>(0xDEADF00E);

intptr_t ask(int32_t index, intptr_t value, const char *name) {
    return hostCallback(nullptr, static_cast<int32_t>(0xDEADBEEF), index, value,
                        const_cast<char *>(name), 0.0f);
}

/// A stage as the registry sees it: it notes what it is told.
struct Owner {
    std::string file;
    static intptr_t told(void *stage, int, void *data) {
        static_cast<Owner *>(stage)->file = static_cast<const char *>(data);
        return 0;
    }
    int call(const char *name) {
        FileInProjectRecord record{file.c_str(), currentProject(), this, told};
        return pluginRegister(name, &record);
    }
    int add() { return call("file_in_project_ex2"); }
    int remove() { return call("-file_in_project_ex2"); }
};

} // namespace

TEST(Host, HasEveryFunctionByNameItsContextsAndNothingElse) {
    std::istringstream names(optionalNames);
    for (std::string name; names >> name;)
        EXPECT_NE(ask(functionIndex, 0, name.c_str()), 0) << name;
    for (const char *name : {"", "DB2SLIDE", "DB2SLIDER2", "db2slider"})
        EXPECT_EQ(ask(functionIndex, 0, name), 0) << name;
    EXPECT_EQ(ask(functionIndex, 0, nullptr), 0);
    EXPECT_EQ(ask(0, 0, "DB2SLIDER"), 0);
    ASSERT_NE(currentProject(), nullptr);
    EXPECT_EQ(ask(contextIndex, 3, nullptr), reinterpret_cast<intptr_t>(currentProject()));
    EXPECT_NE(ask(contextIndex, 4, nullptr), 0);
    EXPECT_EQ(ask(contextIndex, 5, nullptr), 0);
}

TEST(Host, AnIdleRequestIsTakenOnceAndByItsEffectAlone) {
    std::vector<AEffect> effects(3);
    const auto request = [](AEffect *effect) {
        for (int n = 0; n < 2000; ++n)
            hostCallback(effect, audioMasterNeedIdle, 0, 0, nullptr, 0.0f);
    };
    std::thread other(request, &effects[0]);
    request(&effects[1]);
    other.join();
    for (const bool first : {true, false})
        for (const size_t i : {0, 1, 2})
            EXPECT_EQ(takeIdleRequest(&effects[i]), first && i < 2);
    EXPECT_FALSE(takeIdleRequest(nullptr));
}

TEST(FaderLaw, RisesStrictlyIsItsOwnInverseAndHoldsWhatLiesOutside) {
    double before = -1.0;
    for (double decibels = -150.0; decibels <= 12.0; decibels += 0.25) {
        const double position = decibelsToPosition(decibels);
        EXPECT_GT(position, before) << decibels;
        EXPECT_NEAR(positionToDecibels(position), decibels, 1e-9);
        before = position;
    }
    EXPECT_NEAR(decibelsToPosition(0.0), 705.0, 5.0);
    for (double low : {static_cast<double>(NAN), -HUGE_VAL, -1e300, -150.0})
        EXPECT_EQ(decibelsToPosition(low) + positionToDecibels(low), -150.0);
    for (double high : {1000.0, 1e300, HUGE_VAL})
        EXPECT_EQ(decibelsToPosition(high) + positionToDecibels(high), 1012.0);
}

TEST(UserFolders, HoldTheSettingsAndTheFilesThatAreFoundByAShortPath) {
    const TestFolder folder;
    setenv("XDG_CONFIG_HOME", folder.path.c_str(), 1);
    EXPECT_EQ(settingsFile(), folder.file("tonvale/tonvale.ini"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.path / "tonvale"));

    setenv("XDG_DATA_HOME", folder.path.c_str(), 1);
    const std::string hall = folder.file("tonvale/impulses/halls/große.wav");
    const std::string near = folder.file("near.wav");
    std::filesystem::create_directories(folder.path / "tonvale/impulses/halls");
    std::ofstream(hall) << "x";
    std::ofstream(near) << "x";
    const int exact = static_cast<int>(near.size()) + 1;
    const struct {
        std::string path, found;
        int size = 2048;
    } cases[] = {{near, near},           {"halls/große.wav", hall}, {"halls", ""},
                 {"../../near.wav", ""}, {"/halls/große.wav", ""},  {std::string(100000, 'a'), ""},
                 {near, near, exact},    {near, "", exact - 1},     {near, "xx", 0}};
    for (const auto &[path, found, size] : cases) {
        char out[2048] = "xx";
        resolvePath(path.c_str(), out, size, "impulses");
        EXPECT_EQ(out, found);
    }
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("XDG_DATA_HOME");
}

TEST(ProjectRegistry, RemovesOnlyWhatMatchesAndForgetsNoOther) {
    Owner a{"/x/one.wav"}, b{"/x/one.wav"};
    EXPECT_EQ(a.add(), 1);
    EXPECT_EQ(b.add(), 1);
    a.file = "/x/two.wav";
    EXPECT_EQ(a.remove(), 0);
    a.file = "/x/one.wav";
    EXPECT_EQ(a.remove(), 1);
    ASSERT_EQ(projectFiles().size(), 1u);
    EXPECT_EQ(projectFiles()[0].userData, &b);

    // An owner that was given another file can still remove it.
    const ProjectFile entry = projectFiles()[0];
    EXPECT_TRUE(replaceProjectFile(entry, "/x/new.wav"));
    EXPECT_FALSE(replaceProjectFile(entry, "/x/newer.wav"));
    EXPECT_EQ(b.file, "/x/new.wav");
    EXPECT_EQ(b.remove(), 1);

    EXPECT_EQ(a.call("file_in_project"), 0);
    FileInProjectRecord empty{};
    EXPECT_EQ(pluginRegister("file_in_project_ex2", &empty) + pluginRegister(nullptr, nullptr), 0);
    EXPECT_TRUE(projectFiles().empty());
}

TEST(MediaTypes, AreKnownInAnyCaseOnlyWholeAndListedInPairs) {
    for (const char *known : {"wav", "WAV", "Flac", "ogg", "mp3", "aif", "AIFF", "opus"})
        EXPECT_TRUE(isMediaExtension(known, 0)) << known;
    for (const char *other : {"", "wa", "wavx", "txt", "av", "*.wav", ";", "wav;*.wave", ".wav"})
        EXPECT_FALSE(isMediaExtension(other, 0)) << other;
    EXPECT_FALSE(isMediaExtension(nullptr, 0));
    const std::string all = mediaFilterList() + std::string("Media files").size() + 1;
    size_t texts = 0;
    for (const char *text = mediaFilterList(); *text; text += std::strlen(text) + 1)
        EXPECT_TRUE(++texts % 2 == 1 || all.find(text) != std::string::npos) << text;
    EXPECT_EQ(texts % 2, 0u);
}

} // namespace tonvale::workbench
