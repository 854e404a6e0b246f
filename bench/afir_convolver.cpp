#include "bench/convolver.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <deque>
#include <stdexcept>
#include <string>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
}

namespace tonvale::bench {

namespace {

void require(int status) {
    if (status < 0)
        throw std::runtime_error("afir refuses this case");
}

/// A graph of two sources, the filter and a sink, in planar double precision.
class Afir final : public Convolver {
  public:
    Afir(const Setup &setup, const Planes &response)
        : channels(setup.channels)
        , rate(setup.rate)
        , graph(avfilter_graph_alloc()) {
        // It plays a bit mask of at most 64 channels, its partitions between 1 and 65536.
        mask = channels >= 63 ? ~0ull : (1ull << channels) - 1;
        if (!graph || channels > 63)
            throw std::runtime_error("afir refuses this case");
        av_log_set_level(AV_LOG_QUIET);
        graph->nb_threads = 1;
        audio = source("audio");
        AVFilterContext *taps = source("taps");
        const int smallest = std::clamp(
            static_cast<int>(std::bit_floor(static_cast<unsigned>(setup.block))), 8, 32768);
        const std::string options =
            // Of itself this version doubles what it plays.
            "irgain=0.5:gtype=none:irfmt=input:maxir=60:precision=double:minp=" +
            std::to_string(smallest) + ":maxp=32768";
        AVFilterContext *filter = nullptr;
        require(avfilter_graph_create_filter(&filter, avfilter_get_by_name("afir"), "filter",
                                             options.c_str(), nullptr, graph));
        require(avfilter_graph_create_filter(&sink, avfilter_get_by_name("abuffersink"), "sink",
                                             nullptr, nullptr, graph));
        require(avfilter_link(audio, 0, filter, 0));
        require(avfilter_link(taps, 0, filter, 1));
        require(avfilter_link(filter, 0, sink, 0));
        require(avfilter_graph_config(graph, nullptr));

        std::vector<const double *> planes;
        for (int c = 0; c < channels; ++c)
            planes.push_back(response[static_cast<size_t>(c) % response.size()].data());
        send(taps, planes.data(), static_cast<int>(response[0].size()), 0);
        require(av_buffersrc_add_frame(taps, nullptr));
    }
    ~Afir() override { avfilter_graph_free(&graph); }
    Afir(const Afir &) = delete;
    Afir &operator=(const Afir &) = delete;

    void process(const double *const *in, double *const *out, int frames) override {
        send(audio, in, frames, played);
        played += frames;
        AVFrame *frame = av_frame_alloc();
        int done = 0;
        while (done < frames && av_buffersink_get_samples(sink, frame, frames - done) >= 0) {
            for (int c = 0; c < channels; ++c)
                std::memcpy(out[c] + done, frame->extended_data[c],
                            static_cast<size_t>(frame->nb_samples) * sizeof(double));
            done += frame->nb_samples;
            av_frame_unref(frame);
        }
        av_frame_free(&frame);
        for (int c = 0; c < channels; ++c)
            std::fill(out[c] + done, out[c] + frames, 0.0);
    }

  private:
    AVFilterContext *source(const char *name) {
        char layout[64];
        std::snprintf(layout, sizeof layout, "0x%llx", mask);
        const std::string options = "sample_fmt=dblp:sample_rate=" + std::to_string(rate) +
                                    ":time_base=1/" + std::to_string(rate) +
                                    ":channel_layout=" + layout;
        AVFilterContext *made = nullptr;
        require(avfilter_graph_create_filter(&made, avfilter_get_by_name("abuffer"), name,
                                             options.c_str(), nullptr, graph));
        return made;
    }

    void send(AVFilterContext *to, const double *const *planes, int frames, int64_t at) {
        AVFrame *frame = av_frame_alloc();
        frame->format = AV_SAMPLE_FMT_DBLP;
        frame->sample_rate = rate;
        frame->nb_samples = frames;
        frame->pts = at;
        require(av_channel_layout_from_mask(&frame->ch_layout, mask));
        require(av_frame_get_buffer(frame, 0));
        for (int c = 0; c < channels; ++c)
            std::memcpy(frame->extended_data[c], planes[c],
                        static_cast<size_t>(frames) * sizeof(double));
        const int status = av_buffersrc_add_frame(to, frame);
        av_frame_free(&frame);
        require(status);
    }

    int channels;
    int rate;
    unsigned long long mask = 0;
    AVFilterGraph *graph;
    AVFilterContext *audio = nullptr;
    AVFilterContext *sink = nullptr;
    int64_t played = 0;
};

} // namespace

std::unique_ptr<Convolver> makeAfir(const Setup &setup, const Planes &response) {
    return std::make_unique<Afir>(setup, response);
}

} // namespace tonvale::bench
