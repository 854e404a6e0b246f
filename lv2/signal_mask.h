#pragma once

#include <csignal>
#include <pthread.h>

namespace tonvale::lv2 {

/// While it lives, no signal reaches this thread, nor any that it starts, ever: signals are the
/// host's.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    SignalsBlocked(const SignalsBlocked &) = delete;
    SignalsBlocked &operator=(const SignalsBlocked &) = delete;

  private:
    sigset_t before;
};

} // namespace tonvale::lv2
