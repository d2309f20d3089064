#include "io/Interrupt.h"

#include <csignal>
#include <initializer_list>

namespace vibrex {

namespace {

volatile std::sig_atomic_t g_caught = 0;

void Remember(int signal) {
    g_caught = signal;
}

} // namespace

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = Remember;
    action.sa_flags = SA_RESETHAND | SA_RESTART;
    sigemptyset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM}) {
        sigaction(signal, &action, nullptr);
    }
}

int CaughtInterrupt() {
    return g_caught;
}

} // namespace vibrex
