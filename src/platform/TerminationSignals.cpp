#include "platform/TerminationSignals.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace mnemora {

namespace {

// The self-pipe: the handler may only write a byte, the notifier reads it on the main thread.
int pipeFds[2] = {-1, -1};

void onSignal(int signalNumber) {
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(pipeFds[1], &byte, 1);
}

} // namespace

TerminationSignals::TerminationSignals(QObject* parent)
    : QObject(parent) {
    if (pipeFds[0] < 0) {
        if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
            return;
        }
    }
    notifier_ = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, &TerminationSignals::drain);

    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGINT, &action, nullptr);
}

TerminationSignals::~TerminationSignals() {
    ::signal(SIGTERM, SIG_DFL);
    ::signal(SIGINT, SIG_DFL);
}

void TerminationSignals::drain() {
    unsigned char byte = 0;
    while (::read(pipeFds[0], &byte, 1) == 1) {
        emit terminationRequested(static_cast<int>(byte));
    }
}

} // namespace mnemora
