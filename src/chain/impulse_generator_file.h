#pragma once

#include "chain/impulse_generator.h"
#include "host/host_object_ptr.h"
#include "platform/critical_section.h"
#include "platform/window_handle.h"

#include <string>

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
    ~ImpulseGenerator_File() override;

    void process(ImpulseBuffer &impulse) override;
    void loadState(const char *key, const void *data, int32_t size) override;
    void saveState(HeapBuffer &out) override;
    const char *getDisplayName() override { return displayName; }
    const char *getTypeKey() override { return typeKey; }
    void saveText(char *text, int32_t size) override;
    bool loadText(const char *text) override;

    /// Opens `newPath` as it stands in place of the present file, and registers it with the host's
    /// project. On the thread of the editor.
    void replaceFile(const char *newPath);

    /// UTF-8; empty means no file.
    std::string getPath();

  private:
    struct Reading;

    void loadFile(ImpulseBuffer &impulse);
    void readConverted(Reading &reading);
    void readResampled(Reading &reading, ResamplerHandle &resampler);
    void mix(ImpulseBuffer &impulse, const Reading &reading) const;
    void formatStatus(const ImpulseBuffer &impulse, const Reading &reading);

    void setPath(std::string newPath);
    void openPath();
    void applyPath(const std::string &oldPath);
    void registerFile();
    void unregisterFile();
    void tellProject(const char *action, intptr_t ofProject);
    void followRename(const char *newPath);
    static intptr_t fileInProjectCallback(void *stage, int message, void *data);

    CriticalSection pathLock; ///< guards `path` and `project`: the host may call back on any thread
    std::string path;
    HostObjectPtr<MediaSource> source;
    intptr_t project = 0; ///< the host's project that knows of the file, 0 for none
};

} // namespace tonvale
