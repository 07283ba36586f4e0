#pragma once

#include <QString>
#include <QStringList>
#include <QTextStream>

#include <optional>

#include "cli/recipe.h"

namespace Cli {

// How one package is built: the options of `packwright build`.
struct BuildSettings {
    QString output;    // the package file; empty: where the recipe says
    QString uuid;      // empty: the recipe's, else a new one
    QString keepWork;  // lay the working folder out here and keep it; empty: a private one
    bool strict = false;
    bool verbose = false;
    bool checks = true;
    bool checkCache = true;  // the content checks keep and reuse their findings (CheckCache)
    bool printHash = false;  // the plain report names each package's SHA-256
    bool hash = true;        // work out the package's SHA-256 (reading it back whole)
    bool progress = true;    // a progress line when stderr is a terminal
    bool force = false;      // an -o file that exists is replaced rather than refused
    // The time stamped on everything packed, for a package that depends on its inputs alone
    // (SOURCE_DATE_EPOCH or --reproducible); none: the files' own times and a random package id
    // when the recipe gives none.
    std::optional<qint64> fixedTime;
};

struct Built {
    QString package;
    QString uuid;    // the package's id, as its description records it
    QString sha256;  // of the package file, in lowercase hex; empty unless settings.hash
    qint64 bytes = 0;
    int components = 0;
    QStringList warnings;   // as printed on stderr, without the "packwright: warning: " prefix
    QString workingFolder;  // when kept
};

// Reads a recipe file, or standard input for `-`: that recipe is named "<stdin>" in messages and
// its relative paths resolve against the current folder. Throws Cli::Error.
Recipe loadRecipe(const QString& argument);

// Where the package of a recipe goes unless -o says otherwise.
QString outputOf(const Recipe& recipe);

// Builds the package of one recipe; warnings and findings go to `err`. Throws Cli::Error (or
// another std::exception) naming the recipe when it fails, having written nothing.
Built buildOne(const QString& recipePath, const BuildSettings& settings, QTextStream& err);

// `packwright build RECIPE.json... [-o OUT.qpack] [--uuid ID] [--keep-work DIR] [-j N] [--json]
// [--reproducible]`
int buildCommand(const QStringList& arguments, QTextStream& out, QTextStream& err);

}  // namespace Cli
