#include "cli/help_text.h"

namespace Cli {
namespace {

// An entry line of the "Options:" or "Arguments:" list: two spaces, then the names, then at least
// two spaces and the start of the description. Longer descriptions go on in lines indented further.
bool isEntry(const QString& line) {
    return line.startsWith(QLatin1String("  ")) && line.size() > 2 &&
           line.at(2) != QLatin1Char(' ');
}

void append(QString& text, const QString& more) {
    if (more.isEmpty())
        return;
    if (!text.isEmpty())
        text += QLatin1Char(' ');
    text += more;
}

HelpText::Option optionOf(const QString& names) {
    HelpText::Option option;
    QString list = names;
    const int value = list.indexOf(QLatin1String(" <"));
    if (value >= 0 && list.endsWith(QLatin1Char('>'))) {
        option.valueName = list.mid(value + 2, list.size() - value - 3);
        list.truncate(value);
    }
    for (QString name : list.split(QStringLiteral(", "), Qt::SkipEmptyParts)) {
        while (name.startsWith(QLatin1Char('-')))
            name.remove(0, 1);
        option.names << name;
    }
    return option;
}

}  // namespace

HelpText HelpText::parse(const QString& text) {
    HelpText help;
    enum { Description, Options, Arguments, Other } section = Description;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString& line = lines.at(i);
        if (i == 0) {
            help.usage = line.startsWith(QLatin1String("Usage: ")) ? line.mid(7) : line;
            continue;
        }
        if (line == QLatin1String("Options:")) {
            section = Options;
            continue;
        }
        if (line == QLatin1String("Arguments:")) {
            section = Arguments;
            continue;
        }
        if (line.isEmpty()) {
            if (section == Description && !help.description.isEmpty())
                section = Other;
            continue;
        }
        if (section == Description) {
            append(help.description, line.trimmed());
            continue;
        }
        if (section != Options && section != Arguments)
            continue;
        if (!isEntry(line)) {
            // A description's next line.
            if (section == Options && !help.options.empty())
                append(help.options.back().description, line.trimmed());
            else if (section == Arguments && !help.arguments.empty())
                append(help.arguments.back().description, line.trimmed());
            continue;
        }
        const QString entry = line.mid(2);
        const int gap = entry.indexOf(QLatin1String("  "));
        const QString names = (gap < 0 ? entry : entry.left(gap)).trimmed();
        const QString description = gap < 0 ? QString() : entry.mid(gap).trimmed();
        if (section == Options) {
            help.options.push_back(optionOf(names));
            help.options.back().description = description;
        } else {
            help.arguments.push_back(Argument{names, description});
        }
    }
    return help;
}

bool HelpText::hasOption(const QString& name) const {
    for (const Option& option : options) {
        if (option.names.contains(name))
            return true;
    }
    return false;
}

}  // namespace Cli
