#include <lilv/lilv.h>
#include <lv2/atom/forge.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/options/options.h>
#include <lv2/parameters/parameters.h>
#include <lv2/patch/patch.h>
#include <lv2/worker/worker.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// Processor time of LV2 convolvers on one response, of all threads of the process together: the
// rows of a table in a file, since some talk on standard output. lv2_convolvers RESPONSE TABLE

namespace {

constexpr double rate = 48000.0;
constexpr uint32_t messageRoom = 1 << 17;

struct Peer {
    const char *name;
    const char *uri;
    const char *file; ///< the property that takes the response
    std::vector<std::pair<std::string, float>> settings;
    bool takesStates = false; ///< answers messages with an error, but loads the file of a state
};

const Peer peers[] = {
    {"Tonvale, ZL, LL", "urn:tonvale:stereo", "urn:tonvale:response", {{"dry", -60}}},
    {"Tonvale, ZL", "urn:tonvale:stereo", "urn:tonvale:response", {{"dry", -60}, {"ll", 0}}},
    {"zeroconvo, buffered",
     "http://gareus.org/oss/lv2/zeroconvolv#CfgStereo",
     "http://gareus.org/oss/lv2/zeroconvolv#ir",
     {{"buffered", 1}},
     true},
    {"zeroconvo",
     "http://gareus.org/oss/lv2/zeroconvolv#CfgStereo",
     "http://gareus.org/oss/lv2/zeroconvolv#ir",
     {{"buffered", 0}},
     true},
    {"LSP, FFT 512",
     "http://lsp-plug.in/plugins/lv2/impulse_responses_stereo",
     "http://lsp-plug.in/plugins/lv2/impulse_responses_stereo/ports#ifn0",
     {{"fft", 0}, {"cs_l", 1}, {"cs_r", 2}, {"dry", 0}}},
    {"LSP, FFT 32768",
     "http://lsp-plug.in/plugins/lv2/impulse_responses_stereo",
     "http://lsp-plug.in/plugins/lv2/impulse_responses_stereo/ports#ifn0",
     {{"fft", 6}, {"cs_l", 1}, {"cs_r", 2}, {"dry", 0}}},
};

std::map<std::string, LV2_URID> &numbers() {
    static std::map<std::string, LV2_URID> table;
    return table;
}

LV2_URID mapUri(LV2_URID_Map_Handle, const char *uri) {
    return numbers().try_emplace(uri, static_cast<LV2_URID>(numbers().size() + 1)).first->second;
}

const char *unmapUri(LV2_URID_Unmap_Handle, LV2_URID number) {
    for (const auto &[uri, known] : numbers())
        if (known == number)
            return uri.c_str();
    return nullptr;
}

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

/// An instance that is given what it needs, and works between blocks.
class Host {
  public:
    Host(LilvWorld *world, const Peer &peer, int32_t block)
        : length(block)
        , sampleRate(rate)
        , in(2, std::vector<float>(static_cast<size_t>(block)))
        , out(in)
        , messages(messageRoom)
        , answers(messageRoom) {
        LilvNode *uri = lilv_new_uri(world, peer.uri);
        const LilvPlugin *plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
        lilv_node_free(uri);
        if (!plugin)
            return;
        static LV2_URID_Map map{nullptr, mapUri};
        static LV2_URID_Unmap unmap{nullptr, unmapUri};
        mapping = &map;
        scheduler = {this, [](LV2_Worker_Schedule_Handle handle, uint32_t size, const void *data) {
                         const auto *bytes = static_cast<const char *>(data);
                         static_cast<Host *>(handle)->requests.emplace_back(bytes, bytes + size);
                         return LV2_WORKER_SUCCESS;
                     }};
        const auto option = [](const char *key, uint32_t size, const char *type, const void *at) {
            return LV2_Options_Option{LV2_OPTIONS_INSTANCE,  0, mapUri(nullptr, key), size,
                                      mapUri(nullptr, type), at};
        };
        options = {option(LV2_BUF_SIZE__minBlockLength, 4, LV2_ATOM__Int, &length),
                   option(LV2_BUF_SIZE__maxBlockLength, 4, LV2_ATOM__Int, &length),
                   option(LV2_BUF_SIZE__nominalBlockLength, 4, LV2_ATOM__Int, &length),
                   option(LV2_PARAMETERS__sampleRate, 4, LV2_ATOM__Float, &sampleRate),
                   {}};
        features = {LV2_Feature{LV2_URID__map, &map},
                    {LV2_URID__unmap, &unmap},
                    {LV2_WORKER__schedule, &scheduler},
                    {LV2_OPTIONS__options, options.data()},
                    {LV2_BUF_SIZE__boundedBlockLength, nullptr}};
        for (const LV2_Feature &feature : features)
            pointers.push_back(&feature);
        pointers.push_back(nullptr);
        instance = lilv_plugin_instantiate(plugin, rate, pointers.data());
        if (instance)
            connect(world, plugin, peer);
    }
    ~Host() {
        if (instance)
            lilv_instance_free(instance);
    }
    Host(const Host &) = delete;
    Host &operator=(const Host &) = delete;

