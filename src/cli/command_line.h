#pragma once

#include <QCommandLineParser>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <optional>

#include "platform/fs/temporary_folder.h"

namespace Cli {

// Parses the arguments of one command with its parser (options and positional arguments already
// added), adding -h/--help and, unless the command has its own, -q/--quiet and -v/--verbose, which
// set Cli::Verbosity. Prints the help and returns false when it was asked for. Throws Cli::Error
// with exit code 2 for a usage error, and when the number of positional arguments is not
// `positionalCount` (at least -`positionalCount` when negative), naming `what` they should be
// ("one package file").
bool parseCommandLine(QCommandLineParser& parser, const QString& command,
                      const QStringList& arguments, QTextStream& out, int positionalCount,
                      const QString& what);

// The package file argument of a command, as given; throws Cli::Error with `exitCode` when no
// such file exists.
QString existingPackage(const QString& path, int exitCode = 1);

// Throws Cli::Error naming `path` and --force when it exists and `force` is not set.
void refuseExisting(const QString& path, bool force);

// The arguments of a command that reads packages: `COMMAND PACKAGE... [--json]`.
struct PackageArguments {
    QStringList packagePaths;  // as given; each is checked when its turn comes
    bool json = false;
};
// Parses them as parseCommandLine does (one package at least); std::nullopt when the help was
// printed.
std::optional<PackageArguments> parsePackageArguments(const QString& command,
                                                      const QString& description,
                                                      const QStringList& arguments,
                                                      QTextStream& out);

// A folder of the given name inside `temporary`, for unpacking; throws Cli::Error when the
// temporary folder could not be made.
QString unpackFolder(const FS::TemporaryFolder& temporary,
                     const QString& name = QStringLiteral("package"));

}  // namespace Cli
