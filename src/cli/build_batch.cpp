#include "cli/build_batch.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>

#include <algorithm>
#include <map>
#include <memory>

#include "cli/recipe.h"
#include "cli/terminal_text.h"
#include "cli/verbosity.h"

namespace Cli {
namespace {

QJsonObject toJson(const BatchBuild::Result& result) {
    QJsonObject object{{QStringLiteral("recipe"), result.recipe},
                       {QStringLiteral("built"), result.built}};
    if (result.built) {
        object.insert(QStringLiteral("package"), result.package);
        object.insert(QStringLiteral("uuid"), result.uuid);
        object.insert(QStringLiteral("sha256"), result.sha256);
        object.insert(QStringLiteral("bytes"), double(result.bytes));
        object.insert(QStringLiteral("components"), result.components);
        object.insert(QStringLiteral("warnings"), QJsonArray::fromStringList(result.warnings));
    } else {
        object.insert(QStringLiteral("error"), result.error);
    }
    return object;
}

BatchBuild::Result fromJson(const QJsonObject& object) {
    BatchBuild::Result result;
    result.recipe = object.value(QStringLiteral("recipe")).toString();
    result.built = object.value(QStringLiteral("built")).toBool();
    result.package = object.value(QStringLiteral("package")).toString();
    result.uuid = object.value(QStringLiteral("uuid")).toString();
    result.sha256 = object.value(QStringLiteral("sha256")).toString();
    result.bytes = qint64(object.value(QStringLiteral("bytes")).toDouble());
    result.components = object.value(QStringLiteral("components")).toInt();
    result.error = object.value(QStringLiteral("error")).toString();
    for (const QJsonValue warning : object.value(QStringLiteral("warnings")).toArray())
        result.warnings << warning.toString();
    return result;
}

// Where a recipe's package goes, so that two recipes that would write the same file are caught
// before either is built; empty when the recipe cannot be read (its build then says why).
QString packageOf(const QString& recipePath) {
    try {
        const Recipe recipe = Recipe::load(recipePath);
        return QFileInfo(outputOf(recipe)).absoluteFilePath();
    } catch (const std::exception&) {
        return QString();
    }
}

}  // namespace

BatchBuild::BatchBuild(const BuildSettings& settings, int jobs)
    : m_settings(settings), m_jobs(jobs > 0 ? jobs : std::max(1, QThread::idealThreadCount())) {}

BatchBuild::Results BatchBuild::run(const QStringList& recipes, QTextStream& err) const {
    Results results(size_t(recipes.size()));
    QStringList todo;
    std::vector<size_t> where;
    std::map<QString, QString> claimed;  // package -> recipe
    for (int i = 0; i < recipes.size(); ++i) {
        results[size_t(i)].recipe = recipes[i];
        const QString package = recipes.size() > 1 ? packageOf(recipes[i]) : QString();
        if (!package.isEmpty()) {
            const auto [it, fresh] = claimed.emplace(package, recipes[i]);
            if (!fresh) {
                results[size_t(i)].error =
                    QStringLiteral("%1: writes the same package as %2 (%3)")
                        .arg(recipes[i], it->second, QDir::toNativeSeparators(package));
                continue;
            }
        }
        todo << recipes[i];
        where.push_back(size_t(i));
    }
    const int processes = std::min<int>(m_jobs, todo.size());
    const Results done = processes > 1 ? runInProcesses(todo, processes, err) : runHere(todo, err);
    for (size_t i = 0; i < done.size(); ++i)
        results[where[i]] = done[i];
    return results;
}

BatchBuild::Results BatchBuild::runHere(const QStringList& recipes, QTextStream& err) const {
    Results results;
    for (const QString& recipe : recipes) {
        Result result;
        result.recipe = recipe;
        try {
            const Built built = buildOne(recipe, m_settings, err);
            result.built = true;
            result.package = built.package;
            result.uuid = built.uuid;
            result.sha256 = built.sha256;
            result.bytes = built.bytes;
            result.components = built.components;
            result.warnings = built.warnings;
        } catch (const std::exception& error) {
            result.error = QString::fromUtf8(error.what());
        }
        err.flush();
        results.push_back(result);
    }
    return results;
}

QStringList BatchBuild::childArguments() const {
    QStringList arguments{QStringLiteral("build"), QStringLiteral("-j"), QStringLiteral("1"),
                          QStringLiteral("--json")};
    if (m_settings.strict)
        arguments << QStringLiteral("--strict");
    if (m_settings.verbose)
        arguments << QStringLiteral("--verbose");
    if (Verbosity::quiet())
        arguments << QStringLiteral("--quiet");
    if (!m_settings.checks)
        arguments << QStringLiteral("--no-checks");
    // The children read SOURCE_DATE_EPOCH from the environment they inherit, as this process did.
    if (m_settings.fixedTime)
        arguments << QStringLiteral("--reproducible");
    if (!m_settings.checkCache)
        arguments << QStringLiteral("--no-cache");
    return arguments << QStringLiteral("--");
}

BatchBuild::Results BatchBuild::runInProcesses(const QStringList& recipes, int processes,
                                               QTextStream& err) const {
    // Recipe i goes to process i mod N: neighbours in a list are often alike in size.
    std::vector<QStringList> shares(static_cast<size_t>(processes));
    for (int i = 0; i < recipes.size(); ++i)
        shares[size_t(i % processes)] << recipes[i];
    err.flush();
    std::vector<std::unique_ptr<QProcess>> children;
    for (const QStringList& share : shares) {
        auto child = std::make_unique<QProcess>();
        // Their warnings reach our stderr as they come; their results come back as JSON.
        child->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child->start(QCoreApplication::applicationFilePath(), childArguments() + share);
        children.push_back(std::move(child));
    }
    Results results(size_t(recipes.size()));
    for (int p = 0; p < processes; ++p) {
        QProcess& child = *children[size_t(p)];
        child.waitForFinished(-1);
        const QJsonArray packages = QJsonDocument::fromJson(child.readAllStandardOutput())
                                        .object()
                                        .value(QStringLiteral("packages"))
                                        .toArray();
        for (int k = 0; k < shares[size_t(p)].size(); ++k) {
            Result& result = results[size_t(p + k * processes)];
            if (k < packages.size()) {
                result = fromJson(packages[k].toObject());
                continue;
            }
            result.recipe = shares[size_t(p)][k];
            result.error = QStringLiteral("%1: the build process ended without a result (%2)")
                               .arg(result.recipe, child.exitStatus() == QProcess::CrashExit
                                                       ? QStringLiteral("it crashed")
                                                       : child.errorString());
        }
    }
    return results;
}

void BatchBuild::report(const Results& results, bool json, bool hashes, QTextStream& out) {
    const int failed = failures(results);
    const int built = int(results.size()) - failed;
    if (json) {
        QJsonArray packages;
        for (const Result& result : results)
            packages.append(toJson(result));
        const QJsonObject batch{{QStringLiteral("packages"), packages},
                                {QStringLiteral("built"), built},
                                {QStringLiteral("failed"), failed}};
        out << QJsonDocument(batch).toJson(QJsonDocument::Indented);
        return;
    }
    for (const Result& result : results) {
        if (result.built)
            out << "built " << QDir::toNativeSeparators(result.package) << " (" << result.bytes
                << " bytes, " << result.components
                << (result.components == 1 ? " component" : " components") << ")\n"
                << (hashes ? QStringLiteral("sha256 %1  %2\n")
                                 .arg(result.sha256, QDir::toNativeSeparators(result.package))
                           : QString());
        else
            out << "failed " << terminalSafe(result.error) << "\n";
    }
    out << "built " << built << " of " << results.size()
        << (results.size() == 1 ? " package" : " packages");
    if (failed > 0)
        out << ", " << failed << " failed";
    out << "\n";
}

int BatchBuild::failures(const Results& results) {
    return int(std::count_if(results.begin(), results.end(),
                             [](const Result& result) { return !result.built; }));
}

}  // namespace Cli
