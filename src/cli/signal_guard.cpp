#include "cli/signal_guard.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "platform/fs/temporary_paths.h"

namespace Cli {
namespace {

std::atomic<bool> g_stopping{false};

sigset_t guardedSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGHUP);
    return set;
}

[[noreturn]] void waitForSignal(sigset_t set) {
    int signal = 0;
    while (sigwait(&set, &signal) != 0) {
    }
    g_stopping = true;
    FS::TemporaryPaths::removeAll();
    const char* name = signal == SIGINT ? "interrupt" : signal == SIGTERM ? "terminate" : "hangup";
    char message[96];
    const int length =
        std::snprintf(message, sizeof message, "\npackwright: stopped by %s signal\n", name);
    if (length > 0 && ::write(STDERR_FILENO, message, size_t(length)) < 0) {
        // Nothing else to tell, and nowhere to tell it.
    }
    ::_exit(128 + signal);
}

}  // namespace

void holdIfStopping() {
    while (g_stopping)
        std::this_thread::sleep_for(std::chrono::hours(1));
}

void installSignalGuard() {
    const sigset_t set = guardedSignals();
    if (pthread_sigmask(SIG_BLOCK, &set, nullptr) != 0)
        return;  // the default actions stay: the process still ends, only less tidily
    std::thread(waitForSignal, set).detach();
}

}  // namespace Cli
