#include "lv2/lv2_host.h"
#include "workbench/services/test_folder.h"
#include "workbench/sounds.h"

#include <filesystem>

namespace tonvale::test {
namespace {

using workbench::contents;
using workbench::TestFolder;

Channels heardWith(Lv2Host &host) {
    host.deactivate();
    host.activate();
    return host.process(noiseChannels(2, 12000, 3), [] { return 1000U; });
}

std::string textOf(Lv2Host &host, const LilvState *state) {
    char *text = lilv_state_to_string(lv2World(), host.mapFeature(), host.unmapFeature(), state,
                                      "urn:test:state", nullptr);
    const std::string copy = text ? text : "";
    lilv_free(text);
    return copy;
}

TEST(Lv2State, IsFoundInAMovedFolderWithoutItsFirstFiles) {
    const TestFolder folder;
    const std::string path = folder.file("a \"room\" of \"Ann's\" 60.wav"),
                      state = folder.file("state");
    writeSound(path, {44100.0, {roomNoise(5000, 4), roomNoise(5000, 5)}});
    Lv2Host host("stereo");
    host.activate();
    host.sendSet("response", path, true);
    host.silence(64);
    EXPECT_EQ(host.requests, 1);
    host.work();
    host.silence(4096, 12);
    host.work();
    LilvState *saved = host.saved(state);
    ASSERT_NE(saved, nullptr);
    ASSERT_EQ(lilv_state_save(lv2World(), host.mapFeature(), host.unmapFeature(), saved,
                              "urn:test:state", state.c_str(), "state.ttl"),
              0);
    lilv_state_free(saved);
    const std::string text = contents(state + "/state.ttl");
    EXPECT_NE(text.find("urn:tonvale:chain"), text.npos);
    EXPECT_EQ(text.find(folder.path.string()), text.npos) << text;
    const Channels expected = heardWith(host);

    std::filesystem::rename(state, folder.file("moved"));
    const std::string moved = folder.file("moved/state.ttl");
    LilvNode *subject = lilv_new_uri(lv2World(), "urn:test:state");
    LilvState *found =
        lilv_state_new_from_file(lv2World(), host.mapFeature(), subject, moved.c_str());
    lilv_node_free(subject);
    ASSERT_NE(found, nullptr);
    Lv2Host other("stereo");
    other.restore(found);
    other.restore(found);
    lilv_state_free(found);
    other.activate();
    EXPECT_LT(
        largestDifference(expected, other.process(noiseChannels(2, 12000, 3), [] { return 64U; })),
        1e-6);
    EXPECT_EQ(other.requests, 0);
    // Links are followed, since hosts delete old states.
    EXPECT_EQ(other.told().texts["response"], std::filesystem::canonical(path).string());
    EXPECT_FLOAT_EQ(other.told().numbers["length"], 5000.0f / 44100.0f);
}

TEST(Lv2State, TellsTheLastWishInEqualBytes) {
    Lv2Host host("stereo"), other("stereo");
    host.activate();
    host.load("NORM 0.25\nVERBGEN");
    host.sendSet("chain", " FILT 0.123456789 0.01 \n\n!ECHOGEN\nWRONG 1", false);
    host.silence(64);
    LilvState *saved = host.saved();
    other.restore(saved);
    LilvState *again = other.saved();
    EXPECT_EQ(textOf(host, saved), textOf(host, again));
    EXPECT_NE(textOf(host, saved).find("FILT 0.123456789 0.01\n!ECHOGEN\nWRONG 1"),
              std::string::npos)
        << textOf(host, saved);
    lilv_state_free(saved);
    lilv_state_free(again);
}

TEST(Lv2State, RestoredTwiceWithinAFadeIsTheLastOne) {
    Lv2Host host("stereo"), other("stereo");
    host.activate();
    host.load("NORM 0.25");
    host.silence(64);
    for (const char *chain : {"VERBGEN\nNORM 0.1", "VERBGEN\nNORM 0.2"}) {
        other.load(chain);
        LilvState *state = other.saved();
        host.restore(state, true);
        lilv_state_free(state);
        host.work();
        host.silence(64);
    }
    host.silence(4096, 2);
    host.work();
    host.silence(4096, 2);
    EXPECT_EQ(host.told().texts["chain"], other.told().texts["chain"]);
    EXPECT_NEAR(host.told().numbers["peak"], -13.98, 0.1);
}

TEST(Lv2State, OfAChunkAloneGivesTheSameSound) {
    Lv2Host host("stereo"), other("stereo"), third("stereo");
    host.activate();
    host.load("VERBGEN 3 400 1 44.4 33.3 0.7\n!REVERSE\nFILT 0.3 0.0012345678\nCHANTOOL 0 1 0 1 0");
    LilvState *saved = host.saved();
    third.activate();
    third.silence(64);
    other.restoreOwn({*host.ownState().find("urn:tonvale:chunk")});
    other.activate();
    EXPECT_LT(largestDifference(heardWith(host), heardWith(other)), 1e-6);
    // In play, by the scheduler of the call, and without a key of ours.
    third.restore(saved, true);
    EXPECT_EQ(third.requests, 1);
    third.work();
    third.silence(4096, 12);
    EXPECT_EQ(third.told().texts["chain"], host.told().texts["chain"]);
    lilv_state_free(saved);
    third.restoreOwn({});
    third.silence(64);
    EXPECT_EQ(third.told().order.size(), 7U);
}

} // namespace
} // namespace tonvale::test
