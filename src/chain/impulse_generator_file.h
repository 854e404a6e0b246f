#pragma once

#include "chain/impulse_generator.h"
#include "chain/registered_path.h"
#include "host/host_objects.h"
#include "platform/critical_section.h"
#include "platform/window_handle.h"

#include <memory>
#include <string>
#include <string_view>

namespace tonvale {

/// Decodes a media file through the host and mixes it into the impulse at the run's sample rate. A
/// file that can't be opened keeps its path and adds nothing.
class ImpulseGenerator_File final : public ImpulseGenerator {
  public:
    static constexpr const char *typeKey = "FILELDR";
    static constexpr const char *displayName = "File";

    /// Bits of `flags`. Bits 1 to 5 are one choice among ways of adjusting the gain, most of which
    /// exist for old projects.
    enum Flag : int32_t {
        mixToMono = 1 << 0,      ///< read the source as one channel
        normalisePeak = 1 << 1,  ///< divide by the peak, where no resampler runs
        startGainOne = 1 << 2,   ///< 0.125 when clear
        sourceRateGain = 1 << 3, ///< times source rate / output rate, where no resampler runs
        useResampler = 1 << 4,   ///< the host's resampler, where the rates differ
        compareMagnitudes =
            1 << 5, ///< keep the sum of magnitudes over the resampler, not of values
    };
    static constexpr int32_t defaultFlags =
        startGainOne | sourceRateGain | useResampler | compareMagnitudes;
    static constexpr int32_t statusSize = 256;
    /// The longest response that is read, in frames: over a minute at 44100 Hz.
    static constexpr int32_t maxFrames = 3145728;
    static constexpr int32_t maxSourceChannels = 128;

    CriticalSection lock; ///< held for a whole process(); guards `status` and `source`
    char status[statusSize];
    WindowHandle dialog;
    Relaxed<int32_t> flags{defaultFlags};

    ImpulseGenerator_File();

    void process(ImpulseBuffer &impulse) noexcept override;
    void loadState(const char *key, const void *data, int32_t size) noexcept override;
    void saveState(HeapBuffer &out) noexcept override;
    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }
    void saveText(char *text, int32_t size) noexcept override;
    bool loadText(const char *text) noexcept override;

    // For the thread that owns the stage.

    /// Opens `newPath` as it stands in place of the present file, and registers it with the host's
    /// project. Where memory is out nothing changes.
    void replaceFile(const char *newPath) noexcept;
    /// UTF-8; empty means no file.
    std::string getPath() const { return *path.get(); }
    /// Whether the host could open the path. Waits for a process().
    bool isOpen() { return presentSource() != nullptr; }

  private:
    struct Reading;
    using Source = std::shared_ptr<MediaSource>; ///< may be null

    void loadFile(ImpulseBuffer &impulse, MediaSource &from);
    void mix(ImpulseBuffer &impulse, const Reading &reading) const;
    void formatStatus(const ImpulseBuffer &impulse, const Reading &reading);
    void readConverted(Reading &reading) const;
    void readResampled(Reading &reading, ResamplerHandle &resampler) const;

    Source presentSource();
    void loadPath(std::string_view saved);
    void setFile(const RegisteredPath::Text &newPath, Source opened) noexcept;
    void putSource(const RegisteredPath::Text &ofPath, Source opened) noexcept;
    void reopen() noexcept;

    const char *const noFileText;
    /// A run keeps what it reads from, should the host give the file another path meanwhile.
    Source source;
    RegisteredPath path;
};

} // namespace tonvale
