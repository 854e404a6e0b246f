#pragma once

#include "test_host/signals.h"

#include <lilv/lilv.h>
#include <lv2/atom/forge.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace tonvale::test {

/// How a host lets a plug-in work.
enum class Worker {
    none,    ///< it lends none
    later,   ///< when the test says so
    inside,  ///< within the request
    refuses, ///< never
};

/// Values that the plug-in told, as text or as number.
struct Told {
    std::vector<std::string> order; ///< names of properties
    std::map<std::string, std::string> texts;
    std::map<std::string, float> numbers;
};

/// Type and bytes, by key.
using StateValues = std::map<std::string, std::pair<uint32_t, std::string>>;

/// An instance in a small LV2 host: everything goes through lilv, and whatever the plug-in writes
/// is checked for being a sound sequence.
class Lv2Host {
  public:
    struct Options {
        Worker worker = Worker::later;
        double rate = 44100.0;
        uint32_t announced = 0; ///< longest block, 0 for no announcement
        uint32_t notifyRoom = 65536;
        bool connectsMessages = true;
    };
    explicit Lv2Host(const std::string &name)
        : Lv2Host(name, Options()) {}
    Lv2Host(const std::string &name, const Options &wanted);
    ~Lv2Host();
    Lv2Host(const Lv2Host &) = delete;
    Lv2Host &operator=(const Lv2Host &) = delete;

    void set(const std::string &symbol, float value) { controls.at(symbol) = value; }
    float get(const std::string &symbol) const { return controls.at(symbol); }
    void activate() { lilv_instance_activate(instance); }
    void deactivate() { lilv_instance_deactivate(instance); }
    /// One block of these channels.
    void run(const std::vector<std::vector<float>> &in, std::vector<std::vector<float>> &out,
             uint32_t offset, uint32_t frames);
    /// All of `input` in blocks of what `nextBlock` tells, less the latency that is told at its
    /// end.
    Channels process(const Channels &input, const std::function<uint32_t()> &nextBlock);
    /// The same with what comes before the latency has passed.
    Channels processAll(const Channels &input, const std::function<uint32_t()> &nextBlock);
    void silence(uint32_t frames, int blocks = 1);
    /// Runs what the plug-in asked for. Answers whether there was anything.
    bool work();

    /// Messages for the next block.
    void sendSet(const std::string &property, const std::string &text, bool isPath,
                 bool hasZero = true, const std::string &subject = "");
    void sendGet(const std::string &property = "");
    std::vector<uint8_t> &message() { return control; }
    void finishMessage(uint32_t size);

    /// Sets the chain, works and lets the fade pass.
    void load(const std::string &chain);
    Told &told() { return heard; }

    /// State as a file and back.
    LilvState *saved(const std::string &folder = "");
    void restore(const LilvState *state, bool withScheduler = false);
    /// What the plug-in itself stores, and given back.
    StateValues ownState();
    void restoreOwn(const StateValues &values);
    LV2_URID_Map *mapFeature();
    LV2_URID_Unmap *unmapFeature();

    size_t inputCount() const { return audioIn.size(); }
    size_t outputCount() const { return audioOut.size(); }
    LilvInstance *raw() { return instance; }
    const LilvPlugin *description() const { return plugin; }

    uint32_t map(const std::string &uri);
    std::vector<uint32_t> audioIn, audioOut;
    int requests = 0;

  private:
    void listen();
    static LV2_Worker_Status schedule(LV2_Worker_Schedule_Handle handle, uint32_t size,
                                      const void *data);

    const LilvPlugin *plugin = nullptr;
    LilvInstance *instance = nullptr;
    Options options;
    std::map<std::string, float> controls;
    std::vector<uint8_t> control, notify;
    Told heard;
    int waiting = 0;
    int32_t announcedLength = 0;
    LV2_Worker_Schedule scheduler{};
};

/// Block lengths, seeded, from 0 to `most`.
std::function<uint32_t()> randomLengths(uint32_t seed, uint32_t most);

/// The bundle's plug-ins, loaded once a process.
LilvWorld *lv2World();

} // namespace tonvale::test
