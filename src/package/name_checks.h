#pragma once

#include <QString>

// Checks on the names and folders that a build turns into paths and into the package description.
// They run before anything is written; each throws std::invalid_argument naming what it checked.
namespace Package {

// The package layout fills some of its path patterns ("%1/%2/%3/") with successive QString::arg
// calls. Each call replaces the lowest-numbered place marker left in the text, markers inside an
// earlier argument included, so a folder or collection id that holds one would be rewritten into
// another path. The longest such pattern has this many markers.
constexpr int kLayoutPatternMarkers = 3;

// The first place marker in `text` that a later QString::arg call of a pattern with markers %1 to
// %`highest` would replace ("%1", "%L2", "%02", "%0"; any decimal digit counts, as for arg), or an
// empty string. Markers numbered above `highest` are left alone by such a pattern.
QString replaceableMarker(const QString& text, int highest = kLayoutPatternMarkers);

// Throws std::invalid_argument `<what>: "<text>" holds "%1", which the package layout would
// replace` when `text` holds a replaceable marker.
void requireNoReplaceableMarker(const QString& what, const QString& text);

// The first character of `name` that the package description and the content file cannot both
// carry and read back unchanged, as "U+000A"; an empty string when there is none. Refused: control
// characters (tab, line feed and carriage return included, which XML normalises), U+007F to
// U+009F, U+FFFE, U+FFFF and unpaired surrogates.
QString unrepresentableCharacter(const QString& name);

// Throws std::invalid_argument `<what>: "<name>" holds the character U+0001, which the package
// description cannot carry` when `name` holds one.
void requireRepresentableName(const QString& what, const QString& name);

}  // namespace Package
