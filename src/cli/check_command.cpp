#include "cli/check_command.h"

#include <QCommandLineParser>
#include <QJsonDocument>

#include "cli/build_command.h"
#include "cli/checks/check_cache.h"
#include "cli/checks/recipe_checker.h"
#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/component_factory.h"
#include "cli/verbosity.h"

namespace Cli {

int checkCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Checks a recipe's content (LUTs, shaders, resource names); writes nothing "
                       "but its cache."));
    parser.addPositionalArgument(
        QStringLiteral("recipe"),
        QStringLiteral("The recipe file (JSON), or - for the standard input."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print the findings as JSON."));
    const QCommandLineOption jobsOption(
        {QStringLiteral("j"), QStringLiteral("jobs")},
        QStringLiteral("Check N files at a time (default: one per core)."), QStringLiteral("N"));
    const QCommandLineOption noCacheOption(
        QStringLiteral("no-cache"),
        QStringLiteral("Check every file again, without the findings kept from earlier runs."));
    parser.addOptions({jsonOption, jobsOption, noCacheOption});
    if (!parseCommandLine(parser, QStringLiteral("check"), arguments, out, 1,
                          QStringLiteral("one recipe file")))
        return 0;
    int jobs = 0;
    if (parser.isSet(jobsOption)) {
        bool ok = false;
        jobs = parser.value(jobsOption).toInt(&ok);
        if (!ok || jobs < 1)
            throw Error(QStringLiteral("check: -j needs a whole number of at least 1, not '%1'")
                            .arg(parser.value(jobsOption)),
                        2);
    }

    Recipe recipe;
    try {
        recipe = loadRecipe(parser.positionalArguments().front());
    } catch (const Error& error) {
        throw Error(QString::fromUtf8(error.what()), 2);  // nothing to check
    }

    // A component that the recipe reader rejects is an error of that component; the others are
    // checked all the same.
    CheckReport report;
    for (const ComponentEntry& entry : recipe.components) {
        QStringList warnings;
        try {
            ComponentFactory::standard().make(entry, recipe, warnings);
        } catch (const Error& error) {
            report.add(Finding::fromMessage(Finding::Error, QString::fromUtf8(error.what()),
                                            recipe.path, entry.index));
        }
        for (const QString& warning : warnings)
            report.add(Finding::fromMessage(Finding::Warning, warning, recipe.path, entry.index));
    }
    // The media decoder's warnings come only from checks that run: -v checks afresh.
    const CheckCache cache(parser.isSet(noCacheOption) || Verbosity::verbose()
                               ? QString()
                               : CheckCache::defaultFolder());
    RecipeChecker::check(recipe, report, jobs, &cache);

    if (parser.isSet(jsonOption))
        out << QJsonDocument(report.toJson(recipe.path)).toJson(QJsonDocument::Indented);
    else
        out << report.toText(recipe.path);
    return report.hasErrors() ? 1 : 0;
}

}  // namespace Cli
