#pragma once

#include <QString>
#include <functional>
#include <vector>

#include "cli/checks/check_report.h"

namespace Cli {

// The content checks of a recipe or a package, gathered first and then run on several threads.
// Each check writes into a report of its own, and run() appends those in the order the checks
// were added: the findings and their order do not depend on the number of threads, nor on which
// check ends first. A check must only read what it was given (a file and its place); the
// libraries behind the checks are each made safe for that where they are called.
class CheckQueue {
public:
    using Check = std::function<void(CheckReport&)>;

    void add(Check check) { m_checks.push_back(std::move(check)); }
    // A finding known without reading any file, kept in its place among the checks.
    void add(const CheckPlace& place, Finding::Severity severity, const QString& message,
             int line = 0);

    int size() const { return int(m_checks.size()); }

    // Runs every check, at most `threads` at a time (0: one per core), appends their findings to
    // `report` and empties the queue. An exception of a check is thrown here, after every thread
    // has ended: the first one in the order of the checks.
    void run(CheckReport& report, int threads = 0);

    // One thread per core.
    static int defaultThreads();

private:
    std::vector<Check> m_checks;
};

}  // namespace Cli
