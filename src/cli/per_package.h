#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>

namespace Cli {

// What a command made of one package: its plain text or its JSON document, and its exit code.
struct PackageOutcome {
    QString text;
    QJsonObject document;
    int code = 0;
};

// Runs a command that reads packages on each of `packages` in turn. A package that fails (it is
// missing or cannot be read: `one` throws) is reported on `err` and the others still run. Plain
// output: each package's text, a blank line between two. JSON: one document, indented, for one
// package; for several, one compact document a line, a failed package's being
// {"package", "error"}. Returns the worst exit code: the highest.
int runPerPackage(const QStringList& packages, bool json, QTextStream& out, QTextStream& err,
                  const std::function<PackageOutcome(const QString& package)>& one);

}  // namespace Cli
