#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace Cli {

// A command's help as the tool prints it (QCommandLineParser's layout), read back into its parts
// so that the shell completions and the manual page say exactly what `CMD --help` says.
struct HelpText {
    struct Option {
        QStringList names;  // without dashes: {"o", "output"}
        QString valueName;  // "FILE", or empty for a switch
        QString description;
    };
    struct Argument {
        QString name;
        QString description;
    };

    QString usage;        // "packwright build [options] RECIPE.json..."
    QString description;  // the command's own paragraph, lines joined by spaces
    std::vector<Option> options;
    std::vector<Argument> arguments;

    static HelpText parse(const QString& text);
    bool hasOption(const QString& name) const;
};

}  // namespace Cli
