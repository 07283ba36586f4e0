#include "cli/completion_script.h"

#include <QTextStream>

#include <optional>

namespace Cli {
namespace {

// The commands whose arguments are words of the tool's own rather than files.
QString argumentWords(const HelpCatalog& catalog, const QString& command) {
    if (command == QLatin1String("completion"))
        return QStringLiteral("bash zsh");
    if (command != QLatin1String("help"))
        return QString();
    QStringList names;
    for (const HelpCatalog::Entry& entry : catalog.commands)
        names << entry.name;
    return names.join(QLatin1Char(' '));
}

QString dashed(const QString& name) {
    return (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
}

QStringList dashedNames(const std::vector<HelpText::Option>& options,
                        std::optional<CompletionScript::Value> only = std::nullopt) {
    QStringList names;
    for (const HelpText::Option& option : options) {
        if (only &&
            (option.valueName.isEmpty() || CompletionScript::valueOf(option.valueName) != *only))
            continue;
        for (const QString& name : option.names)
            names << dashed(name);
    }
    return names;
}

// Inside a single-quoted zsh word.
QString zshQuoted(const QString& text) {
    QString escaped = text;
    return escaped.replace(QLatin1Char('\''), QLatin1String("'\\''"));
}

// Inside a single-quoted zsh word and an _arguments explanation ([...]).
QString zshExplanation(const QString& text) {
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"))
        .replace(QLatin1Char('['), QLatin1String("\\["))
        .replace(QLatin1Char(']'), QLatin1String("\\]"))
        .replace(QLatin1Char('\''), QLatin1String("'\\''"));
    return escaped;
}

QString zshAction(const QString& valueName) {
    switch (CompletionScript::valueOf(valueName)) {
        case CompletionScript::Value::Folder:
            return QStringLiteral("_files -/");
        case CompletionScript::Value::File:
            return QStringLiteral("_files");
        case CompletionScript::Value::Word:
            break;
    }
    return QStringLiteral(" ");
}

// One _arguments word per option: '(-o --output)'{-o,--output}'[explanation]:FILE:_files'.
QString zshOption(const HelpText::Option& option) {
    QStringList names;
    for (const QString& name : option.names)
        names << dashed(name);
    QString word;
    if (names.size() > 1)
        word = QStringLiteral("'(%1)'{%2}")
                   .arg(names.join(QLatin1Char(' ')), names.join(QLatin1Char(',')));
    else
        word = QStringLiteral("'%1").arg(names.front());
    word += (names.size() > 1 ? QStringLiteral("'[%1]") : QStringLiteral("[%1]"))
                .arg(zshExplanation(option.description));
    if (!option.valueName.isEmpty())
        word += QStringLiteral(":%1:%2").arg(zshExplanation(option.valueName),
                                             zshAction(option.valueName));
    return word + QLatin1Char('\'');
}

}  // namespace

CompletionScript::Value CompletionScript::valueOf(const QString& valueName) {
    if (valueName.endsWith(QLatin1String("DIR")))
        return Value::Folder;
    if (valueName == QLatin1String("N") || valueName == QLatin1String("ID"))
        return Value::Word;
    return Value::File;
}

QString CompletionScript::bash(const HelpCatalog& catalog, const HelpText& top) {
    QStringList commands;
    for (const HelpCatalog::Entry& entry : catalog.commands)
        commands << entry.name;
    QString script;
    QTextStream s(&script);
    s << "# bash completion for packwright; made by `packwright completion bash` from its help.\n"
      << "_packwright() {\n"
      << "    local cur=${COMP_WORDS[COMP_CWORD]} prev=\n"
      << "    ((COMP_CWORD > 0)) && prev=${COMP_WORDS[COMP_CWORD - 1]}\n"
      << "    local commands='" << commands.join(QLatin1Char(' ')) << "'\n"
      << "    if ((COMP_CWORD == 1)); then\n"
      << "        COMPREPLY=($(compgen -W \"$commands "
      << dashedNames(top.options).join(QLatin1Char(' ')) << "\" -- \"$cur\"))\n"
      << "        return\n"
      << "    fi\n"
      << "    local options= folders= files= words= arguments=\n"
      << "    case ${COMP_WORDS[1]} in\n";
    for (const HelpCatalog::Entry& entry : catalog.commands) {
        s << "    " << entry.name << ")\n"
          << "        options='" << dashedNames(entry.help.options).join(QLatin1Char(' ')) << "'\n"
          << "        folders='"
          << dashedNames(entry.help.options, Value::Folder).join(QLatin1Char(' ')) << "'\n"
          << "        files='"
          << dashedNames(entry.help.options, Value::File).join(QLatin1Char(' ')) << "'\n"
          << "        words='"
          << dashedNames(entry.help.options, Value::Word).join(QLatin1Char(' ')) << "'\n";
        const QString own = argumentWords(catalog, entry.name);
        if (!own.isEmpty())
            s << "        arguments='" << own << "'\n";
        s << "        ;;\n";
    }
    s << "    *) return ;;\n"
      << "    esac\n"
      << "    case \" $folders \" in *\" $prev \"*)\n"
      << "        COMPREPLY=($(compgen -d -- \"$cur\"))\n"
      << "        return ;;\n"
      << "    esac\n"
      << "    case \" $files \" in *\" $prev \"*)\n"
      << "        COMPREPLY=($(compgen -f -- \"$cur\"))\n"
      << "        return ;;\n"
      << "    esac\n"
      << "    case \" $words \" in *\" $prev \"*)\n"
      << "        COMPREPLY=()\n"
      << "        return ;;\n"
      << "    esac\n"
      << "    if [[ $cur == -* ]]; then\n"
      << "        COMPREPLY=($(compgen -W \"$options\" -- \"$cur\"))\n"
      << "    elif [[ -n $arguments ]]; then\n"
      << "        COMPREPLY=($(compgen -W \"$arguments\" -- \"$cur\"))\n"
      << "    else\n"
      << "        COMPREPLY=($(compgen -f -- \"$cur\"))\n"
      << "    fi\n"
      << "}\n"
      << "complete -o filenames -F _packwright packwright\n";
    s.flush();
    return script;
}

QString CompletionScript::zsh(const HelpCatalog& catalog, const HelpText& top) {
    QString script;
    QTextStream s(&script);
    s << "#compdef packwright\n"
      << "# zsh completion for packwright; made by `packwright completion zsh` from its help.\n"
      << "\n"
      << "_packwright() {\n"
      << "    local curcontext=$curcontext state line\n"
      << "    local -a commands\n"
      << "    commands=(\n";
    for (const HelpCatalog::Entry& entry : catalog.commands)
        s << "        '" << entry.name << ':' << zshQuoted(entry.help.description) << "'\n";
    s << "    )\n"
      << "    _arguments -C \\\n";
    for (const HelpText::Option& option : top.options)
        s << "        " << zshOption(option) << " \\\n";
    s << "        '1:command:->command' \\\n"
      << "        '*::argument:->argument'\n"
      << "    case $state in\n"
      << "    command)\n"
      << "        _describe -t commands 'packwright command' commands\n"
      << "        ;;\n"
      << "    argument)\n"
      << "        case $line[1] in\n";
    for (const HelpCatalog::Entry& entry : catalog.commands) {
        QStringList words;
        for (const HelpText::Option& option : entry.help.options)
            words << zshOption(option);
        const QString own = argumentWords(catalog, entry.name);
        if (!own.isEmpty())
            words << QStringLiteral("'1:%1:(%2)'")
                         .arg(entry.help.arguments.empty() ? QStringLiteral("argument")
                                                           : entry.help.arguments.front().name,
                              own);
        else if (!entry.help.arguments.empty())
            words << QStringLiteral("'*:file:_files'");
        s << "        " << entry.name << ")\n"
          << "            _arguments -s \\\n                "
          << words.join(QStringLiteral(" \\\n                ")) << "\n"
          << "            ;;\n";
    }
    s << "        esac\n"
      << "        ;;\n"
      << "    esac\n"
      << "}\n"
      << "\n"
      << "_packwright \"$@\"\n";
    s.flush();
    return script;
}

}  // namespace Cli
