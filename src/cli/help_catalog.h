#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <functional>
#include <map>
#include <vector>

#include "cli/help_text.h"

namespace Cli {

// A command of the tool: its arguments (without the command's name), standard output and error.
using Command = std::function<int(const QStringList&, QTextStream&, QTextStream&)>;

// Every command's help, gathered by asking each command for it as `packwright CMD --help` does:
// what the shell completions and the manual page are made from.
struct HelpCatalog {
    struct Entry {
        QString name;
        QString text;  // as printed
        HelpText help;
    };
    std::vector<Entry> commands;  // by name

    static HelpCatalog of(const std::map<QString, Command>& commands);
    // The help that `packwright help CMD` prints; throws Cli::Error (exit code 2) for an unknown
    // command.
    static QString helpOf(const std::map<QString, Command>& commands, const QString& name);
};

}  // namespace Cli
