#include "workbench/services/host.h"

#include "test_folder.h"
#include "workbench/services/fader_law.h"
#include "workbench/services/media_types.h"
#include "workbench/services/path_resolver.h"
#include "workbench/services/project_registry.h"
#include "workbench/services/settings_file.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace tonvale::workbench {

namespace {

constexpr const char *everyName[] = {"SetWindowAccessibilityString",
                                     "DB2SLIDER",
                                     "SLIDER2DB",
                                     "resolve_fn2",
                                     "relative_fn",
                                     "PCM_Source_CreateFromFile",
                                     "Resampler_Create",
                                     "plugin_getFilterList",
                                     "plugin_register",
                                     "get_ini_file",
                                     "IsMediaExtension",
                                     "PCM_Sink_Create",
                                     "GetWindowDPIScaling",
                                     "GLYX_CreateBitmap",
                                     "GLYX_GetPixel",
                                     "GLYX_PutPixel",
                                     "GLYX_LineInt",
                                     "GLYX_Line",
                                     "GLYX_ThickFLine",
                                     "GLYX_Circle",
                                     "GLYX_FillCircle",
                                     "GLYX_FillRect",
                                     "GLYX_DrawRect",
                                     "GLYX_BorderedRect",
                                     "GLYX_Clear",
                                     "GLYX_Blit",
                                     "GLYX_RotatedBlit",
                                     "GLYX_DrawGlyph",
                                     "GLYX_CreateFont",
                                     "GLYX_FillTriangle",
                                     "GLYX_Arc",
                                     "GLYX_FillTrapezoid",
                                     "GLYX_FillConvexPolygon",
                                     "GLYX_Copy",
                                     "GLYX_ScaledBlit",
                                     "GLYX_MeasureText",
                                     "GLYX_DrawText",
                                     "ZUB_fft_8",
                                     "ZUB_fft_real_8",
                                     "ZUB_fft_complexmul_8",
                                     "ZUB_fft_complexmul2_8",
                                     "ZUB_fft_complexmul3_8",
                                     "ZUB_fft_permute_tab",
                                     "vac_createGroupsFromTab",
                                     "__localizeFunc",
                                     "__localizeMenu",
                                     "__localizeInitializeDialog",
                                     "__localizePrepareDialog"};

intptr_t ask(int32_t index, intptr_t value, const char *name) {
    return hostCallback(nullptr, static_cast<int32_t>(0xDEADBEEF), index, value,
                        const_cast<char *>(name), 0.0f);
}

constexpr auto functionIndex = static_cast<int32_t>(0xDEADF00D);
constexpr auto contextIndex = static_cast<int32_t>(0xDEADF00E);

std::string resolved(const std::string &path, int size = 2048) {
    std::vector<char> out(2048, 'x');
    resolvePath(path.c_str(), out.data(), size, "impulses");
    return out.data();
}

/// A stage as the registry sees it: it notes what it is told.
struct Owner {
    std::string file;
    static intptr_t told(void *stage, int message, void *data) {
        if (message == fileInProjectReplace)
            static_cast<Owner *>(stage)->file = static_cast<const char *>(data);
        return 0;
    }
    int register_(const char *name) {
        FileInProjectRecord record{file.c_str(), currentProject(), this, told};
        return pluginRegister(name, &record);
    }
};

} // namespace

TEST(Host, HasEveryFunctionByNameAndNoOther) {
    useSharedCache();
    for (const char *name : everyName)
        EXPECT_NE(ask(functionIndex, 0, name), 0) << name;
    for (const char *name : {"", "DB2SLIDE", "DB2SLIDER2", "db2slider"})
        EXPECT_EQ(ask(functionIndex, 0, name), 0) << name;
    EXPECT_EQ(ask(functionIndex, 0, nullptr), 0);
    EXPECT_EQ(ask(0, 0, "DB2SLIDER"), 0);
}

TEST(Host, NamesItsProjectAndItselfAsContexts) {
    EXPECT_EQ(ask(contextIndex, 3, nullptr), reinterpret_cast<intptr_t>(currentProject()));
    EXPECT_NE(ask(contextIndex, 3, nullptr), 0);
    EXPECT_NE(ask(contextIndex, 4, nullptr), 0);
    EXPECT_EQ(ask(contextIndex, 5, nullptr), 0);
}

