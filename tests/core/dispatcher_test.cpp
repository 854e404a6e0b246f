#include "core/module_state.h"
#include "core/reverb_plugin.h"
#include "host/vendor_protocol.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace tonvale::test {
namespace {

class Dispatcher : public testing::Test {
  protected:
    std::string text(int32_t opcode, int32_t index = 0) {
        char buffer[256];
        std::memset(buffer, 'x', sizeof buffer);
        driver.dispatch(opcode, index, 0, buffer);
        return buffer;
    }

    intptr_t change(const char *command, const char *line) {
        std::string copy = line;
        return driver.vendor(vendorChangeChain, command, copy.data());
    }

    static std::string file(int index) {
        return "FILELDR \"memory:" + std::to_string(index) + "\" 60";
    }

    EffectDriver driver;
};

TEST(Entry, NeedsACallbackAndEveryRequiredFunctionAndTriesAgain) {
    EXPECT_EQ(VSTPluginMain(nullptr), nullptr);
    moduleState().hostFunctionsLoaded = false;
    for (const char *name :
         {"DB2SLIDER", "ZUB_fft_8", "GLYX_ScaledBlit", "ZUB_fft_complexmul3_8"}) {
        WithheldFunction withheld(name);
        hostNotes().clear();
        EXPECT_EQ(VSTPluginMain(testHostCallback), nullptr) << name;
        EXPECT_EQ(hostNotes().lookups, std::strcmp(name, "DB2SLIDER") == 0 ? 3 : 48) << name;
    }
    {
        // A host without its optional functions will do.
        const WithheldFunction all[] = {
            WithheldFunction{"resolve_fn2"},     WithheldFunction{"Resampler_Create"},
            WithheldFunction{"plugin_register"}, WithheldFunction{"__localizeFunc"},
            WithheldFunction{"get_ini_file"},    WithheldFunction{"PCM_Sink_Create"},
        };
        putMedia("room", 48000.0, {roomNoise(100, 1)});
        EffectDriver bare;
        EXPECT_EQ(bare.setChain({"FILELDR \"memory:room\" 60"}), 1);
        EXPECT_EQ(bare.dispatch(effGetTailSize), 92);
    }
    moduleState().hostFunctionsLoaded = false;
    EffectDriver first;
    hostNotes().clear();
    EffectDriver second;
    EXPECT_EQ(hostNotes().lookups, 0);
}

TEST(Entry, TheRecordTellsWhatTheEffectIs) {
    const EffectDriver driver;
    EXPECT_EQ(std::memcmp(&driver.effect->magic, "PtsV", 4), 0);
    EXPECT_EQ(std::memcmp(&driver.effect->uniqueID, "lvnt", 4), 0);
    EXPECT_EQ(driver.effect->numPrograms, 1);
    EXPECT_EQ(driver.effect->numParams, 8);
    EXPECT_EQ(driver.effect->numInputs, 2);
    EXPECT_EQ(driver.effect->numOutputs, 2);
    EXPECT_EQ(driver.effect->flags, 0x1031);
    EXPECT_EQ(driver.effect->version, 1100);
}

TEST_F(Dispatcher, TellsNamesAndTextsAndNothingForABadIndex) {
    EXPECT_EQ(text(effGetEffectName), "Tonvale");
    EXPECT_EQ(text(effGetProductString), "Tonvale");
    EXPECT_EQ(text(effGetVendorString), "Keldry");
    EXPECT_EQ(text(effGetParamName, 2), "Pre-verb");
    EXPECT_EQ(text(effGetParamLabel, 2), "ms");
    EXPECT_EQ(text(effGetParamName, 8), "");
    EXPECT_EQ(text(effGetParamDisplay, -1), "");
    const char *shown[] = {"-12.0", "+0.0", "0", "16384", "1.00", "0.00", "1", "1"};
    for (int32_t i = 0; i < 8; ++i)
        EXPECT_EQ(text(effGetParamDisplay, i), shown[i]);
    EXPECT_EQ(driver.dispatch(effGetParamName, 0, 0, nullptr), 0);
    EXPECT_EQ(driver.dispatch(effCanBeAutomated, 7), 1);
    EXPECT_EQ(driver.dispatch(effCanBeAutomated, 8), 0);
    EXPECT_EQ(driver.dispatch(effGetPlugCategory), 1);
    EXPECT_EQ(driver.dispatch(effEditOpen), 0);
    char ability[] = "hasKeldryExtensions2";
    EXPECT_EQ(driver.dispatch(effCanDo, 0, 0, ability), 0);
    ability[std::strlen(ability) - 1] = 0;
    EXPECT_EQ(driver.dispatch(effCanDo, 0, 0, ability), 0xBEEF0000);
    for (const int32_t opcode : {-1, 2, 13, 19, 73, 1000})
        EXPECT_EQ(driver.dispatch(opcode), 0);
}

TEST_F(Dispatcher, ShowsGainsTogetherWithTheirSignAndSilence) {
    const auto shown = [this](int32_t index, float value) {
        char buffer[256] = "x";
        const auto answer = driver.vendor(
            vendorParamText, reinterpret_cast<const void *>(intptr_t{index}), buffer, value);
        return answer == 0xBEEF ? std::string(buffer) : "none" + std::string(buffer);
    };
    EXPECT_EQ(shown(0, 1e-6f), "-inf");
    EXPECT_EQ(shown(0, 2e-6f), "-114.0");
    EXPECT_EQ(shown(1, 2.0f), "+6.0");
    EXPECT_EQ(shown(1, 0.999999f), "-0.0");
    EXPECT_EQ(shown(2, 0.04f), "120");
    EXPECT_EQ(shown(6, 0.5f), "1");
    EXPECT_EQ(shown(9, 0.5f), "none");
    driver.set(0, 0.0000005f);
    EXPECT_EQ(driver.get(0), 0.0f);
    EXPECT_EQ(driver.get(8), 0.0f);

    double range[2] = {-1.0, -1.0};
    const auto rangeOf = [&](intptr_t index) {
        return driver.vendor(vendorParamRange, reinterpret_cast<const void *>(index), range);
    };
    EXPECT_EQ(rangeOf(8), 0);
    EXPECT_EQ(range[1], -1.0);
    EXPECT_EQ(rangeOf(1), 0xBEEF);
    EXPECT_EQ(range[0], 0.0);
    EXPECT_EQ(range[1], 2.0);
    EXPECT_EQ(rangeOf(2), 0xBEEF);
    EXPECT_EQ(range[1], 1.0);
}

TEST_F(Dispatcher, EditsTheChainAsText) {
    EXPECT_EQ(change("-ITEM*", ""), 0xF00D);
    EXPECT_EQ(change("ITEM5", file(1).c_str()), 0xF00D);
    EXPECT_EQ(change("+ITEM0", (" \t" + file(2)).c_str()), 0xF00D);
    EXPECT_EQ(change("+ITEM1x", file(3).c_str()), 0xF00D);
    EXPECT_EQ(driver.chain(), (std::vector<std::string>{file(2), file(3), file(1)}));
    EXPECT_EQ(change("ITEM1", file(4).c_str()), 0xF00D);
    EXPECT_EQ(change("-ITEM0", ""), 0xF00D);
    EXPECT_EQ(change("-ITEM7", ""), 0xF00D);
    EXPECT_EQ(driver.chain(), (std::vector<std::string>{file(4), file(1)}));

    const std::string longKey(256, 'K');
    for (const auto &[command, line] :
         std::vector<std::pair<std::string, std::string>>{{"ITEM0", ""},
                                                          {"ITEM0", "NOSUCH 1"},
                                                          {"ITEM0", "fileldr \"x\" 60"},
                                                          {"ITEM-1", file(1)},
                                                          {"-ITEM-1", ""},
                                                          {"Item0", file(1)},
                                                          {"DONE ", file(1)},
                                                          {"", file(1)},
                                                          {"ITEM0", longKey},
                                                          {"+-ITEM0", file(1)}})
        EXPECT_EQ(change(command.c_str(), line.c_str()), 0) << command << " " << line;
    EXPECT_EQ(driver.chain().size(), 2u);

    hostNotes().clear();
    EXPECT_EQ(change("DONE", ""), 0xF00D);
    EXPECT_EQ(hostNotes().automateCalls, 1);
    EXPECT_EQ(hostNotes().lastAutomatedIndex, -1);

    char small[8] = "";
    EXPECT_EQ(driver.vendor(vendorReadStage, "ITEM0", small, 8.0f), 0xF00D);
    EXPECT_STREQ(small, "FILELDR");
    EXPECT_EQ(driver.vendor(vendorReadStage, "ITEM0", small, 1.0f), 0);
    EXPECT_EQ(driver.vendor(vendorReadStage, "ITEM2", small, 8.0f), 0);
    EXPECT_EQ(driver.vendor(vendorReadStage, nullptr, small, 8.0f), 0);
    EXPECT_EQ(driver.vendor(vendorReadStage, "ITEM0", small, NAN), 0);
    EXPECT_EQ(driver.vendor(vendorChangeChain, "DONE", nullptr), 0);
}

TEST_F(Dispatcher, ABypassedStageIsSkippedAndNotMarkedInItsText) {
    putMedia("1", 44100.0, {roomNoise(100, 1)});
    EXPECT_EQ(driver.setChain({"!" + file(1)}), 1);
    EXPECT_EQ(driver.dispatch(effGetTailSize), 1);
    EXPECT_EQ(driver.stageText(0), file(1));
}

TEST_F(Dispatcher, ConfiguresChannels) {
    int32_t count = 129;
    int32_t response = -1;
    EXPECT_EQ(driver.vendor(vendorChannelConfig, &count, &response, 1.0f), 4);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(response, 1);
    count = 128;
    driver.vendor(vendorChannelConfig, &count, nullptr, 0.5f);
    EXPECT_EQ(count, 2);
    count = 128;
    driver.vendor(vendorChannelConfig, &count, nullptr, 1.0f);
    EXPECT_EQ(driver.effect->numInputs, 128);
    EXPECT_EQ(driver.effect->numOutputs, 128);
    for (const auto &[channels, told, answer] :
         {std::tuple{2u, 2, 8}, std::tuple{3u, 0, 1}, std::tuple{1u, 1, 4}}) {
        driver.setResponse(Channels(channels, roomNoise(10, 1)));
        EXPECT_EQ(driver.vendor(vendorChannelConfig, nullptr, &response), answer);
        EXPECT_EQ(response, told);
    }
}

TEST_F(Dispatcher, BearsAnySampleRateAndPreverb) {
    driver.setResponse({roomNoise(2000, 1)});
    for (const float rate : {0.0f, -1.0f, NAN, INFINITY, 1e30f, 1.0f, 44100.0f}) {
        driver.dispatch(effSetSampleRate, 0, 0, nullptr, rate);
        for (const float preverb : {0.0f, -1.0f, 1e30f, NAN, 1.0f}) {
            driver.set(2, preverb);
            driver.reset();
            driver.process({noise(200, 1), noise(200, 2)}, 64);
        }
    }
    driver.set(2, 0.0f);
    driver.reset();
    EXPECT_EQ(driver.effect->initialDelay, 0);
    EXPECT_EQ(driver.dispatch(effGetTailSize), 2000);
}

} // namespace
} // namespace tonvale::test
