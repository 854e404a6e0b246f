#pragma once

#include "lv2/answer_queue.h"
#include "lv2/delay_line.h"
#include "lv2/loader.h"
#include "lv2/loader_thread.h"
#include "lv2/patch_message.h"

#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/worker/worker.h>

#include <optional>

namespace tonvale::lv2 {

/// What a host lends. Null for what it doesn't.
struct HostFeatures {
    const LV2_URID_Map *map = nullptr;
    const LV2_Worker_Schedule *schedule = nullptr;
    const LV2_Options_Option *options = nullptr;
    const LV2_Log_Log *log = nullptr;

    explicit HostFeatures(const LV2_Feature *const *features);
};

/// An instance as an LV2 host has it. run() is the audio thread's; it neither allocates nor waits
/// for anyone, but with freewheeling on. activate() never runs beside it; the rest is any thread's.
class Instance {
  public:
    /// Throws where memory or threads are out.
    Instance(const PluginKind &kind, double rate, const HostFeatures &features);
    ~Instance();
    Instance(const Instance &) = delete;
    Instance &operator=(const Instance &) = delete;

    void connect(uint32_t port, void *data);
    void activate();
    void deactivate() { isActive = false; }
    void run(uint32_t frames);
    void work() { loader.work(); }

    std::string chain() { return loader.wishedChain(); }
    /// Wishes a chain, and has it made: by `schedule` where there is one and sound goes on, else
    /// here and now.
    void restore(const ChainText &chain, const LV2_Worker_Schedule *schedule);

    const PluginKind &kind;
    const Urids urids;

  private:
    Settings readSettings() const;
    bool isOn(PortIndex port) const;
    void readMessages();
    void seeToVoice();
    void adoptOutcome();
    bool handOutJob();
    void play(uint32_t offset, int32_t frames);
    void readInputs(uint32_t offset, int32_t frames);
    void crossfade(int32_t frames);
    struct Change {
        int32_t before, after; ///< latencies
        int32_t faded;
    };
    void bypass(int32_t frames, const Change &change);
    void writeOutputs(uint32_t offset, int32_t frames);
    void writeAnswers();
    int32_t latency() const;

    const HostFeatures host;
    const int32_t longestBlock;
    const double fadeLength;   ///< from response to response, samples
    const double bypassLength; ///< into bypass and back, samples

    std::array<void *, firstAudioPort + 2 * mostPorts> ports{};
    Settings settings = initialSettings(); ///< as the ports say in this block

    Loader loader;
    std::unique_ptr<Voice> voice;     ///< what sounds
    std::unique_ptr<Loaded> incoming; ///< what is to take its place; null without a crossfade
    int32_t faded = 0;                ///< samples of that fade; below 0 it only listens
    int32_t listened = 0;             ///< samples since it does
    uint32_t voiceWish = 0;           ///< the newest voice's, also that of one that failed
    Settings voiceSettings{};

    Report report;
    ChainText wish;  ///< the last one of this thread
    ChainText shown; ///< what hosts read as the chain
    bool wishWaits = false;
    bool allIsNew = false; ///< a response was made, of which the host hasn't heard
    AnswerQueue answers;

    DelayLine past;
    double presence = 1.0; ///< 0 in bypass
    bool isFresh = true;   ///< nothing was heard since activate()
    std::atomic<bool> isActive{false};

    std::vector<double> room;
    std::array<double *, mostPorts> in{}, out{}, next{};

    std::unique_ptr<LoaderThread> thread; ///< null where the host lends a worker; ends first
};

} // namespace tonvale::lv2
