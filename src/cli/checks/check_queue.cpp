#include "cli/checks/check_queue.h"

#include <malloc.h>

#include <QThread>
#include <algorithm>
#include <atomic>
#include <exception>
#include <system_error>
#include <thread>

namespace Cli {

void CheckQueue::add(const CheckPlace& place, Finding::Severity severity, const QString& message,
                     int line) {
    add([=](CheckReport& report) { report.add(place, severity, message, line); });
}

int CheckQueue::defaultThreads() {
    return std::max(1, QThread::idealThreadCount());
}

void CheckQueue::run(CheckReport& report, int threads) {
    std::vector<Check> checks;
    checks.swap(m_checks);
    const size_t count = checks.size();
    std::vector<CheckReport> reports(count);
    std::vector<std::exception_ptr> failures(count);
    std::atomic<size_t> next{0};
    // Each thread takes the next check not yet taken, so that a slow file does not hold up the
    // files behind it.
    const auto work = [&] {
        for (size_t i = next++; i < count; i = next++) {
            try {
                checks[i](reports[i]);
            } catch (...) {
                failures[i] = std::current_exception();
            }
        }
    };
    const size_t wanted = size_t(threads > 0 ? threads : defaultThreads());
    std::vector<std::thread> workers;
    for (size_t t = 1; t < std::min(wanted, count); ++t) {
        try {
            workers.emplace_back(work);
        } catch (const std::system_error&) {
            break;  // no more threads to be had: those running take the rest
        }
    }
    work();
    for (std::thread& worker : workers)
        worker.join();
    // The workers' malloc arenas keep what the checks freed (decoded images, LUT tables); hand it
    // back before the build that follows needs memory of its own.
    malloc_trim(0);

    for (size_t i = 0; i < count; ++i) {
        if (failures[i])
            std::rethrow_exception(failures[i]);
    }
    for (const CheckReport& part : reports) {
        for (const Finding& finding : part.findings())
            report.add(finding);
    }
}

}  // namespace Cli
