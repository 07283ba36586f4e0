#pragma once

#include <QByteArray>
#include <QString>
#include <QUuid>

#include <optional>

namespace Cli {

// What the tool fixes so that a package depends on its recipe and input files alone: the time
// stamped on its entries, and a package id derived from the recipe when none is given.
// See docs/cli.md, "Reproducible builds".
class ReproducibleBuild {
public:
    // The date that --reproducible takes when SOURCE_DATE_EPOCH is not set: 1980-01-01 00:00:00
    // UTC, the first time a zip entry can hold.
    static constexpr qint64 kDefaultTime = 315532800;

    // The fixed time of a build: SOURCE_DATE_EPOCH when it is set, else kDefaultTime when
    // `requested`, else none. A SOURCE_DATE_EPOCH that is not a whole number of seconds throws
    // Cli::Error (exit code 2) naming it.
    static std::optional<qint64> fixedTime(bool requested);

    // Makes the archives' local time stamps read as UTC, whatever the machine's time zone. Call
    // before any thread that reads times starts.
    static void useUniversalTime();

    // The package id of a recipe that gives none: the name-based (SHA-1) UUID, in the null
    // namespace, of "recipe:" followed by the recipe's JSON in compact form with its keys sorted,
    // so that the recipe's layout and spacing do not matter. Takes a recipe already read as
    // JSON (a file or the standard input).
    static QUuid recipeUuid(const QByteArray& recipeJson);
};

}  // namespace Cli
