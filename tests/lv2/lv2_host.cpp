#include "lv2/lv2_host.h"

#include "steady_state/allocation_count.h"

#include <gtest/gtest.h>
#include <lv2/atom/util.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/patch/patch.h>

#include <mutex>
#include <random>

namespace tonvale::test {

namespace {

constexpr uint32_t controlRoom = 131072;

/// Process-wide, any thread.
struct UridTable {
    std::mutex lock;
    std::map<std::string, uint32_t> numbers;
    std::map<uint32_t, std::string> names;
};

UridTable &urids() {
    static UridTable table;
    return table;
}

LV2_URID mapUri(LV2_URID_Map_Handle, const char *uri) {
    UridTable &table = urids();
    std::scoped_lock scope(table.lock);
    const auto [entry, isNew] =
        table.numbers.try_emplace(uri, static_cast<uint32_t>(table.numbers.size() + 1));
    if (isNew)
        table.names[entry->second] = uri;
    return entry->second;
}

const char *unmapUri(LV2_URID_Unmap_Handle, LV2_URID number) {
    UridTable &table = urids();
    std::scoped_lock scope(table.lock);
    const auto found = table.names.find(number);
    return found == table.names.end() ? nullptr : found->second.c_str();
}

LV2_URID_Map mapping{nullptr, mapUri};
LV2_URID_Unmap unmapping{nullptr, unmapUri};

} // namespace

LilvWorld *lv2World() {
    static LilvWorld *world = [] {
        LilvWorld *made = lilv_world_new();
        LilvNode *bundle = lilv_new_file_uri(made, nullptr, TONVALE_LV2_BUNDLE "/");
        lilv_world_load_bundle(made, bundle);
        lilv_node_free(bundle);
        return made;
    }();
    return world;
}

std::function<uint32_t()> randomLengths(uint32_t seed, uint32_t most) {
    return [random = std::mt19937(seed), most]() mutable {
        return static_cast<uint32_t>(random() % (most + 1));
    };
}

uint32_t Lv2Host::map(const std::string &uri) {
    return mapUri(nullptr, uri.c_str());
}

LV2_URID_Map *Lv2Host::mapFeature() {
    return &mapping;
}

LV2_URID_Unmap *Lv2Host::unmapFeature() {
    return &unmapping;
}

Lv2Host::Lv2Host(const std::string &name, const Options &wanted)
    : options(wanted)
    , control(controlRoom)
    , notify(wanted.notifyRoom)
    , announcedLength(static_cast<int32_t>(wanted.announced)) {
    LilvWorld *world = lv2World();
    LilvNode *uri = lilv_new_uri(world, ("urn:tonvale:" + name).c_str());
    plugin = lilv_plugins_get_by_uri(lilv_world_get_all_plugins(world), uri);
    lilv_node_free(uri);
    scheduler = {this, schedule};
    const LV2_Options_Option announcement[] = {
        {LV2_OPTIONS_INSTANCE, 0, map("urn:test:unknown"), sizeof(int32_t), map(LV2_ATOM__Int),
         &announcedLength},
        {LV2_OPTIONS_INSTANCE, 0, map(LV2_BUF_SIZE__maxBlockLength), sizeof(int32_t),
         map(LV2_ATOM__Int), &announcedLength},
        {LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
    const LV2_Feature mapIt{LV2_URID__map, &mapping};
    const LV2_Feature scheduleIt{LV2_WORKER__schedule, &scheduler};
    const LV2_Feature optionsIt{LV2_OPTIONS__options,
                                const_cast<LV2_Options_Option *>(announcement)};
    std::vector<const LV2_Feature *> features;
    if (options.worker != Worker::none)
        features.push_back(&scheduleIt);
    if (options.announced)
        features.push_back(&optionsIt);
    features.push_back(&mapIt);
    features.push_back(nullptr);
    instance = lilv_plugin_instantiate(plugin, options.rate, features.data());
    EXPECT_NE(instance, nullptr);

    LilvNode *input = lilv_new_uri(world, LV2_CORE__InputPort);
    LilvNode *audio = lilv_new_uri(world, LV2_CORE__AudioPort);
    LilvNode *plain = lilv_new_uri(world, LV2_CORE__ControlPort);
    for (uint32_t i = 0; i < lilv_plugin_get_num_ports(plugin); ++i) {
        const LilvPort *port = lilv_plugin_get_port_by_index(plugin, i);
        const bool isInput = lilv_port_is_a(plugin, port, input);
        if (lilv_port_is_a(plugin, port, audio)) {
            (isInput ? audioIn : audioOut).push_back(i);
        } else if (lilv_port_is_a(plugin, port, plain)) {
            float &value = controls[lilv_node_as_string(lilv_port_get_symbol(plugin, port))];
            LilvNode *initial = nullptr;
            lilv_port_get_range(plugin, port, &initial, nullptr, nullptr);
            value = initial ? lilv_node_as_float(initial) : -1.0f;
            lilv_node_free(initial);
            lilv_instance_connect_port(instance, i, &value);
        } else if (options.connectsMessages) {
            lilv_instance_connect_port(instance, i, isInput ? control.data() : notify.data());
        }
    }
    lilv_node_free(input);
    lilv_node_free(audio);
    lilv_node_free(plain);
    finishMessage(sizeof(LV2_Atom_Sequence_Body));
}

Lv2Host::~Lv2Host() {
    lilv_instance_free(instance);
}

LV2_Worker_Status Lv2Host::schedule(LV2_Worker_Schedule_Handle handle, uint32_t, const void *) {
    auto &host = *static_cast<Lv2Host *>(handle);
    ++host.requests;
    if (host.options.worker == Worker::refuses)
        return LV2_WORKER_ERR_NO_SPACE;
    ++host.waiting;
    if (host.options.worker == Worker::inside)
        host.work();
    return LV2_WORKER_SUCCESS;
}

bool Lv2Host::work() {
    const auto *interface = static_cast<const LV2_Worker_Interface *>(
        lilv_instance_get_extension_data(instance, LV2_WORKER__interface));
    const bool any = waiting > 0;
    for (; waiting > 0; --waiting)
        interface->work(lilv_instance_get_handle(instance), nullptr, nullptr, 0, nullptr);
    return any;
}

void Lv2Host::finishMessage(uint32_t size) {
    auto *sequence = reinterpret_cast<LV2_Atom_Sequence *>(control.data());
    sequence->atom = {size, map(LV2_ATOM__Sequence)};
    sequence->body = {0, 0};
}

namespace {

/// A sequence of one object.
template <class Fill>
uint32_t forge(std::vector<uint8_t> &room, LV2_URID kind, const Fill &fill) {
    LV2_Atom_Forge maker;
    lv2_atom_forge_init(&maker, &mapping);
    lv2_atom_forge_set_buffer(&maker, room.data(), room.size());
    LV2_Atom_Forge_Frame sequence, object;
    lv2_atom_forge_sequence_head(&maker, &sequence, 0);
    lv2_atom_forge_frame_time(&maker, 3);
    lv2_atom_forge_object(&maker, &object, 0, kind);
    fill(maker);
    lv2_atom_forge_pop(&maker, &object);
    lv2_atom_forge_pop(&maker, &sequence);
    return reinterpret_cast<LV2_Atom *>(room.data())->size;
}

} // namespace

void Lv2Host::sendSet(const std::string &property, const std::string &text, bool isPath,
                      bool hasZero, const std::string &subject) {
    const auto size = static_cast<uint32_t>(text.size() + (hasZero ? 1 : 0));
    finishMessage(forge(control, map(LV2_PATCH__Set), [&](LV2_Atom_Forge &maker) {
        if (!subject.empty()) {
            lv2_atom_forge_key(&maker, map(LV2_PATCH__subject));
            lv2_atom_forge_urid(&maker, map(subject));
        }
        lv2_atom_forge_key(&maker, map(LV2_PATCH__property));
        lv2_atom_forge_urid(&maker, map("urn:tonvale:" + property));
        lv2_atom_forge_key(&maker, map(LV2_PATCH__value));
        lv2_atom_forge_atom(&maker, size, isPath ? maker.Path : maker.String);
        lv2_atom_forge_write(&maker, text.c_str(), size);
    }));
}

void Lv2Host::sendGet(const std::string &property) {
    finishMessage(forge(control, map(LV2_PATCH__Get), [&](LV2_Atom_Forge &maker) {
        if (property.empty())
            return;
        lv2_atom_forge_key(&maker, map(LV2_PATCH__property));
        lv2_atom_forge_urid(&maker, map("urn:tonvale:" + property));
    }));
}

void Lv2Host::listen() {
    const auto *sequence = reinterpret_cast<const LV2_Atom_Sequence *>(notify.data());
    ASSERT_EQ(sequence->atom.type, map(LV2_ATOM__Sequence));
    ASSERT_LE(sequence->atom.size + sizeof(LV2_Atom), notify.size());
    LV2_ATOM_SEQUENCE_FOREACH(sequence, event) {
        ASSERT_EQ(event->body.type, map(LV2_ATOM__Object));
        const auto *object = reinterpret_cast<const LV2_Atom_Object *>(&event->body);
        ASSERT_EQ(object->body.otype, map(LV2_PATCH__Set));
        const LV2_Atom *property = nullptr, *value = nullptr;
        lv2_atom_object_get(object, map(LV2_PATCH__property), &property, map(LV2_PATCH__value),
                            &value, 0);
        ASSERT_TRUE(property && value);
        const std::string name =
            std::string(unmapUri(nullptr, reinterpret_cast<const LV2_Atom_URID *>(property)->body))
                .substr(12);
        heard.order.push_back(name);
        if (value->type == map(LV2_ATOM__Float))
            heard.numbers[name] = reinterpret_cast<const LV2_Atom_Float *>(value)->body;
        else
            heard.texts[name] = reinterpret_cast<const char *>(value + 1);
    }
}

void Lv2Host::run(const std::vector<std::vector<float>> &in, std::vector<std::vector<float>> &out,
                  uint32_t offset, uint32_t frames) {
    for (size_t c = 0; c < audioIn.size(); ++c)
        lilv_instance_connect_port(instance, audioIn[c],
                                   const_cast<float *>(in[c].data()) + offset);
    for (size_t c = 0; c < audioOut.size(); ++c)
        lilv_instance_connect_port(instance, audioOut[c], out[c].data() + offset);
    *reinterpret_cast<LV2_Atom *>(notify.data()) = {options.notifyRoom, map(LV2_ATOM__Chunk)};
    {
        const AllocationsCounted counted;
        lilv_instance_run(instance, frames);
    }
    if (options.connectsMessages)
        listen();
    finishMessage(sizeof(LV2_Atom_Sequence_Body));
}

void Lv2Host::silence(uint32_t frames, int blocks) {
    std::vector<std::vector<float>> room(std::max(audioIn.size(), audioOut.size()),
                                         std::vector<float>(frames));
    auto out = room;
    for (int i = 0; i < blocks; ++i)
        run(room, out, 0, frames);
}

Channels Lv2Host::process(const Channels &input, const std::function<uint32_t()> &nextBlock) {
    Channels result = processAll(input, nextBlock);
    for (Samples &channel : result)
        channel.erase(channel.begin(),
                      channel.begin() + static_cast<std::ptrdiff_t>(get("latency")));
    return result;
}

Channels Lv2Host::processAll(const Channels &input, const std::function<uint32_t()> &nextBlock) {
    const size_t length = input[0].size();
    std::vector<std::vector<float>> in, out(audioOut.size(), std::vector<float>(length));
    for (const Samples &channel : input)
        in.emplace_back(channel.begin(), channel.end());
    for (size_t done = 0; done < length;) {
        const auto frames = static_cast<uint32_t>(std::min<size_t>(nextBlock(), length - done));
        run(in, out, static_cast<uint32_t>(done), frames);
        done += frames;
    }
    Channels result;
    for (const auto &channel : out)
        result.emplace_back(channel.begin(), channel.end());
    return result;
}

void Lv2Host::load(const std::string &chain) {
    sendSet("chain", chain, false);
    silence(64);
    work();
    silence(4096, 12);
    work();
    silence(64);
    deactivate();
    activate();
}

LilvState *Lv2Host::saved(const std::string &folder) {
    const auto value = [](const char *symbol, void *host, uint32_t *size,
                          uint32_t *type) -> const void * {
        auto &self = *static_cast<Lv2Host *>(host);
        const auto found = self.controls.find(symbol);
        if (found == self.controls.end())
            return nullptr;
        *size = sizeof(float);
        *type = self.map(LV2_ATOM__Float);
        return &found->second;
    };
    const char *at = folder.empty() ? nullptr : folder.c_str();
    return lilv_state_new_from_instance(plugin, instance, &mapping, nullptr, nullptr, at, at, value,
                                        this, LV2_STATE_IS_POD | LV2_STATE_IS_PORTABLE, nullptr);
}

void Lv2Host::restore(const LilvState *state, bool withScheduler) {
    const auto setValue = [](const char *symbol, void *host, const void *value, uint32_t,
                             uint32_t) {
        static_cast<Lv2Host *>(host)->controls.at(symbol) = *static_cast<const float *>(value);
    };
    const LV2_Feature scheduleIt{LV2_WORKER__schedule, &scheduler};
    const LV2_Feature *features[] = {&scheduleIt, nullptr};
    lilv_state_restore(state, instance, setValue, this, 0, withScheduler ? features : nullptr);
}

namespace {

const LV2_State_Interface &stateOf(LilvInstance *instance) {
    return *static_cast<const LV2_State_Interface *>(
        lilv_instance_get_extension_data(instance, LV2_STATE__interface));
}

} // namespace

StateValues Lv2Host::ownState() {
    StateValues values;
    stateOf(instance).save(
        lilv_instance_get_handle(instance),
        [](LV2_State_Handle to, LV2_URID key, const void *value, size_t size, uint32_t type,
           uint32_t) {
            (*static_cast<StateValues *>(to))[unmapUri(nullptr, key)] = {
                type, {static_cast<const char *>(value), size}};
            return LV2_STATE_SUCCESS;
        },
        &values, 0, nullptr);
    return values;
}

void Lv2Host::restoreOwn(const StateValues &values) {
    stateOf(instance).restore(
        lilv_instance_get_handle(instance),
        [](LV2_State_Handle from, LV2_URID key, size_t *size, uint32_t *type,
           uint32_t *flags) -> const void * {
            const auto &all = *static_cast<const StateValues *>(from);
            const auto found = all.find(unmapUri(nullptr, key));
            if (found == all.end())
                return nullptr;
            *size = found->second.second.size();
            *type = found->second.first;
            *flags = LV2_STATE_IS_POD;
            return found->second.second.data();
        },
        const_cast<StateValues *>(&values), 0, nullptr);
}

} // namespace tonvale::test