TEST(Host, AnIdleRequestIsTakenOnceAndByItsEffectAlone) {
    std::vector<AEffect> effects(3);
    const auto request = [](AEffect &effect) {
        hostCallback(&effect, audioMasterNeedIdle, 0, 0, nullptr, 0.0f);
    };
    request(effects[0]);
    request(effects[0]);
    EXPECT_FALSE(takeIdleRequest(&effects[1]));
    EXPECT_TRUE(takeIdleRequest(&effects[0]));
    EXPECT_FALSE(takeIdleRequest(&effects[0]));
    EXPECT_FALSE(takeIdleRequest(nullptr));

    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < 2000; ++n)
                for (AEffect &effect : effects)
                    request(effect);
        });
    for (auto &thread : threads)
        thread.join();
    for (AEffect &effect : effects) {
        EXPECT_TRUE(takeIdleRequest(&effect));
        EXPECT_FALSE(takeIdleRequest(&effect));
    }
}

TEST(FaderLaw, RisesStrictlyAndIsItsOwnInverse) {
    double before = -1.0;
    for (double decibels = -150.0; decibels <= 12.0; decibels += 0.25) {
        const double position = decibelsToPosition(decibels);
        EXPECT_GT(position, before) << decibels;
        EXPECT_NEAR(positionToDecibels(position), decibels, 1e-9);
        before = position;
    }
    EXPECT_EQ(decibelsToPosition(-150.0), 0.0);
    EXPECT_EQ(decibelsToPosition(12.0), 1000.0);
    const double unity = decibelsToPosition(0.0);
    EXPECT_GT(unity, 600.0);
    EXPECT_LT(unity, 800.0);
}

TEST(FaderLaw, HoldsWhatLiesOutsideItsRange) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double low : {nan, -HUGE_VAL, -1e300, -150.1}) {
        EXPECT_EQ(decibelsToPosition(low), 0.0);
        EXPECT_EQ(positionToDecibels(low), -150.0);
    }
    for (double high : {1000.1, 1e300, HUGE_VAL}) {
        EXPECT_EQ(decibelsToPosition(high), 1000.0);
        EXPECT_EQ(positionToDecibels(high), 12.0);
    }
}

TEST(PathResolver, FindsFilesAsGivenThenInTheUsersFolder) {
    const TestFolder folder;
    setenv("XDG_DATA_HOME", folder.path.c_str(), 1);
    const auto impulses = folder.path / "tonvale" / "impulses";
    std::filesystem::create_directories(impulses / "halls");
    std::ofstream(impulses / "halls" / "große.wav") << "x";
    std::ofstream(folder.path / "near.wav") << "x";
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path);
    const std::string near = std::filesystem::current_path() / "near.wav";

    EXPECT_EQ(resolved(near), near);
    EXPECT_EQ(resolved("near.wav"), near);
    EXPECT_EQ(resolved("halls/große.wav"), impulses / "halls" / "große.wav");
    EXPECT_EQ(resolved("halls"), "");
    EXPECT_EQ(resolved("../../near.wav"), "");
    EXPECT_EQ(resolved("/halls/große.wav"), "");
    EXPECT_EQ(resolved(""), "");
    EXPECT_EQ(resolved(std::string(100000, 'a')), "");
    // One byte short of the terminator's room is too short.
    EXPECT_EQ(resolved(near, static_cast<int>(near.size())), "");
    EXPECT_EQ(resolved(near, static_cast<int>(near.size()) + 1), near);

    char untouched = 'x';
    resolvePath("near.wav", &untouched, 0, "impulses");
    EXPECT_EQ(untouched, 'x');
    resolvePath(nullptr, &untouched, 1, nullptr);
    EXPECT_EQ(untouched, 0);
    std::filesystem::current_path(before);
    unsetenv("XDG_DATA_HOME");
}