    explicit operator bool() const { return instance != nullptr; }

    /// As a preset would.
    void restore(LilvWorld *world, const Peer &peer, const std::string &path) {
        const std::string text = "<urn:tonvale:bench-state> a "
                                 "<http://lv2plug.in/ns/ext/presets#Preset> ; "
                                 "<http://lv2plug.in/ns/lv2core#appliesTo> <" +
                                 std::string(peer.uri) +
                                 "> ; <http://lv2plug.in/ns/ext/state#state> [ <" + peer.file +
                                 "> <file://" + path + "> ] .";
        LilvState *state = lilv_state_new_from_string(world, mapping, text.c_str());
        lilv_state_restore(state, instance, nullptr, nullptr, 0, pointers.data());
        lilv_state_free(state);
    }

    void send(const std::string &property, const std::string &path) {
        LV2_Atom_Forge forge;
        lv2_atom_forge_init(&forge, mapping);
        lv2_atom_forge_set_buffer(&forge, messages.data(), messages.size());
        LV2_Atom_Forge_Frame sequence, object;
        lv2_atom_forge_sequence_head(&forge, &sequence, 0);
        lv2_atom_forge_frame_time(&forge, 0);
        lv2_atom_forge_object(&forge, &object, 0, mapUri(nullptr, LV2_PATCH__Set));
        lv2_atom_forge_key(&forge, mapUri(nullptr, LV2_PATCH__property));
        lv2_atom_forge_urid(&forge, mapUri(nullptr, property.c_str()));
        lv2_atom_forge_key(&forge, mapUri(nullptr, LV2_PATCH__value));
        lv2_atom_forge_path(&forge, path.c_str(), static_cast<uint32_t>(path.size()));
        lv2_atom_forge_pop(&forge, &object);
        lv2_atom_forge_pop(&forge, &sequence);
    }

    void run() {
        *reinterpret_cast<LV2_Atom *>(answers.data()) = {messageRoom - 8,
                                                         mapUri(nullptr, LV2_ATOM__Chunk)};
        lilv_instance_run(instance, static_cast<uint32_t>(length));
        *reinterpret_cast<LV2_Atom_Sequence *>(messages.data()) = {
            {sizeof(LV2_Atom_Sequence_Body), mapUri(nullptr, LV2_ATOM__Sequence)}, {0, 0}};
    }

    void work() {
        const auto *worker = static_cast<const LV2_Worker_Interface *>(
            lilv_instance_get_extension_data(instance, LV2_WORKER__interface));
        for (const auto &request : std::exchange(requests, {})) {
            worker->work(
                lilv_instance_get_handle(instance),
                [](LV2_Worker_Respond_Handle handle, uint32_t size, const void *data) {
                    const auto *bytes = static_cast<const char *>(data);
                    static_cast<Host *>(handle)->responses.emplace_back(bytes, bytes + size);
                    return LV2_WORKER_SUCCESS;
                },
                this, static_cast<uint32_t>(request.size()), request.data());
        }
        for (const auto &response : std::exchange(responses, {}))
            if (worker->work_response)
                worker->work_response(lilv_instance_get_handle(instance),
                                      static_cast<uint32_t>(response.size()), response.data());
    }

    LilvInstance *instance = nullptr;
    int32_t length;
    float sampleRate;
    std::vector<std::vector<float>> in, out;

