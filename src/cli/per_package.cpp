#include "cli/per_package.h"

#include <QJsonDocument>

#include <algorithm>
#include <exception>

#include "cli/cli_error.h"
#include "cli/signal_guard.h"
#include "cli/terminal_text.h"

namespace Cli {

int runPerPackage(const QStringList& packages, bool json, QTextStream& out, QTextStream& err,
                  const std::function<PackageOutcome(const QString& package)>& one) {
    // One package keeps the single document and the failure of before: nothing on stdout.
    const bool several = packages.size() > 1;
    int worst = 0;
    bool printed = false;
    for (const QString& package : packages) {
        PackageOutcome outcome;
        QString failure;
        try {
            outcome = one(package);
        } catch (const Error& error) {
            failure = QString::fromUtf8(error.what());
            outcome.code = error.exitCode();
        } catch (const std::exception& error) {
            failure = QString::fromUtf8(error.what());
            outcome.code = 1;
        }
        worst = std::max(worst, outcome.code);
        if (!failure.isEmpty()) {
            if (!several)
                throw Error(failure, outcome.code);
            holdIfStopping();
            out.flush();
            err << "packwright: error: " << terminalSafe(failure) << "\n";
            err.flush();
            if (json)
                out << QJsonDocument(QJsonObject{{QStringLiteral("package"), package},
                                                 {QStringLiteral("error"), failure}})
                           .toJson(QJsonDocument::Compact)
                    << "\n";
            continue;
        }
        if (json) {
            out << QJsonDocument(outcome.document)
                       .toJson(several ? QJsonDocument::Compact : QJsonDocument::Indented);
            if (several)
                out << "\n";
        } else {
            if (printed)
                out << "\n";
            out << outcome.text;
            printed = true;
        }
    }
    return worst;
}

}  // namespace Cli
