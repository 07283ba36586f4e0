#include "cli/check_command.h"

#include <QCommandLineParser>
#include <QJsonDocument>

#include "cli/build_command.h"
#include "cli/checks/recipe_checker.h"
#include "cli/cli_error.h"
#include "cli/command_line.h"
#include "cli/component_factory.h"

namespace Cli {

int checkCommand(const QStringList& arguments, QTextStream& out, QTextStream&) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Checks a recipe's content (LUTs, shaders, resource names) without writing anything."));
    parser.addPositionalArgument(
        QStringLiteral("recipe"),
        QStringLiteral("The recipe file (JSON), or - for the standard input."));
    const QCommandLineOption jsonOption(QStringLiteral("json"),
                                        QStringLiteral("Print the findings as JSON."));
    parser.addOption(jsonOption);
    if (!parseCommandLine(parser, QStringLiteral("check"), arguments, out, 1,
                          QStringLiteral("one recipe file")))
        return 0;

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
    RecipeChecker::check(recipe, report);

    if (parser.isSet(jsonOption))
        out << QJsonDocument(report.toJson(recipe.path)).toJson(QJsonDocument::Indented);
    else
        out << report.toText(recipe.path);
    return report.hasErrors() ? 1 : 0;
}

}  // namespace Cli
