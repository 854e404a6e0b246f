#include "lv2/lv2_host.h"
#include "steady_state/allocation_count.h"
#include "workbench/services/test_folder.h"
#include "workbench/sounds.h"

#include <clocale>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>
#include <xmmintrin.h>

namespace tonvale::test {
namespace {

using workbench::TestFolder;

constexpr const char *roomChain = "VERBGEN 0 1500 1 70 20 1\nNORM 0.2";
constexpr const char *otherChain = "VERBGEN 5 700 1 50 50 1\nFILT 0.4 0.01\nNORM 0.2";

/// A stereo file.
std::string writeResponse(const TestFolder &folder, const std::string &name, double rate) {
    writeSound(folder.file(name), {rate, {roomNoise(20000, 4), roomNoise(20000, 5)}});
    return folder.file(name);
}

/// The largest step from sample to sample.
double largestStep(const Samples &signal, size_t from, size_t to) {
    double step = 0.0;
    for (size_t i = from; i < to; ++i)
        step = std::max(step, std::fabs(signal[i] - signal[i - 1]));
    return step;
}

class Lv2Change : public testing::TestWithParam<std::tuple<bool, bool, bool>> {};

// Both sounds come from hosts that never change; the new one's input begins with the change,
// softly.
TEST_P(Lv2Change, IsACrossfadeOfBothSounds) {
    const auto &[zlBefore, zlAfter, isEnabled] = GetParam();
    const size_t block = 256, change = 60 * block, length = 200 * block, fade = 2205;
    Channels input(2, Samples(length));
    for (size_t i = 0; i < length; ++i)
        input[0][i] = input[1][i] = 0.5 * std::sin(0.02 * static_cast<double>(i));
    Channels begun = input;
    const auto gainAt = [](double i) { return std::clamp(i / fade, 0.0, 1.0); };
    for (Samples &channel : begun)
        for (size_t i = 0; i < length; ++i)
            channel[i] *= gainAt(static_cast<double>(i) - change);

    Lv2Host host("stereo"), before("stereo"), after("stereo");
    for (Lv2Host *one : {&host, &before, &after}) {
        one->set("zl", one == &after ? zlAfter : zlBefore);
        one->set("max_fft", 1024);
        one->set("enabled", isEnabled);
        one->activate();
        one->load(one == &after ? otherChain : roomChain);
    }
    size_t blocks = 0;
    const Channels heard = host.processAll(input, [&] {
        if (blocks == 50) {
            host.sendSet("chain", otherChain, false);
            host.set("zl", zlAfter);
        }
        if (blocks++ == change / block)
            host.work();
        return static_cast<uint32_t>(block);
    });
    const auto every = [] { return static_cast<uint32_t>(block); };
    // In bypass the new sound is the input, which begins nowhere.
    const Channels old = before.processAll(input, every),
                   fresh = after.processAll(isEnabled ? begun : input, every);

    const double late = after.get("latency");
    Samples expected(length);
    for (size_t i = 0; i < length; ++i) {
        const double since = static_cast<double>(i) - change;
        const double gain = gainAt(late > 0 ? since - late - fade : since);
        expected[i] =
            (1.0 - gain) * old[0][i] + (late > 0 || !isEnabled ? gain : 1.0) * fresh[0][i];
    }
    EXPECT_LT(errorLevel(heard[0], expected), -110.0);
    const double loudest = *std::max_element(old[0].begin(), old[0].end());
    EXPECT_LE(largestStep(heard[0], change, length),
              std::max(largestStep(old[0], change, length), largestStep(fresh[0], change, length)) +
                  loudest / fade);
}

INSTANTIATE_TEST_SUITE_P(ZeroLatencyAndBypass, Lv2Change,
                         testing::Combine(testing::Bool(), testing::Bool(), testing::Bool()));

TEST(Lv2Response, IsLoadedWhateverWorkerTheHostHas) {
    const TestFolder folder;
    const std::string path = writeResponse(folder, "ir.wav", 44100.0);
    for (const Worker worker : {Worker::none, Worker::later, Worker::inside, Worker::refuses}) {
        Lv2Host host("stereo", {.worker = worker});
        host.activate();
        host.silence(64);
        host.sendSet("response", path, true, false);
        host.silence(64);
        host.silence(64, 3);
        if (worker == Worker::refuses) {
            EXPECT_EQ(host.requests, 4);
            host.set("freewheel", 1);
        }
        if (worker == Worker::later) {
            EXPECT_EQ(host.requests, 1);
            EXPECT_TRUE(host.work());
        }
        for (int wait = 0; worker == Worker::none && wait < 500 && host.told().order.empty();
             ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            host.silence(64);
        }
        host.silence(64);
        const Told &told = host.told();
        const std::vector<std::string> all{"response", "chain", "length", "channels",
                                           "rate",     "peak",  "status"};
        EXPECT_EQ(told.order, all);
        EXPECT_EQ(host.told().texts["response"], path);
        EXPECT_EQ(host.told().texts["chain"], "FILELDR \"" + path + "\" 60");
        EXPECT_EQ(host.told().texts["status"], "FILELDR " + path);
        EXPECT_FLOAT_EQ(host.told().numbers["length"], 20000.0f / 44100.0f);
        EXPECT_EQ(host.told().numbers["channels"], 2.0f);
        EXPECT_EQ(host.told().numbers["rate"], 44100.0f);
    }
}

TEST(Lv2Response, TheLastWishWinsAndWhatFailsIsTold) {
    Lv2Host host("stereo", {.notifyRoom = 512});
    host.activate();
    for (const char *chain :
         {"NORM 1", "NORM 0.5", "!NORM 0.25\n\n FOO 1 \r\nFILELDR /none/x.wav\n"}) {
        host.sendSet("chain", chain, false);
        host.silence(64);
    }
    EXPECT_EQ(host.requests, 1);
    host.work();
    host.silence(64);
    EXPECT_LT(host.told().order.size(), 7U) << "all in so little room?";
    host.silence(64, 8);
    EXPECT_EQ(host.told().order.size(), 7U);
    EXPECT_EQ(host.told().texts["chain"], "!NORM 0.25\nFOO 1\nFILELDR /none/x.wav");
    EXPECT_EQ(host.told().texts["status"],
              "NORM, bypassed\nFOO 1: no stage\nFILELDR /none/x.wav: no such file");
    EXPECT_EQ(host.told().texts["response"], "");
    EXPECT_EQ(host.told().numbers["length"], 0.0f);
    host.told() = {};
    host.sendGet("length");
    host.silence(64);
    EXPECT_EQ(host.told().order, std::vector<std::string>{"length"});
}

TEST(Lv2Messages, ThatAreMalformedOrAnothersArePassedOver) {
    Lv2Host host("mono");
    host.activate();
    const auto expectNothing = [&] {
        host.silence(64, 2);
        EXPECT_EQ(host.requests, 0);
    };
    host.sendSet("response", "/a.wav", true, true, "urn:test:another");
    expectNothing();
    for (const char *property : {"length", "unknown"}) {
        host.sendSet(property, "5", false);
        expectNothing();
    }
    host.sendSet("response", std::string(4097, 'a'), true);
    expectNothing();
    host.sendSet("chain", std::string(32769, 'A'), false);
    expectNothing();
    // Cut anywhere, and with any word of it replaced.
    host.sendSet("response", "/a.wav", true);
    const std::vector<uint8_t> whole = host.message();
    const uint32_t size = reinterpret_cast<const LV2_Atom *>(whole.data())->size;
    for (uint32_t cut = 0; cut < size - 8; ++cut) {
        host.message() = whole;
        reinterpret_cast<LV2_Atom *>(host.message().data())->size = cut;
        expectNothing();
    }
    // Behind the sequence's own size, which the host alone can know.
    for (uint32_t at = 4; at < size + 8; at += 4) {
        for (const uint32_t value : {0U, 7U, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
            host.message() = whole;
            std::memcpy(host.message().data() + at, &value, sizeof value);
            host.silence(64);
        }
    }
    host.work();
    host.silence(64, 60);
    host.work();
    host.sendSet("response", "/b.wav", true, true, "urn:tonvale:mono");
    host.requests = 0;
    host.silence(64);
    EXPECT_EQ(host.requests, 1);
}

class Lv2AudioThread : public testing::TestWithParam<bool> {};

TEST_P(Lv2AudioThread, AllocatesNothingFromTheFirstBlockOn) {
    const bool zl = GetParam();
    Lv2Host host("true-stereo", {.announced = 1024});
    host.set("zl", zl);
    host.set("max_fft", 1024);
    host.activate();
    host.load("VERBGEN 0 3000 1 90 20 1\nNORM 0.2");
    host.set("preverb", 700);
    host.deactivate();
    host.activate();

    std::vector<std::vector<float>> in(2, std::vector<float>(8192, 0.1f)), out = in;
    const auto random = randomLengths(5, 8192);
    const auto play = [&] {
        const auto frames = random();
        host.run(in, out, 0, frames);
    };
    resetAllocationCount();
    for (int i = 0; i < 300; ++i) {
        host.set("wet", i % 7 ? -6.0f : -20.0f);
        host.set("width", i % 11 ? 0.5f : -1.0f);
        host.set("enabled", i % 50 > 5);
        if (i % 60 == 30)
            host.sendSet("chain", i % 120 == 30 ? otherChain : roomChain, false);
        if (i % 60 == 35)
            host.set("preverb", i % 120 == 35 ? 300.0f : 2500.0f);
        play();
        if (i % 10 == 0)
            host.work();
    }
    EXPECT_EQ(countedAllocations(), 0);
}

INSTANTIATE_TEST_SUITE_P(Modes, Lv2AudioThread, testing::Bool());

TEST(Lv2Process, IsLeftAsItWas) {
    const TestFolder folder;
    const std::string path = writeResponse(folder, "ir.wav", 32000.0);
    const auto threads = [] {
        const std::filesystem::directory_iterator tasks("/proc/self/task");
        return std::distance(begin(tasks), end(tasks));
    };
    const std::string locale = std::setlocale(LC_ALL, nullptr);
    ASSERT_EQ(std::system(("localedef -i de_DE -f UTF-8 " + folder.file("de_DE.UTF-8")).c_str()),
              0);
    setenv("LOCPATH", folder.path.c_str(), 1);
    std::setlocale(LC_ALL, "de_DE.UTF-8");
    ASSERT_STREQ(std::localeconv()->decimal_point, ",");
    std::thread([] {}).join(); // with the first one comes that of a sanitizer
    const auto before = threads();
    const unsigned flags = _mm_getcsr();
    const auto folderBefore = std::filesystem::current_path();
    sigset_t mask, maskAfter;
    sigprocmask(SIG_SETMASK, nullptr, &mask);
    {
        Lv2Host host("stereo", {.worker = Worker::none, .rate = 48000.0});
        host.set("freewheel", 1);
        host.activate();
        host.load("FILELDR \"" + path + "\" 60\nNORM 0.25");
        host.silence(512, 4);
        EXPECT_EQ(host.told().texts["status"], "FILELDR " + path + "\nNORM");
        EXPECT_NEAR(host.told().numbers["peak"], -12.04, 0.01);
        EXPECT_GT(threads(), before);
    }
    EXPECT_EQ(threads(), before);
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        EXPECT_EQ(line.find("tonvale.lv2"), std::string::npos) << "the library stays";
    EXPECT_EQ(_mm_getcsr() & 0xFFC0U, flags & 0xFFC0U);
    EXPECT_EQ(std::filesystem::current_path(), folderBefore);
    sigprocmask(SIG_SETMASK, nullptr, &maskAfter);
    EXPECT_EQ(std::memcmp(&mask, &maskAfter, 8), 0);
    std::setlocale(LC_ALL, locale.c_str());
    unsetenv("LOCPATH");
}

TEST(Lv2Threads, SixteenInstancesLiveOnAsMany) {
    std::vector<std::thread> all;
    std::atomic<int> loaded{0};
    lv2World();
    std::mutex world; // lilv itself is for one thread
    for (int i = 0; i < 16; ++i) {
        all.emplace_back([&, i] {
            std::unique_ptr<Lv2Host> host;
            {
                std::scoped_lock scope(world);
                host = std::make_unique<Lv2Host>(i % 2 ? "stereo" : "true-stereo",
                                                 Lv2Host::Options{.worker = Worker::none});
            }
            host->activate();
            host->sendSet("chain", i % 3 ? roomChain : otherChain, false);
            for (int wait = 0; wait < 6000 && host->told().order.empty(); ++wait) {
                host->silence(256);
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
            host->silence(256, 20);
            loaded += host->told().texts["status"].size() > 0;
            std::scoped_lock scope(world);
            host.reset();
        });
    }
    for (std::thread &thread : all)
        thread.join();
    EXPECT_EQ(loaded, 16);
}

} // namespace
} // namespace tonvale::test
