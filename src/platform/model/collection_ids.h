#pragma once

#include <QString>

namespace EditorCollection {

// The editor's collections that overlay presets are filed under. Constants only.
namespace CollectionID {
inline const QString TITLES = QStringLiteral("titles");
inline const QString CALLOUTS = QStringLiteral("callouts");
inline const QString STICKERS = QStringLiteral("stickers");
}  // namespace CollectionID

}  // namespace EditorCollection
