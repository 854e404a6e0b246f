#pragma once

#include <lv2/atom/atom.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/log/log.h>
#include <lv2/patch/patch.h>
#include <lv2/urid/urid.h>

#include "lv2/plugin_table.h"

namespace tonvale::lv2 {

/// The numbers that the host has for what is spoken of; mapped once, since mapping may lock.
struct Urids {
    Urids(const LV2_URID_Map &map, const PluginKind &kind)
        : plugin(of(map, uriOf(kind.id)))
        , chunkState(of(map, uriOf("chunk"))) {
        for (size_t i = 0; i < properties.size(); ++i)
            properties[i] = of(map, uriOf(propertyRows()[i].name));
        const auto number = [&map](const char *uri) { return of(map, uri); };
        atomChunk = number(LV2_ATOM__Chunk);
        atomFloat = number(LV2_ATOM__Float);
        atomInt = number(LV2_ATOM__Int);
        atomObject = number(LV2_ATOM__Object);
        atomPath = number(LV2_ATOM__Path);
        atomSequence = number(LV2_ATOM__Sequence);
        atomString = number(LV2_ATOM__String);
        atomUrid = number(LV2_ATOM__URID);
        patchGet = number(LV2_PATCH__Get);
        patchSet = number(LV2_PATCH__Set);
        patchProperty = number(LV2_PATCH__property);
        patchSubject = number(LV2_PATCH__subject);
        patchValue = number(LV2_PATCH__value);
        maxBlockLength = number(LV2_BUF_SIZE__maxBlockLength);
        logWarning = number(LV2_LOG__Warning);
    }

    LV2_URID plugin, chunkState;
    std::array<LV2_URID, propertyCount> properties{};
    LV2_URID atomChunk, atomFloat, atomInt, atomObject, atomPath, atomSequence, atomString,
        atomUrid;
    LV2_URID patchGet, patchSet, patchProperty, patchSubject, patchValue;
    LV2_URID maxBlockLength, logWarning;

  private:
    static LV2_URID of(const LV2_URID_Map &map, const std::string &uri) {
        return map.map(map.handle, uri.c_str());
    }
};

} // namespace tonvale::lv2
