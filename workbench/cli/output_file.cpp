#include "workbench/cli/output_file.h"

#include "workbench/cli/problem.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

namespace tonvale::workbench {

namespace fs = std::filesystem;

namespace {

// The temporary files that exist now, for the signal handler: written by the main thread, read by
// the handler on any thread. A name is owned by its slot and freed only after the slot is empty.
constexpr int slotCount = 8;
std::array<std::atomic<char *>, slotCount> temporaryNames{};
static_assert(std::atomic<char *>::is_always_lock_free);

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ};

extern "C" void removeTemporaryFiles(int signalNumber) {
    for (auto &name : temporaryNames) {
        if (const char *path = name.load())
            unlink(path);
    }
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

void installHandlers() {
    for (int number : endingSignals) {
        struct sigaction present {};
        if (sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
            struct sigaction wanted {};
            wanted.sa_handler = removeTemporaryFiles;
            sigaction(number, &wanted, nullptr);
        }
    }
}

/// Holds the ending signals back, so that a file and its entry in the table come as one.
class SignalsHeldBack {
  public:
    SignalsHeldBack() {
        sigset_t wanted;
        sigemptyset(&wanted);
        for (int number : endingSignals)
            sigaddset(&wanted, number);
        pthread_sigmask(SIG_BLOCK, &wanted, &before);
    }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsHeldBack(const SignalsHeldBack &) = delete;
    SignalsHeldBack &operator=(const SignalsHeldBack &) = delete;

  private:
    sigset_t before;
};

int takeSlot(const std::string &path) {
    for (int slot = 0; slot < slotCount; ++slot) {
        if (!temporaryNames[static_cast<size_t>(slot)].load()) {
            temporaryNames[static_cast<size_t>(slot)] = strdup(path.c_str());
            return slot;
        }
    }
    throw Problem("too many files are being written at once");
}

void releaseSlot(int slot) {
    std::free(temporaryNames[static_cast<size_t>(slot)].exchange(nullptr));
}

std::string reason(int error) {
    return std::strerror(error);
}

} // namespace

OutputFile::OutputFile(const std::string &wantedName)
    : name(wantedName)
    , place(wantedName) {
    if (name.empty())
        throw Problem("the name of the output file is missing");
    std::error_code error;
    if (fs::is_symlink(place, error)) {
        const fs::path target = fs::weakly_canonical(place, error);
        if (!error)
            place = target;
    }
    const fs::file_status status = fs::status(place, error);
    if (fs::is_directory(status))
        throw Problem(name + ": a folder has this name");
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw Problem(name + ": only ordinary files can be written");
    if (!place.has_filename())
        throw Problem(name + ": the name of a file is missing");

    const fs::path folder = place.has_parent_path() ? place.parent_path() : fs::path(".");
    if (!fs::is_directory(folder, error))
        throw Problem(name + ": there is no folder " + folder.string());

    // The temporary name's length must not depend on a name that may already be as long as allowed.
    temporary = folder / (".tonvale-" + std::to_string(getpid()) + "-");
    const std::string stem = temporary.string();
    const SignalsHeldBack held;
    installHandlers();
    int handle = -1;
    for (int attempt = 0; handle < 0; ++attempt) {
        temporary = stem + std::to_string(attempt);
        handle = open(temporary.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
        if (handle < 0 && errno != EEXIST)
            throw Problem(name + ": " + reason(errno));
    }
    if (fs::exists(status))
        fs::permissions(temporary, status.permissions(), error);
    close(handle);
    slot = takeSlot(temporary.string());
}

OutputFile::~OutputFile() {
    if (slot < 0)
        return;
    unlink(temporary.c_str());
    releaseSlot(slot);
}

void OutputFile::write(const std::vector<char> &bytes) {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out)
        throw Problem(name + ": can't be written (" + reason(errno) + ")");
}

void OutputFile::commit() {
    if (rename(temporary.c_str(), place.c_str()) != 0)
        throw Problem(name + ": " + reason(errno));
    releaseSlot(slot);
    slot = -1;
}

void refuseOverwriting(const std::string &output, const std::string &input) {
    std::error_code error;
    if (fs::equivalent(output, input, error))
        throw Problem(output + ": would overwrite a file that is being read");
}

} // namespace tonvale::workbench
