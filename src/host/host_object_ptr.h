#pragma once

#include "host/host_objects.h"

#include <memory>

namespace tonvale {

/// Ends a host object as the host wants it ended: by its own operation, never by delete.
struct DestroyHostObject {
    template <class T>
    void operator()(T *object) const {
        object->destroy(1);
    }
};

/// Owns an object that the host made, such as a MediaSource, MediaSink, ResamplerHandle or
/// HostBitmap. May be null.
template <class T>
using HostObjectPtr = std::unique_ptr<T, DestroyHostObject>;

} // namespace tonvale
