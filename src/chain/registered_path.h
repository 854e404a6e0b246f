#pragma once

#include "platform/critical_section.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tonvale {

class ImpulseGenerator;

/// The path of a file that a stage uses. While it isn't empty, the host's project knows of it: the
/// host can collect the file, and tells where it has moved it.
///
/// replace() and the destructor run on one thread at a time. get() may be called, and the host may
/// call back, on any thread, also from inside replace(). `lock` guards `path` and `project`; it is
/// never held across a call of the host or of the stage. What a thread has read stays as it is,
/// since a text is shared and never changed: reading, ending a registration and destruction need no
/// memory. Behind the end of its registration the host calls back no more, so the stage declares
/// this behind all that `moved` uses.
class RegisteredPath {
  public:
    using Text = std::shared_ptr<const std::string>; ///< UTF-8, never null; empty for no file

    /// Empty, and known to no project. `moved` runs on the host's thread once the host has moved
    /// the file, when get() answers the new path. Throws where memory is out.
    RegisteredPath(const ImpulseGenerator &user, std::function<void()> moved);
    ~RegisteredPath();
    RegisteredPath(const RegisteredPath &) = delete;
    RegisteredPath &operator=(const RegisteredPath &) = delete;

    Text get() const noexcept;
    /// Ends the registration of the old path, and registers `next` with the project that the host
    /// names for the stage's owner; with none where there is no project, or no owner.
    void replace(Text next) noexcept;

    /// Where the host finds the file of a saved path; the path itself where it finds none. Throws
    /// where memory is out.
    static Text resolved(const std::string &saved);

  private:
    void set(Text next) noexcept;
    void enterProject() noexcept;
    void leaveProject(const char *knownAs) noexcept;
    void tellProject(const char *action, const char *file, intptr_t ofProject) noexcept;
    void follow(const char *newPath) noexcept;
    static intptr_t fileInProjectCallback(void *registeredPath, int message, void *data);

    const ImpulseGenerator &user;
    const std::function<void()> moved;
    mutable CriticalSection lock;
    Text path;
    intptr_t project = 0; ///< the host's project that knows of the file, 0 for none
};

} // namespace tonvale