TEST(SettingsFile, LiesInAFolderThatIsThere) {
    const TestFolder folder;
    setenv("XDG_CONFIG_HOME", folder.path.c_str(), 1);
    EXPECT_EQ(settingsFile(), folder.file("tonvale/tonvale.ini"));
    EXPECT_TRUE(std::filesystem::is_directory(folder.path / "tonvale"));
    unsetenv("XDG_CONFIG_HOME");
}

TEST(ProjectRegistry, RemovesOnlyWhatMatchesAndForgetsNoOther) {
    Owner a{"/x/one.wav"}, b{"/x/one.wav"};
    EXPECT_EQ(a.register_("file_in_project_ex2"), 1);
    EXPECT_EQ(b.register_("file_in_project_ex2"), 1);
    ASSERT_EQ(projectFiles().size(), 2u);
    a.file = "/x/two.wav";
    EXPECT_EQ(a.register_("-file_in_project_ex2"), 0);
    a.file = "/x/one.wav";
    EXPECT_EQ(a.register_("-file_in_project_ex2"), 1);
    ASSERT_EQ(projectFiles().size(), 1u);
    EXPECT_EQ(projectFiles()[0].userData, &b);
    EXPECT_EQ(b.register_("-file_in_project_ex2"), 1);

    EXPECT_EQ(a.register_("file_in_project"), 0);
    EXPECT_EQ(pluginRegister(nullptr, nullptr), 0);
    FileInProjectRecord empty{};
    EXPECT_EQ(pluginRegister("file_in_project_ex2", &empty), 0);
    EXPECT_TRUE(projectFiles().empty());
}

TEST(ProjectRegistry, AReplacedFileCanStillBeRemovedByItsOwner) {
    Owner owner{"/x/old.wav"};
    owner.register_("file_in_project_ex2");
    const ProjectFile entry = projectFiles().at(0);
    EXPECT_TRUE(replaceProjectFile(entry, "/x/new.wav"));
    EXPECT_EQ(owner.file, "/x/new.wav");
    EXPECT_EQ(projectFiles().at(0).file, "/x/new.wav");
    EXPECT_FALSE(replaceProjectFile(entry, "/x/newer.wav"));
    EXPECT_EQ(owner.file, "/x/new.wav");
    EXPECT_EQ(owner.register_("-file_in_project_ex2"), 1);
    EXPECT_TRUE(projectFiles().empty());
}

TEST(ProjectRegistry, LosesNothingWhenManyThreadsRegister) {
    std::vector<Owner> owners(4, Owner{"/x/file.wav"});
    std::vector<std::thread> threads;
    for (Owner &owner : owners)
        threads.emplace_back([&owner] {
            for (int i = 0; i < 500; ++i) {
                owner.register_("file_in_project_ex2");
                owner.register_("file_in_project_ex2");
                owner.register_("-file_in_project_ex2");
            }
        });
    for (auto &thread : threads)
        thread.join();
    EXPECT_EQ(projectFiles().size(), 4u * 500);
    for (Owner &owner : owners)
        while (owner.register_("-file_in_project_ex2")) {
        }
    EXPECT_TRUE(projectFiles().empty());
}

TEST(MediaTypes, AnExtensionIsKnownInAnyCaseAndOnlyWhole) {
    for (const char *known : {"wav", "WAV", "Flac", "ogg", "mp3", "aif", "AIFF", "opus"})
        EXPECT_TRUE(isMediaExtension(known, 0)) << known;
    for (const char *other : {"", "wa", "wavx", "txt", "av", "*.wav", ";", "wav;*.wave", ".wav"})
        EXPECT_FALSE(isMediaExtension(other, 0)) << other;
    EXPECT_FALSE(isMediaExtension(nullptr, 0));
}

TEST(MediaTypes, TheFilterListIsPairsUpToAnEmptyText) {
    std::vector<std::string> texts;
    for (const char *text = mediaFilterList(); *text; text += texts.back().size() + 1)
        texts.emplace_back(text);
    ASSERT_EQ(texts.size() % 2, 0u);
    EXPECT_EQ(texts[0], "Media files");
    for (size_t i = 3; i < texts.size(); i += 2)
        EXPECT_NE(texts[1].find(texts[i]), std::string::npos) << texts[i];
}

} // namespace tonvale::workbench
