#include <lv2/atom/forge.h>
#include <lv2/atom/util.h>
#include <lv2/patch/patch.h>
#include <lv2/ui/ui.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <vector>

// A user interface without a window: where a host shows it, it gives Tonvale another response each
// second, out of the list of files that SWAPPER_FILES names, and tells what was loaded.

namespace {

using Clock = std::chrono::steady_clock;

struct Swapper {
    LV2UI_Write_Function write;
    LV2UI_Controller controller;
    const LV2_URID_Map *map;
    LV2_Atom_Forge forge{};
    std::vector<std::string> files;
    size_t next = 0;
    Clock::time_point due = Clock::now();

    LV2_URID number(const char *uri) const { return map->map(map->handle, uri); }

    void wish(const std::string &path) {
        alignas(8) uint8_t room[8192];
        lv2_atom_forge_set_buffer(&forge, room, sizeof room);
        LV2_Atom_Forge_Frame frame;
        const LV2_Atom_Forge_Ref message =
            lv2_atom_forge_object(&forge, &frame, 0, number(LV2_PATCH__Set));
        lv2_atom_forge_key(&forge, number(LV2_PATCH__property));
        lv2_atom_forge_urid(&forge, number("urn:tonvale:response"));
        lv2_atom_forge_key(&forge, number(LV2_PATCH__value));
        lv2_atom_forge_path(&forge, path.c_str(), static_cast<uint32_t>(path.size()));
        lv2_atom_forge_pop(&forge, &frame);
        const LV2_Atom *atom = lv2_atom_forge_deref(&forge, message);
        write(controller, 0, lv2_atom_total_size(atom), number(LV2_ATOM__eventTransfer), atom);
    }

    void hear(const LV2_Atom *atom) const {
        const auto *object = reinterpret_cast<const LV2_Atom_Object *>(atom);
        if (atom->type != forge.Object || object->body.otype != number(LV2_PATCH__Set))
            return;
        const LV2_Atom *property = nullptr, *value = nullptr;
        lv2_atom_object_get(object, number(LV2_PATCH__property), &property,
                            number(LV2_PATCH__value), &value, 0);
        if (property && value && value->type == forge.String &&
            reinterpret_cast<const LV2_Atom_URID *>(property)->body == number("urn:tonvale:status"))
            std::cout << "loaded " << reinterpret_cast<const char *>(value + 1) << std::endl;
    }
};

LV2UI_Handle instantiate(const LV2UI_Descriptor *, const char *, const char *,
                         LV2UI_Write_Function write, LV2UI_Controller controller,
                         LV2UI_Widget *widget, const LV2_Feature *const *features) {
    const char *list = std::getenv("SWAPPER_FILES");
    for (; *features && list; ++features) {
        if (std::strcmp((*features)->URI, LV2_URID__map) != 0)
            continue;
        auto made = std::make_unique<Swapper>();
        made->write = write;
        made->controller = controller;
        made->map = static_cast<const LV2_URID_Map *>((*features)->data);
        lv2_atom_forge_init(&made->forge, const_cast<LV2_URID_Map *>(made->map));
        std::ifstream lines(list);
        for (std::string line; std::getline(lines, line);)
            made->files.push_back(line);
        *widget = nullptr;
        return made.release();
    }
    return nullptr;
}

void hear(LV2UI_Handle handle, uint32_t, uint32_t, uint32_t format, const void *data) {
    const auto &swapper = *static_cast<const Swapper *>(handle);
    if (format == swapper.number(LV2_ATOM__eventTransfer))
        swapper.hear(static_cast<const LV2_Atom *>(data));
}

int idle(LV2UI_Handle handle) {
    auto &swapper = *static_cast<Swapper *>(handle);
    if (swapper.files.empty() || Clock::now() < swapper.due)
        return 0;
    swapper.due += std::chrono::seconds(1);
    swapper.wish(swapper.files[swapper.next++ % swapper.files.size()]);
    return 0;
}

int show(LV2UI_Handle) {
    return 0;
}

const void *extensionData(const char *uri) {
    static const LV2UI_Show_Interface shown{show, show};
    static const LV2UI_Idle_Interface idling{idle};
    if (std::strcmp(uri, LV2_UI__showInterface) == 0)
        return &shown;
    return std::strcmp(uri, LV2_UI__idleInterface) == 0 ? &idling : nullptr;
}

const LV2UI_Descriptor descriptor{
    "urn:tonvale:bench-swapper", instantiate,
    [](LV2UI_Handle handle) { delete static_cast<Swapper *>(handle); }, hear, extensionData};

} // namespace

LV2_SYMBOL_EXPORT const LV2UI_Descriptor *lv2ui_descriptor(uint32_t index) {
    return index == 0 ? &descriptor : nullptr;
}
