#include "workbench/cli/output_file.h"

#include "workbench/cli/problem.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace tonvale::workbench {

namespace fs = std::filesystem;

namespace {

/// A temporary name that exists now, in memory that is never given back, since the signal handler
/// may read it on any thread.
struct TemporaryName {
    std::atomic<bool> taken;
    std::atomic<bool> exists;
    char path[PATH_MAX];
};
constexpr int slotCount = 64;
TemporaryName temporaryNames[slotCount];
static_assert(std::atomic<bool>::is_always_lock_free);

constexpr int mostLinks = 40; // as the system follows

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};

extern "C" void removeTemporaryFiles(int signalNumber) {
    for (const TemporaryName &name : temporaryNames) {
        if (name.exists)
            unlink(name.path);
    }
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

void installHandlers() {
    static std::once_flag installed;
    std::call_once(installed, [] {
        for (int number : endingSignals) {
            struct sigaction present {};
            if (sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
                struct sigaction wanted {};
                wanted.sa_handler = removeTemporaryFiles;
                sigaction(number, &wanted, nullptr);
            }
        }
    });
}

int takeSlot(const std::string &path) {
    for (int slot = 0; slot < slotCount && path.size() < PATH_MAX; ++slot) {
        TemporaryName &name = temporaryNames[slot];
        if (name.taken.exchange(true))
            continue;
        std::memcpy(name.path, path.c_str(), path.size() + 1);
        name.exists = true;
        return slot;
    }
    throw Problem(path + ": no temporary file can be made");
}

void releaseSlot(int slot) {
    temporaryNames[slot].exists = false;
    temporaryNames[slot].taken = false;
}

fs::path folderOf(const fs::path &place) {
    return place.has_parent_path() ? place.parent_path() : fs::path(".");
}

/// Standard output for the sound alone: what is printed goes to standard error from here on, and a
/// reader that leaves shows as a failed write.
FileHandle takeStandardOutput() {
    if (isatty(STDOUT_FILENO))
        throw Problem("standard output: a terminal can't take a sound");
    std::fflush(stdout);
    FileHandle taken(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!taken.isOpen() || dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        throw Problem(std::string("standard output: ") + std::strerror(errno));
    std::signal(SIGPIPE, SIG_IGN);
    return taken;
}

} // namespace

OutputFile::OutputFile(const std::string &wantedName)
    : name(wantedName)
    , place(wantedName) {
    if (name.empty())
        throw Problem("the name of the output file is missing");
    if (name == pipeName) {
        name = "standard output";
        isStandardOutput = true;
        handle = takeStandardOutput();
        return;
    }
    findPlace();
    openTemporary();
}

OutputFile::~OutputFile() {
    if (slot < 0)
        return;
    unlink(temporary.c_str());
    releaseSlot(slot);
}

void OutputFile::findPlace() {
    std::error_code error;
    for (int links = 0; fs::is_symlink(place, error); ++links) {
        if (links == mostLinks)
            fail(ELOOP);
        place = folderOf(place) / fs::read_symlink(place, error);
    }
    const fs::file_status status = fs::status(place, error);
    if (fs::is_directory(status))
        throw Problem(name + ": a folder has this name");
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw Problem(name + ": only ordinary files can be written");
    if (!place.has_filename())
        throw Problem(name + ": the name of a file is missing");
    if (!fs::is_directory(folderOf(place), error))
        throw Problem(name + ": there is no folder " + folderOf(place).string());
}

void OutputFile::openTemporary() {
    // A file that may not grow any further shows as a failed write.
    std::signal(SIGXFSZ, SIG_IGN);
    handle = FileHandle(open(folderOf(place).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666));
    // File systems without such files say so in several ways, and the way back to a name leads
    // through /proc.
    if (!handle.isOpen() || access(descriptorPath().c_str(), F_OK) != 0)
        openNamed();
    struct stat former {};
    if (stat(place.c_str(), &former) == 0)
        fchmod(descriptor(), former.st_mode & 07777);
}

/// Under a temporary name, whose length doesn't depend on a name that may already be as long as
/// allowed.
void OutputFile::openNamed() {
    takeFreeName([this](const fs::path &path) {
        handle = FileHandle(open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0666));
        return handle.isOpen();
    });
}

/// Gives a file without a name a temporary one.
void OutputFile::nameUnnamed() {
    takeFreeName([this](const fs::path &path) { return linkTo(path); });
}

bool OutputFile::linkTo(const fs::path &path) const {
    return linkat(AT_FDCWD, descriptorPath().c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) ==
           0;
}

/// Takes names until `take` succeeds. The signal handler knows each before there is such a file, so
/// that there is none that it doesn't know.
void OutputFile::takeFreeName(const std::function<bool(const fs::path &)> &take) {
    static std::atomic<unsigned> next{0};
    const fs::path folder = folderOf(place);
    const std::string stem = ".tonvale-" + std::to_string(getpid()) + "-";
    installHandlers();
    while (true) {
        temporary = folder / (stem + std::to_string(next++));
        slot = takeSlot(temporary.string());
        if (take(temporary))
            return;
        const int error = errno;
        releaseSlot(slot);
        slot = -1;
        if (error != EEXIST)
            fail(error);
    }
}

std::string OutputFile::temporaryPath() const {
    return slot >= 0 ? temporary.string() : descriptorPath();
}

std::string OutputFile::descriptorPath() const {
    return "/proc/self/fd/" + std::to_string(descriptor());
}

void OutputFile::write(const void *bytes, size_t size) {
    const char *from = static_cast<const char *>(bytes);
    while (size > 0) {
        const ssize_t written = ::write(descriptor(), from, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            fail(written < 0 ? errno : ENOSPC);
        from += written;
        size -= static_cast<size_t>(written);
    }
}

void OutputFile::rewriteStart(const void *bytes, size_t size) {
    if (pwrite(descriptor(), bytes, size, 0) != static_cast<ssize_t>(size))
        fail(errno);
}

void OutputFile::commit() {
    if (isStandardOutput)
        return;
    if (slot < 0) {
        if (linkTo(place))
            return;
        nameUnnamed();
    }
    if (rename(temporary.c_str(), place.c_str()) != 0)
        fail(errno);
    releaseSlot(slot);
    slot = -1;
}

void OutputFile::fail(int error) const {
    throw Problem(name + ": can't be written (" + std::strerror(error) + ")");
}

void refuseOverwriting(const std::string &output, const std::string &input) {
    std::error_code error;
    if (fs::equivalent(output, input, error))
        throw Problem(output + ": would overwrite a file that is being read");
}

} // namespace tonvale::workbench
