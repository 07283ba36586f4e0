#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <vector>

#include "cli/build_command.h"

namespace Cli {

// Builds the packages of many recipes, N at a time. The library's objects and the collection
// service are not safe to share between threads, so N > 1 runs N processes of this same program,
// each building its share of the recipes one after another in-process (`build -j 1 --json`); one
// at a time builds them here. A failed recipe does not stop the others.
class BatchBuild {
public:
    struct Result {
        QString recipe;
        bool built = false;
        QString package;
        QString uuid;
        QString sha256;
        qint64 bytes = 0;
        int components = 0;
        QStringList warnings;
        QString error;  // why it was not built
    };
    using Results = std::vector<Result>;

    // `jobs` 0: one per core.
    BatchBuild(const BuildSettings& settings, int jobs);

    // One result per recipe, in their order. Warnings and findings go to `err` as they come.
    Results run(const QStringList& recipes, QTextStream& err) const;

    // One line per package (and its SHA-256 with `hashes`) and a summary, or the whole batch as
    // one JSON object.
    static void report(const Results& results, bool json, bool hashes, QTextStream& out);
    static int failures(const Results& results);

private:
    Results runHere(const QStringList& recipes, QTextStream& err) const;
    Results runInProcesses(const QStringList& recipes, int processes, QTextStream& err) const;
    QStringList childArguments() const;

    BuildSettings m_settings;
    int m_jobs;
};

}  // namespace Cli
