#include "cli/help_catalog.h"

#include "cli/cli_error.h"

namespace Cli {

QString HelpCatalog::helpOf(const std::map<QString, Command>& commands, const QString& name) {
    const auto it = commands.find(name);
    if (it == commands.end())
        throw Error(QStringLiteral("unknown command '%1' (see packwright --help)").arg(name), 2);
    QString text;
    QString errors;
    QTextStream out(&text);
    QTextStream err(&errors);
    it->second({QStringLiteral("--help")}, out, err);
    out.flush();
    return text;
}

HelpCatalog HelpCatalog::of(const std::map<QString, Command>& commands) {
    HelpCatalog catalog;
    for (const auto& command : commands) {
        const QString text = helpOf(commands, command.first);
        catalog.commands.push_back(Entry{command.first, text, HelpText::parse(text)});
    }
    return catalog;
}

}  // namespace Cli
