#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>
#include <QTextStream>

namespace Cli {

// Parses the arguments of one command with its parser (options and positional arguments already
// added). Prints the help and returns false when it was asked for. Throws Cli::Error with exit
// code 2 for a usage error, and when the number of positional arguments is not
// `positionalCount`, naming `what` they should be ("one package file").
bool parseCommandLine(QCommandLineParser& parser, const QString& command,
                      const QStringList& arguments, QTextStream& out, int positionalCount,
                      const QString& what);

// The package file argument of a command, as given; throws Cli::Error when no such file exists.
QString existingPackage(const QString& path);

}  // namespace Cli
