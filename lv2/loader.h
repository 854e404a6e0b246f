#pragma once

#include "convolution/containers/relaxed.h"
#include "lv2/chain_text.h"
#include "lv2/report.h"
#include "lv2/voice.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace tonvale::lv2 {

/// A response that was made, as it goes to the audio thread and, with what that had before, back.
struct Loaded {
    std::unique_ptr<Voice> voice; ///< null where memory was out
    Report report;
    uint32_t wish = 0; ///< which one it fulfils
    Settings settings{};
};

/// Makes responses, away from the audio thread: what is wished last, one at a time.
///
/// The audio thread and any other say what they wish; work() does what there is to do, on whichever
/// thread has the time, and puts the outcome where the audio thread finds it.
class Loader {
  public:
    /// `tell` hears of each line of a chain that came to nothing, in work().
    Loader(const PluginKind &kind, double rate, std::function<void(const std::string &)> tell);
    ~Loader();
    Loader(const Loader &) = delete;
    Loader &operator=(const Loader &) = delete;

    // Any thread but the audio thread.

    void wish(const ChainText &chain);
    std::string wishedChain();
    /// Frees what has served, and makes what is wished unless that was made already. Waits for
    /// another thread in it. The settings are those that the audio thread asked for last.
    void work();

    // The audio thread, which waits for nothing here.

    /// False where another thread has its hand on the wish just now: to be tried again.
    bool tryWish(const ChainText &chain);
    uint32_t wishNumber() const { return wishes.load(std::memory_order_acquire); }
    /// Copies the last wish. False as in tryWish().
    bool tryRead(ChainText &chain);
    void askFor(const Settings &settings);
    /// Has the next job make a voice for the settings that were asked for, though the wish is old.
    void askForAnotherVoice() { voiceIsAsked.store(true, std::memory_order_release); }
    bool hasOutcome() const { return outcome.load(std::memory_order_acquire) != nullptr; }
    Loaded *takeOutcome() { return outcome.exchange(nullptr, std::memory_order_acq_rel); }
    /// Whether what has served is freed, so that retire() may be called.
    bool canRetire() const { return retired.load(std::memory_order_acquire) == nullptr; }
    void retire(Loaded *served) { retired.store(served, std::memory_order_release); }
    /// Set before a job is handed out, cleared by work().
    std::atomic<bool> busy{false};

  private:
    std::unique_ptr<Loaded> make(const ChainText &chain, uint32_t number, const Settings &wanted);

    const PluginKind &kind;
    const double rate;
    const std::function<void(const std::string &)> tell;

    std::mutex wishLock; ///< guards `wished`; the audio thread only tries it
    ChainText wished;
    std::atomic<uint32_t> wishes{1};
    Relaxed<float> asked[settingCount];

    std::mutex jobLock; ///< one job at a time; guards the two below
    ChainText current;
    uint32_t madeWish = 0;
    std::atomic<bool> voiceIsAsked{false};
    std::atomic<Loaded *> outcome{nullptr};
    std::atomic<Loaded *> retired{nullptr};
};

/// The settings of ports that nobody has set.
Settings initialSettings();

} // namespace tonvale::lv2
