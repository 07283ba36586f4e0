#include "cli/man_page.h"

#include <QTextStream>

namespace Cli {
namespace {

// Text as roff shows it literally: backslashes escaped, no line taken for a request.
QString text(const QString& plain) {
    QString escaped = plain;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\e"));
    if (escaped.startsWith(QLatin1Char('.')) || escaped.startsWith(QLatin1Char('\'')))
        escaped.prepend(QLatin1String("\\&"));
    return escaped;
}

// An option or command word in bold, its dashes real minus signs so that it can be copied.
QString bold(const QString& word) {
    QString escaped = text(word);
    escaped.replace(QLatin1Char('-'), QLatin1String("\\-"));
    return QStringLiteral("\\fB%1\\fR").arg(escaped);
}

void options(QTextStream& s, const std::vector<HelpText::Option>& list) {
    for (const HelpText::Option& option : list) {
        QStringList names;
        for (const QString& name : option.names)
            names << bold((name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name);
        s << ".TP\n" << names.join(QStringLiteral(", "));
        if (!option.valueName.isEmpty())
            s << " \\fI" << text(option.valueName) << "\\fR";
        s << "\n" << text(option.description) << "\n";
    }
}

}  // namespace

QString ManPage::roff(const HelpCatalog& catalog, const HelpText& top, const QString& version) {
    QString page;
    QTextStream s(&page);
    QString summary = top.description;
    if (summary.endsWith(QLatin1Char('.')))
        summary.chop(1);
    if (!summary.isEmpty())
        summary[0] = summary[0].toLower();
    s << ".\\\" Made by `packwright --man` from the tool's help.\n"
      << ".TH PACKWRIGHT 1 \"\" \"packwright " << text(version) << "\" \"User Commands\"\n"
      << ".SH NAME\n"
      << "packwright \\- " << text(summary) << "\n"
      << ".SH SYNOPSIS\n"
      << ".B packwright\n"
      << ".I COMMAND\n"
      << ".RI [ OPTIONS ]\n"
      << ".SH DESCRIPTION\n"
      << text(top.description) << "\n"
      << ".PP\n"
      << "Every command takes " << bold(QStringLiteral("-h")) << " for its help, "
      << bold(QStringLiteral("-q")) << " to print nothing on success but the data asked for, and "
      << bold(QStringLiteral("-v")) << " to say more.\n"
      << ".SH COMMANDS\n";
    for (const HelpCatalog::Entry& entry : catalog.commands) {
        QString usage = entry.help.usage;
        const QString prefix = QStringLiteral("packwright ") + entry.name;
        if (usage.startsWith(prefix))
            usage = usage.mid(prefix.size()).trimmed();
        s << ".SS " << text(entry.name) << "\n"
          << bold(QStringLiteral("packwright ") + entry.name) << " " << text(usage) << "\n"
          << ".PP\n"
          << text(entry.help.description) << "\n";
        options(s, entry.help.options);
        for (const HelpText::Argument& argument : entry.help.arguments)
            s << ".TP\n\\fI" << text(argument.name) << "\\fR\n"
              << text(argument.description) << "\n";
    }
    s << ".SH OPTIONS\n";
    options(s, top.options);
    s << ".SH EXIT STATUS\n"
      << ".TP\n0\nThe command did its work (for diff: the packages are equal).\n"
      << ".TP\n1\nThe work failed, or a check found problems (check, verify; for diff: the "
         "packages differ).\n"
      << ".TP\n2\nBad usage (for diff: the packages could not be compared).\n";
    s.flush();
    return page;
}

}  // namespace Cli
