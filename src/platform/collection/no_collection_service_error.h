#pragma once

#include <QString>
#include <stdexcept>

namespace EditorCollection {

// Stored items are loaded by asking the collection service of the process, and none is running:
// nobody answers the request. Without this error the request would look like a folder that holds
// nothing, and the package would be blamed. The cure is the caller's: keep an
// EditorCollection::CollectionService alive (created after the QGuiApplication) while reopening
// packages.
class NoCollectionServiceError : public std::runtime_error {
public:
    // `itemType` is the item's type name ("Import::Object"); `folder` the folder asked about.
    NoCollectionServiceError(const QString& itemType, const QString& folder)
        : std::runtime_error(
              QStringLiteral("cannot load the %1 stored in %2: no collection service is running "
                             "(create an EditorCollection::CollectionService before reopening "
                             "packages)")
                  .arg(itemType, folder)
                  .toStdString()),
          m_itemType(itemType),
          m_folder(folder) {}

    QString itemType() const { return m_itemType; }
    QString folder() const { return m_folder; }

private:
    QString m_itemType;
    QString m_folder;
};

}  // namespace EditorCollection