  private:
    void connect(LilvWorld *world, const LilvPlugin *plugin, const Peer &peer) {
        LilvNode *input = lilv_new_uri(world, LV2_CORE__InputPort);
        LilvNode *audio = lilv_new_uri(world, LV2_CORE__AudioPort);
        LilvNode *plain = lilv_new_uri(world, LV2_CORE__ControlPort);
        size_t ins = 0, outs = 0;
        controls.resize(lilv_plugin_get_num_ports(plugin));
        for (uint32_t i = 0; i < controls.size(); ++i) {
            const LilvPort *port = lilv_plugin_get_port_by_index(plugin, i);
            const bool isInput = lilv_port_is_a(plugin, port, input);
            if (lilv_port_is_a(plugin, port, audio)) {
                lilv_instance_connect_port(instance, i,
                                           isInput ? in[ins++].data() : out[outs++].data());
            } else if (lilv_port_is_a(plugin, port, plain)) {
                LilvNode *initial = nullptr;
                lilv_port_get_range(plugin, port, &initial, nullptr, nullptr);
                controls[i] = initial ? lilv_node_as_float(initial) : 0.0f;
                lilv_node_free(initial);
                for (const auto &[symbol, value] : peer.settings)
                    if (symbol == lilv_node_as_string(lilv_port_get_symbol(plugin, port)))
                        controls[i] = value;
                lilv_instance_connect_port(instance, i, &controls[i]);
            } else {
                lilv_instance_connect_port(instance, i, isInput ? messages.data() : answers.data());
            }
        }
        for (LilvNode *node : {input, audio, plain})
            lilv_node_free(node);
        lilv_instance_activate(instance);
    }

    LV2_URID_Map *mapping = nullptr;
    LV2_Worker_Schedule scheduler{};
    std::vector<LV2_Options_Option> options;
    std::vector<LV2_Feature> features;
    std::vector<const LV2_Feature *> pointers;
    std::vector<float> controls;
    std::vector<uint8_t> messages, answers;
    std::vector<std::vector<char>> requests, responses;
};

/// Milliseconds of processor time for each second of audio, the median of the rounds; negative
/// where the response doesn't sound. `isPaced`: a block comes when its time has, as a studio's do.
double cost(LilvWorld *world, const Peer &peer, int32_t block, const std::string &response,
            bool isPaced) {
    Host host(world, peer, block);
    if (!host)
        return -1.0;
    host.run();
    if (peer.takesStates)
        host.restore(world, peer, response);
    else
        host.send(peer.file, response);
    for (int i = 0; i < 1000; ++i) {
        host.run();
        host.work();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    std::mt19937 random(1);
    std::uniform_real_distribution<float> noise(-0.3f, 0.3f);
    const auto blocks = static_cast<int>(2.0 * rate / block);
    std::vector<double> rounds;
    for (int round = 0; round < (isPaced ? 4 : 6); ++round) {
        const double start = processorSeconds();
        auto due = std::chrono::steady_clock::now();
        for (int i = 0; i < blocks; ++i) {
            for (auto &channel : host.in)
                std::generate(channel.begin(), channel.end(), [&] { return noise(random); });
            host.run();
            host.work();
            due += std::chrono::nanoseconds(static_cast<int64_t>(1e9 * block / rate));
            if (isPaced)
                std::this_thread::sleep_until(due);
        }
        if (round > 0)
            rounds.push_back((processorSeconds() - start) * 500.0);
    }
    for (auto &channel : host.in)
        std::fill(channel.begin(), channel.end(), 0.0f);
    double tail = 0.0;
    for (int i = 0; i < static_cast<int>(1.0 * rate / block); ++i) {
        host.run();
        for (const float sample : host.out[1])
            tail = std::max(tail, i * block > 0.5 * rate ? std::fabs(double{sample}) : 0.0);
    }
    std::sort(rounds.begin(), rounds.end());
    return tail > 1e-7 ? rounds[rounds.size() / 2] : -1.0;
}

} // namespace

int main(int count, char **words) {
    if (count != 3) {
        std::fputs("usage: lv2_convolvers RESPONSE TABLE\n", stderr);
        return 2;
    }
    std::FILE *table = std::fopen(words[2], "w");
    if (!table) {
        std::perror(words[2]);
        return 1;
    }
    LilvWorld *world = lilv_world_new();
    lilv_world_load_all(world);
    std::fputs("| | 64 | 256 | 1024 | 256, paced |\n|---|---:|---:|---:|---:|\n", table);
    for (const Peer &peer : peers) {
        std::fprintf(table, "| %s |", peer.name);
        for (const auto &[block, isPaced] :
             {std::pair(64, false), {256, false}, {1024, false}, {256, true}}) {
            const double milliseconds = cost(world, peer, block, words[1], isPaced);
            if (milliseconds < 0.0)
                std::fputs(" - |", table);
            else
                std::fprintf(table, " %.1f |", milliseconds);
        }
        std::fputs("\n", table);
    }
    lilv_world_free(world);
    return std::fclose(table) == 0 ? 0 : 1;
}
