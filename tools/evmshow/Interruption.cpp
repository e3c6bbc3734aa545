#include "tools/evmshow/Interruption.h"

#include <initializer_list>

namespace evmshow {

namespace {

volatile std::sig_atomic_t requested = 0;

void note(int) {
    requested = 1;
}

} // namespace

void catchInterruptions() {
    struct sigaction action {};
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND); // no SA_RESTART: a blocked write must end
    sigemptyset(&action.sa_mask);
    for (const int number : {SIGINT, SIGTERM}) sigaction(number, &action, nullptr);
}

bool interruptionRequested() {
    return requested != 0;
}

InterruptionsBlocked::InterruptionsBlocked() : m_outside() {
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int number : {SIGINT, SIGTERM}) sigaddset(&blocked, number);
    pthread_sigmask(SIG_BLOCK, &blocked, &m_outside);
}

InterruptionsBlocked::~InterruptionsBlocked() {
    pthread_sigmask(SIG_SETMASK, &m_outside, nullptr);
}

} // namespace evmshow
