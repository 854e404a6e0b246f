#include "test_host/host_side_functions.h"

#include "host/host_functions.h"
#include "host/host_object_ptr.h"
#include "test_host/allocation_limit.h"

#include <cstring>

namespace tonvale::test {

namespace {

/// Forwards to an object of the host that it owns.
template <class Object>
class OnHostSide : public Object {
  public:
    explicit OnHostSide(Object *object)
        : inner(object) {}
    virtual ~OnHostSide() = default;
    void destroy(int) override {
        const HostSide side;
        delete this;
    }

  protected:
    template <class... Parameters, class... Arguments>
    auto forward(auto(Object::*operation)(Parameters...), Arguments... arguments) {
        const HostSide side;
        return (inner.get()->*operation)(arguments...);
    }

  private:
    HostObjectPtr<Object> inner;
};

struct Source final : OnHostSide<MediaSource> {
    using OnHostSide::OnHostSide;
    int GetNumChannels() override { return forward(&MediaSource::GetNumChannels); }
    double GetSampleRate() override { return forward(&MediaSource::GetSampleRate); }
    double GetLength() override { return forward(&MediaSource::GetLength); }
    void GetSamples(MediaReadBlock *block) override { forward(&MediaSource::GetSamples, block); }
};

struct Sink final : OnHostSide<MediaSink> {
    using OnHostSide::OnHostSide;
    void WriteDoubles(double **channels, int length, int count, int offset, int spacing) override {
        forward(&MediaSink::WriteDoubles, channels, length, count, offset, spacing);
    }
};

struct Resampler final : OnHostSide<ResamplerHandle> {
    using OnHostSide::OnHostSide;
    void SetRates(double in, double out) override { forward(&ResamplerHandle::SetRates, in, out); }
    void Reset() override { forward(&ResamplerHandle::Reset); }
    int Prepare(int outFrames, int channels, double **place) override {
        return forward(&ResamplerHandle::Prepare, outFrames, channels, place);
    }
    int Out(double *out, int inFrames, int outFrames, int channels) override {
        return forward(&ResamplerHandle::Out, out, inFrames, outFrames, channels);
    }
    intptr_t Extended(int call, intptr_t first, intptr_t second, intptr_t third) override {
        return forward(&ResamplerHandle::Extended, call, first, second, third);
    }
};

template <class T>
T answered(T result) {
    return result;
}
MediaSource *answered(MediaSource *source) {
    return source ? new Source(source) : nullptr;
}
MediaSink *answered(MediaSink *sink) {
    return sink ? new Sink(sink) : nullptr;
}
ResamplerHandle *answered(ResamplerHandle *resampler) {
    return resampler ? new Resampler(resampler) : nullptr;
}

template <auto slot>
struct Function;

template <class Answer, class... Arguments, Answer (*HostFunctions::*slot)(Arguments...)>
struct Function<slot> {
    static inline Answer (*inner)(Arguments...) = nullptr;

    static Answer call(Arguments... arguments) {
        const HostSide side;
        if constexpr (std::is_void_v<Answer>)
            inner(arguments...);
        else
            return answered(inner(arguments...));
    }
    static intptr_t wrap(intptr_t function) {
        inner = reinterpret_cast<Answer (*)(Arguments...)>(function);
        return reinterpret_cast<intptr_t>(&call);
    }
};

constexpr struct {
    const char *name;
    intptr_t (*wrap)(intptr_t function);
} rows[] = {
    {"resolve_fn2", Function<&HostFunctions::resolve_fn2>::wrap},
    {"PCM_Source_CreateFromFile", Function<&HostFunctions::PCM_Source_CreateFromFile>::wrap},
    {"Resampler_Create", Function<&HostFunctions::Resampler_Create>::wrap},
    {"plugin_getFilterList", Function<&HostFunctions::plugin_getFilterList>::wrap},
    {"plugin_register", Function<&HostFunctions::plugin_register>::wrap},
    {"get_ini_file", Function<&HostFunctions::get_ini_file>::wrap},
    {"IsMediaExtension", Function<&HostFunctions::IsMediaExtension>::wrap},
    {"PCM_Sink_Create", Function<&HostFunctions::PCM_Sink_Create>::wrap},
    {"ZUB_fft_8", Function<&HostFunctions::ZUB_fft_8>::wrap},
};

} // namespace

intptr_t onHostSide(const char *name, intptr_t function) {
    for (const auto &row : rows) {
        if (function != 0 && std::strcmp(row.name, name) == 0)
            return row.wrap(function);
    }
    return function;
}

} // namespace tonvale::test
