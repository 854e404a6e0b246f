#include "core/reverb_plugin.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace tonvale::test {
namespace {

/// Bytes built by hand, as a host would have them in a project.
struct Bytes {
    std::string data;

    Bytes &number(float value) { return raw(&value, sizeof value); }
    Bytes &head(float first, int count, float each) {
        number(first);
        while (count-- > 0)
            number(each);
        return *this;
    }
    Bytes &integer(int32_t value) { return raw(&value, sizeof value); }
    Bytes &text(const std::string &value) { return raw(value.c_str(), value.size() + 1); }
    Bytes &raw(const void *from, size_t size) {
        data.append(static_cast<const char *>(from), size);
        return *this;
    }
    /// A record of a file stage.
    Bytes &file(const std::string &key, const std::string &path, int32_t flags = 60) {
        return text(key).integer(static_cast<int32_t>(path.size()) + 5).integer(flags).text(path);
    }
};

class StateChunk : public testing::Test {
  protected:
    std::string save() { return driver.save(); }
    void load(const std::string &data) { driver.load(data); }
    std::vector<std::string> chain() { return driver.chain(); }

    static std::string line(const std::string &path, int flags = 60) {
        return "FILELDR \"" + path + "\" " + std::to_string(flags);
    }

    EffectDriver driver;
};

TEST_F(StateChunk, ComesBackByteForByte) {
    EXPECT_EQ(save().size(), 40u);
    driver.setChannels(5);
    for (int32_t i = 0; i < 8; ++i)
        driver.set(i, 0.1f + 0.1f * static_cast<float>(i));
    ASSERT_EQ(driver.setChain({line("memory:a"), "!" + line("no such/file.wav", 0x7f1c)}), 2);
    const std::string saved = save();

    Bytes expected;
    expected.number(-9.0f);
    for (int32_t i = 0; i < 8; ++i)
        expected.number(0.1f + 0.1f * static_cast<float>(i));
    expected.number(5.0f).file("FILELDR", "memory:a");
    expected.file("!FILELDR", "no such/file.wav", 0x7f1c);
    EXPECT_EQ(saved, expected.data);

    load("");
    EXPECT_TRUE(chain().empty());
    EXPECT_EQ(driver.effect->numInputs, 2);
    load(saved);
    EXPECT_EQ(driver.effect->numInputs, 5);
    EXPECT_EQ(driver.effect->numOutputs, 5);
    EXPECT_EQ(save(), saved);
}

TEST_F(StateChunk, TakesEveryOlderForm) {
    driver.set(2, 0.5f);
    load(Bytes{}.number(0.25f).number(0.75f).file("FILELDR", "a").data);
    EXPECT_EQ(driver.get(0), 0.25f);
    EXPECT_EQ(driver.get(1), 0.75f);
    EXPECT_EQ(driver.get(2), 0.5f);
    EXPECT_EQ(driver.get(7), 0.0f) << "a state from before LL mode has it off";
    EXPECT_EQ(chain(), (std::vector<std::string>{line("a")}));

    load(Bytes{}.number(-2.0f).number(0.5f).number(0.125f).file("FILELDR", "b").data);
    EXPECT_EQ(driver.get(0), 0.5f);
    EXPECT_EQ(driver.get(1), 0.125f);
    EXPECT_EQ(chain(), (std::vector<std::string>{line("b")}));

    driver.setChannels(4);
    load(Bytes{}.head(-8.0f, 8, 0.5f).data);
    EXPECT_EQ(driver.get(7), 0.5f);
    EXPECT_EQ(driver.effect->numInputs, 2);

    load(Bytes{}.head(-100.0f, 8, 0.25f).number(7.9f).data);
    EXPECT_EQ(driver.get(6), 0.25f);
    EXPECT_EQ(driver.effect->numInputs, 7);

    // Twelve floats: what is behind the ninth is skipped.
    load(Bytes{}.head(-12.0f, 12, 1.0f).file("FILELDR", "c").data);
    EXPECT_EQ(chain(), (std::vector<std::string>{line("c")}));
}

TEST_F(StateChunk, BoundsTheChannelCountAndTheHead) {
    for (const auto &[told, channels] :
         {std::pair{0.0f, 2}, {129.0f, 2}, {128.9f, 128}, {-3.0f, 2}, {NAN, 2}, {1e30f, 2}}) {
        load(Bytes{}.head(-9.0f, 8, 0.5f).number(told).data);
        EXPECT_EQ(driver.effect->numInputs, channels) << told;
    }
    for (const float head : {NAN, -INFINITY, INFINITY, -1e30f, -0.6f})
        load(Bytes{}.number(head).number(1.0f).number(1.0f).file("FILELDR", "x").data);
}

TEST_F(StateChunk, ReadsAsMuchAsThereIsAndStopsAtWhatIsNoRecord) {
    const std::string head = Bytes{}.number(1.0f).number(1.0f).data;
    const auto loaded = [&](const Bytes &records) {
        load(head + records.data);
        return chain();
    };
    const auto one = std::vector<std::string>{line("a")};
    EXPECT_EQ(loaded(Bytes{}.file("FILELDR", "a").raw("12345", 5)), one);
    EXPECT_EQ(loaded(Bytes{}.file("NOSUCH", "x").file("FILELDR", "a")), one);
    EXPECT_EQ(loaded(Bytes{}.file("FILELDR", "a").text("").file("FILELDR", "b")), one);
    EXPECT_EQ(loaded(Bytes{}.file("FILELDR", "a").text("FILELDR").integer(-1).text("b")), one);
    EXPECT_EQ(loaded(Bytes{}.file("FILELDR", "a").text("FILELDR").integer(3).raw("b", 2)), one);
    EXPECT_EQ(loaded(Bytes{}.text(std::string(255, 'K')).integer(0).file("FILELDR", "a")), one);
    // A refused payload leaves a stage with its defaults.
    EXPECT_EQ(loaded(Bytes{}.text("FILELDR").integer(3).raw("abc", 3)),
              std::vector<std::string>{line("")});
    load("1234567");
    EXPECT_TRUE(chain().empty());
    ASSERT_EQ(loaded(Bytes{}.file("FILELDR", "a")), one);
    driver.dispatch(effSetChunk, 0, 40, nullptr);
    EXPECT_EQ(chain(), one) << "no data is no state";
}

TEST_F(StateChunk, ActsAtOnceWithNoRamp) {
    Bytes bytes;
    bytes.number(-8.0f);
    for (const float value : {0.5f, 0.0f, 0.0f, 1.0f, 1.0f, 0.5f, 1.0f, 0.0f})
        bytes.number(value);
    load(bytes.data);
    const Channels input(2, std::vector<double>(10, 1.0));
    EXPECT_EQ(driver.process(input, 10)[0], std::vector<double>(10, 0.5));
}

TEST_F(StateChunk, BearsEveryPrefix) {
    putMedia("room", 44100.0, {roomNoise(200, 1)});
    driver.setChannels(3);
    ASSERT_EQ(driver.setChain({line("memory:room"), "!" + line("b"), line("memory:room", 316)}), 3);
    const std::string saved = save();
    for (size_t length = 0; length <= saved.size(); ++length)
        load(saved.substr(0, length));
    EXPECT_EQ(save(), saved);
}

} // namespace
} // namespace tonvale::test
